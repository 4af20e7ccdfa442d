#pragma once

#include "platform/Keychain.h"
#include "platform/linux/GlibPointer.h"

#include <libsecret/secret.h>

#include <functional>
#include <vector>

namespace quillora::platform {

/// One conversation with the Secret Service, for one operation of the keychain; a new one for each knows
/// nothing of a service that has been replaced meanwhile. Belongs to the thread that made it, which it blocks
/// until the service answers or `cancellable` is cancelled.
class SecretServiceSession {
public:
    explicit SecretServiceSession(GCancellable *cancellable);
    ~SecretServiceSession();
    SecretServiceSession(const SecretServiceSession &) = delete;
    SecretServiceSession &operator=(const SecretServiceSession &) = delete;

    KeychainItem copyMatching(const KeychainQuery &query);
    KeychainStatus update(const KeychainQuery &query, const QByteArray &bytes);
    KeychainStatus add(const KeychainQuery &query, const QByteArray &bytes);
    KeychainStatus remove(const KeychainQuery &query);

private:
    /// What a search has found: some items, or the reason why there are none.
    struct Findings {
        KeychainStatus status = KeychainStatus::failure;
        std::vector<GlibPointer<SecretItem>> unlocked;
        bool someAreLocked = false;
    };

    /// Runs the call that `begin` starts with the given callback until it has its result.
    GlibPointer<GAsyncResult> resultOf(const std::function<void(GAsyncReadyCallback, gpointer)> &begin);

    Findings search(const KeychainQuery &query);
    bool defaultCollectionIsLocked();

    GCancellable *m_cancellable;
    GlibPointer<GMainContext> m_context;
    GlibPointer<GDBusConnection> m_bus;   ///< held, or the next user would get one with GLib's own habits
    GlibPointer<SecretService> m_service; ///< none where the service cannot be reached
};

} // namespace quillora::platform
