#include "platform/linux/keyring/SecretServiceSession.h"

#include "platform/linux/keyring/NonPromptingSecretService.h"

namespace quillora::platform {

namespace {

constexpr auto noLabel = ""; // libsecret insists on one

using Attributes = GlibPointer<GHashTable>;

/// These two and no schema, whose name libsecret would write down as a third.
Attributes attributes(const KeychainQuery &query) {
    Attributes table(g_hash_table_new_full(&g_str_hash, &g_str_equal, &g_free, &g_free));
    g_hash_table_insert(table.get(), g_strdup("service"), g_strdup(query.service.toUtf8().constData()));
    g_hash_table_insert(table.get(), g_strdup("account"), g_strdup(query.account.toUtf8().constData()));
    return table;
}

struct SecretValueRelease {
    void operator()(SecretValue *value) const { secret_value_unref(value); }
};
using SecretValuePointer = std::unique_ptr<SecretValue, SecretValueRelease>;

SecretValuePointer secretValue(const QByteArray &data) {
    return SecretValuePointer(secret_value_new(data.constData(), data.size(), "text/plain"));
}

std::optional<QByteArray> contents(const SecretValuePointer &value) {
    if (!value)
        return {};
    gsize size = 0;
    const gchar *data = secret_value_get(value.get(), &size);
    return QByteArray(data, static_cast<qsizetype>(size));
}

/// The session bus, or none where there is none to talk over. GLib's own handling of one that goes away is to
/// end the program.
GlibPointer<GDBusConnection> sessionBus(GCancellable *cancellable) {
    GlibPointer<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable, nullptr));
    if (bus)
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    return bus && !g_dbus_connection_is_closed(bus.get()) ? std::move(bus) : nullptr;
}

} // namespace

SecretServiceSession::SecretServiceSession(GCancellable *cancellable)
    : m_cancellable(cancellable), m_context(g_main_context_new()) {
    g_main_context_push_thread_default(m_context.get());
    m_bus = sessionBus(m_cancellable);
    if (!m_bus)
        return;
    const auto result = resultOf([this](GAsyncReadyCallback callback, gpointer data) {
        secret_service_open(nonPromptingSecretServiceType(), nullptr, SECRET_SERVICE_NONE, m_cancellable,
                            callback, data);
    });
    m_service.reset(secret_service_open_finish(result.get(), nullptr));
}

SecretServiceSession::~SecretServiceSession() {
    m_service.reset();
    m_bus.reset();
    while (g_main_context_iteration(m_context.get(), FALSE)) {
        // What GLib has put off until now lets go of the service and its items.
    }
    g_main_context_pop_thread_default(m_context.get());
}

GlibPointer<GAsyncResult>
SecretServiceSession::resultOf(const std::function<void(GAsyncReadyCallback, gpointer)> &begin) {
    GAsyncResult *result = nullptr;
    const auto keep = [](GObject *, GAsyncResult *given, gpointer data) {
        *static_cast<GAsyncResult **>(data) = G_ASYNC_RESULT(g_object_ref(given));
    };
    begin(keep, static_cast<gpointer>(&result));
    // libsecret's own blocking calls run contexts of theirs, and leak what these still hold at the end.
    while (!result)
        g_main_context_iteration(m_context.get(), TRUE);
    return GlibPointer<GAsyncResult>(result);
}

KeychainItem SecretServiceSession::copyMatching(const KeychainQuery &query) {
    const Findings found = search(query);
    if (found.unlocked.empty())
        return {found.status, {}};
    SecretItem *item = found.unlocked.front().get();
    const auto result = resultOf([&](GAsyncReadyCallback callback, gpointer data) {
        secret_item_load_secret(item, m_cancellable, callback, data);
    });
    if (!secret_item_load_secret_finish(item, result.get(), nullptr))
        return {KeychainStatus::failure, {}};
    return {KeychainStatus::success, contents(SecretValuePointer(secret_item_get_secret(item)))};
}

KeychainStatus SecretServiceSession::update(const KeychainQuery &query, const QByteArray &bytes) {
    const Findings found = search(query);
    const auto value = secretValue(bytes);
    for (const auto &item : found.unlocked) {
        const auto result = resultOf([&](GAsyncReadyCallback callback, gpointer data) {
            secret_item_set_secret(item.get(), value.get(), m_cancellable, callback, data);
        });
        if (!secret_item_set_secret_finish(item.get(), result.get(), nullptr))
            return KeychainStatus::failure;
    }
    return found.status;
}

KeychainStatus SecretServiceSession::add(const KeychainQuery &query, const QByteArray &bytes) {
    if (!m_service)
        return KeychainStatus::failure;
    const auto result = resultOf([&](GAsyncReadyCallback callback, gpointer data) {
        secret_service_store(m_service.get(), nullptr, attributes(query).get(), SECRET_COLLECTION_DEFAULT,
                             noLabel, secretValue(bytes).get(), m_cancellable, callback, data);
    });
    const bool isStored = secret_service_store_finish(m_service.get(), result.get(), nullptr);
    return isStored ? KeychainStatus::success : KeychainStatus::failure;
}

KeychainStatus SecretServiceSession::remove(const KeychainQuery &query) {
    const Findings found = search(query);
    for (const auto &item : found.unlocked) {
        const auto result = resultOf([&](GAsyncReadyCallback callback, gpointer data) {
            secret_item_delete(item.get(), m_cancellable, callback, data);
        });
        if (!secret_item_delete_finish(item.get(), result.get(), nullptr))
            return KeychainStatus::failure;
    }
    return found.someAreLocked ? KeychainStatus::failure : found.status;
}

SecretServiceSession::Findings SecretServiceSession::search(const KeychainQuery &query) {
    Findings findings;
    if (!m_service)
        return findings;
    const auto result = resultOf([&](GAsyncReadyCallback callback, gpointer data) {
        secret_service_search(m_service.get(), nullptr, attributes(query).get(), SECRET_SEARCH_ALL,
                              m_cancellable, callback, data);
    });
    GError *error = nullptr;
    GList *items = secret_service_search_finish(m_service.get(), result.get(), &error);
    if (const GlibPointer<GError> failure{error})
        return findings;

    for (GList *link = items; link; link = link->next) {
        GlibPointer<SecretItem> item(SECRET_ITEM(link->data));
        if (secret_item_get_locked(item.get()))
            findings.someAreLocked = true;
        else
            findings.unlocked.push_back(std::move(item));
    }
    g_list_free(items);

    if (!findings.unlocked.empty())
        findings.status = KeychainStatus::success;
    else if (!findings.someAreLocked && !defaultCollectionIsLocked())
        findings.status = KeychainStatus::itemNotFound;
    return findings;
}

/// A locked collection need not tell what it holds. One that cannot be asked counts as locked; one that does
/// not exist holds nothing.
bool SecretServiceSession::defaultCollectionIsLocked() {
    const auto result = resultOf([this](GAsyncReadyCallback callback, gpointer data) {
        secret_collection_for_alias(m_service.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE,
                                    m_cancellable, callback, data);
    });
    GError *error = nullptr;
    const GlibPointer<SecretCollection> collection(secret_collection_for_alias_finish(result.get(), &error));
    if (const GlibPointer<GError> failure{error})
        return true;
    return collection && secret_collection_get_locked(collection.get());
}

} // namespace quillora::platform
