#include "platform/linux/x11/PrimarySelectionLoan.h"

#include <utility>

namespace quillora::platform {

namespace {
constexpr char primary[] = "PRIMARY";
}

void PrimarySelectionLoan::take(const X11SelectionContents &contents) {
    if (!m_saved || !m_owner.held(primary))
        m_saved = m_owner.save(primary);
    m_owner.lend(primary, contents);
}

bool PrimarySelectionLoan::gives(const X11SelectionContents &text) { return m_owner.gives(primary, text); }

void PrimarySelectionLoan::giveBack() {
    if (const auto saved = std::exchange(m_saved, {}))
        m_owner.giveBack(primary, saved);
}

} // namespace quillora::platform
