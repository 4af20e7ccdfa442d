#pragma once

#include "fakes/CallLog.h"
#include "platform/Notifications.h"

#include <vector>

namespace quillora::test {

using namespace Qt::StringLiterals;

class FakeNotifications : public platform::Notifications {
public:
    explicit FakeNotifications(CallLog &log) : m_log(log) {}

    void show(const platform::Notification &notification) override {
        m_log.add(u"notifications.show %1"_s.arg(notification.summary));
        shown.push_back(notification);
    }

    std::vector<platform::Notification> shown;

private:
    CallLog &m_log;
};

} // namespace quillora::test
