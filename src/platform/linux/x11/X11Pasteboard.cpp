#include "platform/linux/x11/X11Pasteboard.h"

#include <utility>

namespace quillora::platform {

namespace {

constexpr char clipboard[] = "CLIPBOARD";

/// Managers that know it leave such contents out of their history.
constexpr char secretHintTarget[] = "x-kde-passwordManagerHint";

X11SelectionOwner::Collection collectionOf(const SavedPasteboardHandle &saved) {
    return std::const_pointer_cast<X11Collection>(std::static_pointer_cast<const X11Collection>(saved));
}

} // namespace

SavedPasteboardHandle X11Pasteboard::save() { return m_owner.save(clipboard); }

bool X11Pasteboard::write(const QString &text, const SavedPasteboardHandle &standsInFor) {
    m_text = X11SelectionContents::ofText(text);
    m_isForPrimary = false;
    if (!standsInFor) {
        m_displaced.reset();
        return m_owner.own(clipboard, *m_text);
    }
    if (!m_displaced)
        m_displaced = collectionOf(standsInFor); // of several texts, what the first displaced
    auto contents = *m_text;
    contents.values.push_back({X11SelectionType::bytes(secretHintTarget), "secret"});
    return m_owner.lend(clipboard, std::move(contents));
}

bool X11Pasteboard::gives(const QString &text) {
    const auto contents = X11SelectionContents::ofText(text);
    return m_owner.gives(clipboard, contents) && (!m_isForPrimary || m_loan.gives(contents));
}

void X11Pasteboard::restore(const SavedPasteboardHandle &saved) {
    m_displaced.reset();
    m_text.reset();
    m_isForPrimary = false;
    m_owner.restore(clipboard, collectionOf(saved));
    m_loan.giveBack();
}

void X11Pasteboard::lendToPrimary() {
    m_isForPrimary = true;
    if (m_text)
        m_loan.take(*m_text);
}

void X11Pasteboard::takeTextAway() {
    if (const auto displaced = std::exchange(m_displaced, {}))
        m_owner.giveBack(clipboard, displaced);
}

void X11Pasteboard::handOver() {
    takeTextAway();
    m_loan.giveBack();
    m_owner.handOver();
}

} // namespace quillora::platform
