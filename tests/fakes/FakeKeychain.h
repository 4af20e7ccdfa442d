#pragma once

#include "fakes/CallLog.h"
#include "platform/Keychain.h"

#include <map>
#include <system_error>
#include <utility>

namespace quillora::test {

using namespace Qt::StringLiterals;

class FakeKeychain : public platform::Keychain {
public:
    struct Item {
        std::optional<QByteArray> data;
        QString label; ///< stands for every attribute but the value
    };
    using Key = std::pair<QString, QString>; ///< service, account

    explicit FakeKeychain(CallLog &log) : m_log(log) {}

    platform::KeychainItem copyMatching(const platform::KeychainQuery &query) override {
        record(u"copyMatching"_s, query);
        if (hasNoThreads)
            throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
        if (isBroken)
            return {};
        const auto found = items.find(keyOf(query));
        if (found == items.end())
            return {platform::KeychainStatus::itemNotFound, {}};
        return {platform::KeychainStatus::success, found->second.data};
    }

    platform::KeychainStatus update(const platform::KeychainQuery &query, const QByteArray &data) override {
        record(u"update"_s, query);
        if (isBroken)
            return platform::KeychainStatus::failure;
        const auto found = items.find(keyOf(query));
        if (found == items.end())
            return platform::KeychainStatus::itemNotFound;
        found->second.data = data;
        return platform::KeychainStatus::success;
    }

    platform::KeychainStatus add(const platform::KeychainQuery &query, const QByteArray &data) override {
        record(u"add"_s, query);
        if (isBroken || refusesAdditions)
            return platform::KeychainStatus::failure;
        items[keyOf(query)] = {data, {}};
        return platform::KeychainStatus::success;
    }

    platform::KeychainStatus remove(const platform::KeychainQuery &query) override {
        record(u"remove"_s, query);
        if (isBroken || unremovableServices.contains(query.service))
            return platform::KeychainStatus::failure;
        return items.erase(keyOf(query)) ? platform::KeychainStatus::success
                                         : platform::KeychainStatus::itemNotFound;
    }

    std::map<Key, Item> items;
    bool isBroken = false;     ///< locked, refused, absent: every call fails
    bool hasNoThreads = false; ///< the system has none left to ask with
    bool refusesAdditions = false;
    QStringList unremovableServices;

private:
    static Key keyOf(const platform::KeychainQuery &query) { return {query.service, query.account}; }
    void record(const QString &operation, const platform::KeychainQuery &query) {
        m_log.add(u"keychain."_s + operation + u' ' + query.service + u' ' + query.account);
    }

    CallLog &m_log;
};

} // namespace quillora::test
