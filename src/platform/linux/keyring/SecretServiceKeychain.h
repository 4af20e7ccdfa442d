#pragma once

#include "platform/Keychain.h"

#include <chrono>
#include <functional>

typedef struct _GCancellable GCancellable; // NOLINT(bugprone-reserved-identifier): GLib's own name

namespace quillora::platform {

/// Generic passwords in the desktop's keyring, reached over D-Bus as the Secret Service.
///
/// An item is found by its attributes `service` and `account` alone, whoever wrote it. Where several match,
/// one is read and all are changed. A locked keyring is a failure: no call here asks to unlock it, since the
/// dialog would take the focus from the application that is being dictated into.
///
/// After a call that ran out of time the service counts as absent for `absence`: each further call would cost
/// the main thread a second.
class SecretServiceKeychain : public Keychain {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    static constexpr std::chrono::milliseconds deadline{800}; ///< leaves room within the promised second
    static constexpr std::chrono::seconds absence{30};

    explicit SecretServiceKeychain(Clock clock = &std::chrono::steady_clock::now);

    KeychainItem copyMatching(const KeychainQuery &query) override;
    KeychainStatus update(const KeychainQuery &query, const QByteArray &data) override;
    KeychainStatus add(const KeychainQuery &query, const QByteArray &data) override;
    KeychainStatus remove(const KeychainQuery &query) override;

    /// Ends an absence early, because the service has shown that it is there.
    void endAbsence();

    /// Called when an absence begins, before the call that ran out of time returns. May be empty.
    std::function<void()> onAbsence;

private:
    using Operation = std::function<KeychainItem(GCancellable *)>;

    KeychainItem answer(Operation operation);
    KeychainStatus change(std::function<KeychainStatus(GCancellable *)> operation);

    Clock m_clock;
    std::chrono::steady_clock::time_point m_absentUntil;
};

} // namespace quillora::platform
