#include "insertion/KeychainStore.h"

#include "platform/Platform.h"

#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::KeychainQuery;
using platform::KeychainStatus;

namespace {

const QString currentService = u"com.local.Quillora"_s;
const QString legacyService = u"com.local.Cobaltwhisk"_s;

platform::Keychain &keychain() { return platform::Platform::current().keychain(); }

} // namespace

std::optional<QString> KeychainStore::string(const QString &key) {
    if (const auto value = string(key, currentService))
        return value;
    const auto legacy = string(key, legacyService);
    if (legacy)
        setString(*legacy, key);
    return legacy;
}

bool KeychainStore::setString(const QString &value, const QString &key) {
    if (value.isEmpty()) {
        const auto current = keychain().remove(baseQuery(key, currentService));
        const auto legacy = keychain().remove(baseQuery(key, legacyService));
        return current != KeychainStatus::failure && legacy != KeychainStatus::failure;
    }
    const QByteArray data = value.toUtf8();
    const KeychainQuery query = baseQuery(key, currentService);
    auto status = keychain().update(query, data);
    if (status == KeychainStatus::itemNotFound)
        status = keychain().add(query, data);
    return status == KeychainStatus::success;
}

KeychainQuery KeychainStore::baseQuery(const QString &key, const QString &service) { return {service, key}; }

std::optional<QString> KeychainStore::string(const QString &key, const QString &service) {
    const auto item = keychain().copyMatching(baseQuery(key, service));
    if (item.status != KeychainStatus::success || !item.data)
        return {};
    QStringDecoder decode(QStringDecoder::Utf8,
                          QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    const QString value = decode(*item.data);
    return decode.hasError() ? std::nullopt : std::optional<QString>(value);
}

} // namespace quillora
