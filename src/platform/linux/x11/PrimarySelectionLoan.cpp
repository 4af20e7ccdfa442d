#include "platform/linux/x11/PrimarySelectionLoan.h"

#include <utility>

namespace quillora::platform {

namespace {
constexpr char primary[] = "PRIMARY";
}

void PrimarySelectionLoan::take(const X11SelectionContents &contents) {
    if (!m_saved || !m_owner.held(primary))
        m_saved = m_owner.save(primary);
    m_owner.own(primary, contents);
}

void PrimarySelectionLoan::giveBack() {
    const auto saved = std::exchange(m_saved, {});
    if (saved && m_owner.held(primary))
        m_owner.restore(primary, saved);
}

} // namespace quillora::platform
