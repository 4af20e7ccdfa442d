#include "platform/linux/keyring/SecretServiceSession.h"

#include "platform/linux/keyring/NonPromptingSecretService.h"

namespace quillora::platform {

namespace {

/// The name is written with an item, for other programs to see, but never asked for.
const SecretSchema schema = {"com.local.Quillora.GenericPassword",
                             SECRET_SCHEMA_DONT_MATCH_NAME,
                             {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                             0,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr};

using Attributes = GlibPointer<GHashTable>;

Attributes attributes(const KeychainQuery &query) {
    return Attributes(secret_attributes_build(&schema, "service", query.service.toUtf8().constData(),
                                              "account", query.account.toUtf8().constData(), nullptr));
}

/// What a person reads in a keyring viewer.
QByteArray label(const KeychainQuery &query) {
    return u"%1: %2"_qs.arg(query.service.section(u'.', -1), query.account).toUtf8();
}

struct SecretValueRelease {
    void operator()(SecretValue *value) const { secret_value_unref(value); }
};
using SecretValuePointer = std::unique_ptr<SecretValue, SecretValueRelease>;

SecretValuePointer secretValue(const QByteArray &data) {
    return SecretValuePointer(secret_value_new(data.constData(), data.size(), "text/plain"));
}

std::optional<QByteArray> bytes(const SecretValuePointer &value) {
    if (!value)
        return {};
    gsize size = 0;
    const gchar *data = secret_value_get(value.get(), &size);
    return QByteArray(data, static_cast<qsizetype>(size));
}

/// Whether there is a session bus to talk over. GLib's own handling of one that goes away is to end the
/// program.
bool sessionBusIsThere(GCancellable *cancellable) {
    const GlibPointer<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable, nullptr));
    if (!bus)
        return false;
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    return !g_dbus_connection_is_closed(bus.get());
}

} // namespace

SecretServiceSession::SecretServiceSession(GCancellable *cancellable)
    : m_cancellable(cancellable), m_context(g_main_context_new()) {
    g_main_context_push_thread_default(m_context.get());
    if (sessionBusIsThere(m_cancellable))
        m_service.reset(secret_service_open_sync(nonPromptingSecretServiceType(), nullptr,
                                                 SECRET_SERVICE_NONE, m_cancellable, nullptr));
}

SecretServiceSession::~SecretServiceSession() {
    m_service.reset();
    g_main_context_pop_thread_default(m_context.get());
}

KeychainItem SecretServiceSession::copyMatching(const KeychainQuery &query) {
    const Findings found = search(query);
    if (found.unlocked.empty())
        return {found.status, {}};
    SecretItem *item = found.unlocked.front().get();
    if (!secret_item_load_secret_sync(item, m_cancellable, nullptr))
        return {KeychainStatus::failure, {}};
    return {KeychainStatus::success, bytes(SecretValuePointer(secret_item_get_secret(item)))};
}

KeychainStatus SecretServiceSession::update(const KeychainQuery &query, const QByteArray &data) {
    const Findings found = search(query);
    const auto value = secretValue(data);
    for (const auto &item : found.unlocked) {
        if (!secret_item_set_secret_sync(item.get(), value.get(), m_cancellable, nullptr))
            return KeychainStatus::failure;
    }
    return found.status;
}

KeychainStatus SecretServiceSession::add(const KeychainQuery &query, const QByteArray &data) {
    if (!m_service)
        return KeychainStatus::failure;
    const bool isStored = secret_service_store_sync(m_service.get(), &schema, attributes(query).get(),
                                                    SECRET_COLLECTION_DEFAULT, label(query).constData(),
                                                    secretValue(data).get(), m_cancellable, nullptr);
    return isStored ? KeychainStatus::success : KeychainStatus::failure;
}

KeychainStatus SecretServiceSession::remove(const KeychainQuery &query) {
    const Findings found = search(query);
    for (const auto &item : found.unlocked) {
        if (!secret_item_delete_sync(item.get(), m_cancellable, nullptr))
            return KeychainStatus::failure;
    }
    return found.someAreLocked ? KeychainStatus::failure : found.status;
}

SecretServiceSession::Findings SecretServiceSession::search(const KeychainQuery &query) {
    Findings findings;
    if (!m_service)
        return findings;
    GError *error = nullptr;
    GList *items = secret_service_search_sync(m_service.get(), &schema, attributes(query).get(),
                                              SECRET_SEARCH_ALL, m_cancellable, &error);
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
    GError *error = nullptr;
    const GlibPointer<SecretCollection> collection(secret_collection_for_alias_sync(
        m_service.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, m_cancellable, &error));
    if (const GlibPointer<GError> failure{error})
        return true;
    return collection && secret_collection_get_locked(collection.get());
}

} // namespace quillora::platform
