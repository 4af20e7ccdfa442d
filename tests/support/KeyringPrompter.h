#pragma once

#include "platform/linux/x11/X11Connection.h"
#include "support/PrivateSessionBus.h"
#include "support/VirtualDisplay.h"

namespace quillora::test {

/// The desktop's own dialog that asks for a keyring's password, on a display of its own, and the user before
/// it.
class KeyringPrompter {
public:
    /// For the keyring on that bus.
    explicit KeyringPrompter(const PrivateSessionBus &bus);
    ~KeyringPrompter();

    /// Whether the dialog stands there and what the user types goes to it.
    bool isAsking();

    void answer(const QByteArray &password);
    void dismiss();

private:
    bool isOnBus() const;

    QDBusConnection m_bus;
    VirtualDisplay m_display{VirtualDisplay::WindowManager::openbox};
    platform::X11Connection m_connection{m_display.name()};
    std::unique_ptr<ChildProcess> m_prompter;
};

} // namespace quillora::test
