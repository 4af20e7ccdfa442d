#include "controller/KeychainQuestion.h"

#include "platform/KeychainAvailability.h"
#include "platform/Platform.h"

#include <QPointer>

namespace quillora {

using platform::Platform;

namespace {
/// Longer than a pause between two letters, and than a paste needs to post its keystroke.
constexpr std::chrono::milliseconds quietTime(1000);
} // namespace

KeychainQuestion::~KeychainQuestion() { cancel(); }

void KeychainQuestion::setPanelPresence(PanelPresence presence) {
    m_panelPresence = presence;
    if (presence == PanelPresence::closed) {
        m_isWanted = false;
        m_hasAsked = false;
    }
    putOff();
}

void KeychainQuestion::tokenTyped() {
    m_isWanted = m_panelPresence != PanelPresence::closed;
    putOff();
}

void KeychainQuestion::tokenStored() {
    m_isWanted = false;
    cancel();
}

void KeychainQuestion::setDictating(bool isDictating) {
    m_isDictating = isDictating;
    putOff();
}

void KeychainQuestion::textPasted() { putOff(); }

void KeychainQuestion::putOff() {
    cancel();
    const bool mayAsk = m_panelPresence == PanelPresence::active && !m_hasAsked && !m_isDictating;
    if (!m_isWanted || !mayAsk)
        return;
    m_question = Platform::current().mainQueue().asyncAfter(quietTime, [this] { ask(); });
}

void KeychainQuestion::cancel() {
    if (m_question)
        m_question->cancel();
}

void KeychainQuestion::ask() {
    m_hasAsked = true;
    Q_EMIT asked();
    Platform::current().keychainAvailability().askToUnlock([self = QPointer<KeychainQuestion>(this)] {
        // It was the active window before the dialog. One that was left meanwhile has closed, and stays so.
        if (self && self->m_panelPresence != PanelPresence::closed)
            Q_EMIT self->answered();
    });
}

} // namespace quillora
