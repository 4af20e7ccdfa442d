#pragma once

#include "platform/Keychain.h"

#include <QString>

#include <optional>

namespace quillora {

/// The user's small secrets, one keychain item each. A value that an earlier version of the product left
/// under its own service name is copied over when it is first read. What cannot be read is absent. Main
/// thread only.
class KeychainStore {
public:
    KeychainStore() = delete;

    static std::optional<QString> string(const QString &key);

    /// An empty value deletes the item, the earlier version's too. Whether the keychain did all that was
    /// asked.
    static bool setString(const QString &value, const QString &key);

private:
    static platform::KeychainQuery baseQuery(const QString &key, const QString &service);
    static std::optional<QString> string(const QString &key, const QString &service);
};

} // namespace quillora
