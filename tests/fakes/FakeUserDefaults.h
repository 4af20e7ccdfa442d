#pragma once

#include "fakes/CallLog.h"
#include "platform/UserDefaults.h"

#include <map>

namespace quillora::test {

class FakeUserDefaults : public platform::UserDefaults {
public:
    explicit FakeUserDefaults(CallLog &log) : m_log(log) {}

    std::optional<QString> string(const QString &key) const override {
        const auto found = values.find(key);
        return found == values.end() ? std::nullopt : std::optional<QString>(found->second);
    }
    void setString(const QString &value, const QString &key) override {
        values[key] = value;
        m_log.add(u"defaults.set "_qs + key + u'=' + value);
    }

    std::map<QString, QString> values;

private:
    CallLog &m_log;
};

} // namespace quillora::test
