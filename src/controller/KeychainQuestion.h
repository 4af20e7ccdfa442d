#pragma once

#include "controller/PanelPresence.h"
#include "platform/MainQueue.h"

#include <QObject>

#include <memory>

namespace quillora {

/// Has the user asked, once each time the panel is opened, to unlock the keychain for a token that he has
/// typed there and that the keychain did not take. Everything told here puts the question off for a moment:
/// its dialog must not take the keys that were meant for something else.
class KeychainQuestion : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;
    ~KeychainQuestion() override;

    void setPanelPresence(PanelPresence presence);

    void tokenTyped();
    void tokenStored();

    /// While the user dictates he is not asked.
    void setDictating(bool isDictating);
    void textPasted();

Q_SIGNALS:
    /// A dialog of the desktop is about to come over the panel.
    void asked();

    /// The user has dealt with the dialog, and has not closed the panel meanwhile.
    void answered();

private:
    void ask();
    void cancel();
    void putOff();

    PanelPresence m_panelPresence = PanelPresence::closed;
    bool m_hasAsked = false; ///< since the panel was opened
    bool m_isWanted = false;
    bool m_isDictating = false;
    std::shared_ptr<platform::WorkItem> m_question; ///< to be asked
};

} // namespace quillora
