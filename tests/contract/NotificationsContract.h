#pragma once

#include "contract/Subjects.h"
#include "platform/Notifications.h"
#include "support/ChildProcess.h"

#include <QTest>

#include <memory>
#include <vector>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// The world around one implementation of Notifications.
class NotificationsHarness {
public:
    virtual ~NotificationsHarness() = default;

    virtual platform::Notifications &notifications() = 0;

    /// What the desktop has shown, as a person reads it.
    virtual std::vector<platform::Notification> shown() const = 0;
};

/// What all Notifications do.
class NotificationsContract : public QObject {
    Q_OBJECT

public:
    explicit NotificationsContract(Subjects<NotificationsHarness> subjects)
        : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void aNotificationIsShownAsItIs_data() {
        QTest::addColumn<QString>("summary");
        QTest::addColumn<QString>("body");
        QTest::newRow("words") << u"Dictation ended early"_s << u"The microphone was disconnected."_s;
        QTest::newRow("marks") << u"a < b & c"_s << u"<b>a</b> & \"b\" 'c' &amp; <img src=x>"_s;
        QTest::newRow("lines") << u"one"_s << u"one\ntwo"_s;
        QTest::newRow("scripts") << u"готово"_s << u"完了 🎤"_s;
        QTest::newRow("nothing but a summary") << u"one"_s << u""_s;
    }
    void aNotificationIsShownAsItIs() {
        QFETCH(QString, summary);
        QFETCH(QString, body);
        const platform::Notification notification{summary, body};
        m_harness->notifications().show(notification);
        QVERIFY(ChildProcess::waitUntil([&] { return !m_harness->shown().empty(); }, 30000));
        QCOMPARE(m_harness->shown(), std::vector{notification});
    }

    void theyComeOneAfterTheOther() {
        const std::vector<platform::Notification> all{
            {u"one"_s, u"1"_s}, {u"two"_s, u"2"_s}, {u"one"_s, u"1"_s}};
        for (const auto &notification : all)
            m_harness->notifications().show(notification);
        QVERIFY(ChildProcess::waitUntil([&] { return m_harness->shown().size() >= all.size(); }, 30000));
        QCOMPARE(m_harness->shown(), all);
    }

private:
    Subjects<NotificationsHarness> m_subjects;
    std::unique_ptr<NotificationsHarness> m_harness;
};

} // namespace quillora::test
