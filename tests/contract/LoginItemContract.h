#pragma once

#include "contract/Subjects.h"
#include "platform/LoginItem.h"

#include <QTest>

#include <memory>

namespace quillora::test {

/// A login item, and the desktop around it.
class LoginItemHarness {
public:
    virtual ~LoginItemHarness() = default;

    virtual platform::LoginItem &loginItem() = 0;

    /// The user has the desktop start the program no more, without the program.
    virtual void switchOffElsewhere() = 0;

    /// From here on the desktop remembers nothing new.
    virtual void refuse() = 0;
};

/// What all login items do.
class LoginItemContract : public QObject {
    Q_OBJECT

public:
    explicit LoginItemContract(Subjects<LoginItemHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void itIsOffAtFirst() { QVERIFY(!loginItem().isEnabled()); }

    void itIsOnOnceItIsEnabled() {
        loginItem().setEnabled(true);
        QVERIFY(loginItem().isEnabled());
        loginItem().setEnabled(true);
        QVERIFY(loginItem().isEnabled());
    }

    void itIsOffOnceItIsDisabled() {
        loginItem().setEnabled(true);
        loginItem().setEnabled(false);
        QVERIFY(!loginItem().isEnabled());
        loginItem().setEnabled(false);
        QVERIFY(!loginItem().isEnabled());
    }

    void whatTheUserSaidElsewhereCountsUntilItIsEnabledAgain() {
        loginItem().setEnabled(true);
        m_harness->switchOffElsewhere();
        QVERIFY(!loginItem().isEnabled());
        loginItem().setEnabled(true);
        QVERIFY(loginItem().isEnabled());
    }

    void whereTheDesktopDoesNotRememberItItStaysOff() {
        m_harness->refuse();
        loginItem().setEnabled(true);
        QVERIFY(!loginItem().isEnabled());
    }

private:
    platform::LoginItem &loginItem() { return m_harness->loginItem(); }

    Subjects<LoginItemHarness> m_subjects;
    std::unique_ptr<LoginItemHarness> m_harness;
};

} // namespace quillora::test
