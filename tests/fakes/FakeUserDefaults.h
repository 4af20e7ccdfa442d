#pragma once

#include "fakes/CallLog.h"
#include "platform/UserDefaults.h"

#include <QTimer>

#include <map>
#include <set>

namespace quillora::test {

using namespace Qt::StringLiterals;

class FakeUserDefaults : public platform::UserDefaults {
public:
    explicit FakeUserDefaults(CallLog &log) : m_log(log) {
        m_telling.setSingleShot(true);
        m_telling.callOnTimeout([this] { tell(); });
    }

    std::optional<QString> string(const QString &key) const override {
        const auto found = values.find(key);
        return found == values.end() ? std::nullopt : std::optional<QString>(found->second);
    }
    void setString(const QString &value, const QString &key) override {
        values[key] = value;
        m_log.add(u"defaults.set "_s + key + u'=' + value);
        if (isUnwritable)
            fail(platform::UserDefaultsFailure::unwritable);
    }
    void setFailureObserver(FailureObserver observer) override {
        m_observer = std::move(observer);
        m_told.clear();
        m_telling.start();
    }

    void fail(platform::UserDefaultsFailure failure) {
        m_failures.insert(failure);
        m_telling.start();
    }

    std::map<QString, QString> values;
    bool isUnwritable = false; ///< the next value that is set does not reach the disk

private:
    void tell() {
        for (const auto failure : std::set(m_failures)) {
            if (const auto observer = m_observer; observer && m_told.insert(failure).second)
                observer(failure);
        }
    }

    CallLog &m_log;
    std::set<platform::UserDefaultsFailure> m_failures;
    std::set<platform::UserDefaultsFailure> m_told;
    FailureObserver m_observer;
    QTimer m_telling;
};

} // namespace quillora::test
