#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace quillora::platform {

/// What names one generic-password item.
struct KeychainQuery {
    QString service;
    QString account;

    bool operator==(const KeychainQuery &) const = default;
};

enum class KeychainStatus {
    success,
    itemNotFound, ///< the store answered that it holds no such item
    failure,      ///< no store, locked, refused, or no answer in time
};

struct KeychainItem {
    KeychainStatus status = KeychainStatus::failure;
    std::optional<QByteArray> data; ///< only with `success`, and even then the item may hold no data

    bool operator==(const KeychainItem &) const = default;
};

/// The session's secure store. Main thread only; a call answers within one second, whatever the store does.
class Keychain {
public:
    virtual ~Keychain() = default;

    /// The data of one matching item.
    virtual KeychainItem copyMatching(const KeychainQuery &query) = 0;

    /// Replaces the data of the matching item and keeps its other attributes.
    virtual KeychainStatus update(const KeychainQuery &query, const QByteArray &data) = 0;

    /// Makes a new item.
    virtual KeychainStatus add(const KeychainQuery &query, const QByteArray &data) = 0;

    /// Deletes the matching item.
    virtual KeychainStatus remove(const KeychainQuery &query) = 0;
};

} // namespace quillora::platform
