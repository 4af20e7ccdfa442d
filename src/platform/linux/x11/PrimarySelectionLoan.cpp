#include "platform/linux/x11/PrimarySelectionLoan.h"

#include <utility>

namespace quillora::platform {

namespace {
constexpr char primary[] = "PRIMARY";

/// A keystroke waits for this.
constexpr std::chrono::milliseconds saveLimit(250);
} // namespace

void PrimarySelectionLoan::take(const X11SelectionContents &contents) {
    const auto held = m_owner.held(primary);
    if (!m_saved || !held)
        m_saved = held ? *held : m_reader.read(primary, QDeadlineTimer(saveLimit));
    m_owner.own(primary, contents);
}

void PrimarySelectionLoan::giveBack() {
    const auto saved = std::exchange(m_saved, {});
    if (!saved || !m_owner.held(primary))
        return;
    if (saved->values.empty())
        m_owner.clear(primary);
    else
        m_owner.own(primary, *saved);
}

} // namespace quillora::platform
