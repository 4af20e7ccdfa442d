#include "platform/linux/keyring/SecretServiceKeychain.h"

#include "platform/linux/GlibPointer.h"
#include "platform/linux/keyring/SecretServiceSession.h"

#include <future>
#include <memory>
#include <thread>
#include <utility>

namespace quillora::platform {

namespace {

/// What the thread that talks to the service and the one that waits for it share; a late answer goes with the
/// last of the two.
struct Call {
    GlibPointer<GCancellable> cancellable{g_cancellable_new()};
    std::promise<KeychainItem> item;
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
    const auto call = std::make_shared<Call>();
    auto item = call->item.get_future();
    // Detached: a thread that is stuck in the service must hold up neither this call nor the end of the
    // program.
    std::thread([call, operation = std::move(operation)] {
        call->item.set_value(operation(call->cancellable.get()));
    }).detach();
    if (item.wait_for(deadline) == std::future_status::ready)
        return item.get();
    g_cancellable_cancel(call->cancellable.get());
    m_absentUntil = m_clock() + absence;
    if (onAbsence)
        onAbsence();
    return {};
}

} // namespace quillora::platform
