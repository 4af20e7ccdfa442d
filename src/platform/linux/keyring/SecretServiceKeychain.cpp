#include "platform/linux/keyring/SecretServiceKeychain.h"

#include "platform/linux/GlibPointer.h"
#include "platform/linux/keyring/SecretServiceSession.h"

#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

namespace quillora::platform {

namespace {

/// What the thread that talks to the service and the one that waits for it share; a late answer goes with the
/// last of the two.
class PendingAnswer {
public:
    GCancellable *cancellable() { return m_cancellable.get(); }

    void arrive(KeychainItem item) {
        {
            const std::lock_guard lock(m_mutex);
            m_item = std::move(item);
        }
        m_arrived.notify_one();
    }

    std::optional<KeychainItem> waitFor(std::chrono::milliseconds time) {
        std::unique_lock lock(m_mutex);
        m_arrived.wait_for(lock, time, [this] { return m_item.has_value(); });
        return std::exchange(m_item, std::nullopt);
    }

private:
    GlibPointer<GCancellable> m_cancellable{g_cancellable_new()};
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::optional<KeychainItem> m_item;
};

} // namespace

SecretServiceKeychain::SecretServiceKeychain(Clock clock) : m_clock(std::move(clock)) {}

KeychainItem SecretServiceKeychain::copyMatching(const KeychainQuery &query) {
    return answer(
        [query](GCancellable *cancellable) { return SecretServiceSession(cancellable).copyMatching(query); });
}

KeychainStatus SecretServiceKeychain::update(const KeychainQuery &query, const QByteArray &data) {
    return change(
        [query, data](auto *cancellable) { return SecretServiceSession(cancellable).update(query, data); });
}

KeychainStatus SecretServiceKeychain::add(const KeychainQuery &query, const QByteArray &data) {
    return change(
        [query, data](auto *cancellable) { return SecretServiceSession(cancellable).add(query, data); });
}

KeychainStatus SecretServiceKeychain::remove(const KeychainQuery &query) {
    return change([query](auto *cancellable) { return SecretServiceSession(cancellable).remove(query); });
}

KeychainStatus SecretServiceKeychain::change(std::function<KeychainStatus(GCancellable *)> operation) {
    return answer([operation = std::move(operation)](auto *cancellable) {
               return KeychainItem{operation(cancellable), {}};
           })
        .status;
}

void SecretServiceKeychain::endAbsence() { m_absentUntil = {}; }

KeychainItem SecretServiceKeychain::answer(Operation operation) {
    if (m_clock() < m_absentUntil)
        return {};
    const auto pending = std::make_shared<PendingAnswer>();
    // Detached: a thread that is stuck in the service must hold up neither this call nor the end of the
    // program.
    std::thread([pending, operation = std::move(operation)] {
        pending->arrive(operation(pending->cancellable()));
    }).detach();
    if (auto item = pending->waitFor(deadline))
        return *std::move(item);
    g_cancellable_cancel(pending->cancellable());
    m_absentUntil = m_clock() + absence;
    if (onAbsence)
        onAbsence();
    return {};
}

} // namespace quillora::platform
