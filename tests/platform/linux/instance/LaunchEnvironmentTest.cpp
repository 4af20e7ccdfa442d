#include "platform/linux/instance/LaunchEnvironment.h"
#include "support/SetVariable.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::readLaunchEnvironment;
using test::SetVariable;

class LaunchEnvironmentTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theStartIsKnownByItsIdentifier() {
        const SetVariable start("DESKTOP_STARTUP_ID", {u"menu-1_TIME42"_s});
        QCOMPARE(readLaunchEnvironment(), QByteArray("menu-1_TIME42"));
    }

    void theToolkitFindsNothingThatItWouldRemoveOnceThereAreThreads() {
        const SetVariable token("XDG_ACTIVATION_TOKEN", {u"token"_s});
        readLaunchEnvironment();
        QVERIFY(!qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN"));
    }

    void whereNoBusIsNoneIsStarted() {
        const QTemporaryDir runtimeFolder;
        const SetVariable folder("XDG_RUNTIME_DIR", {runtimeFolder.path()});
        const SetVariable bus("DBUS_SESSION_BUS_ADDRESS", {});
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        readLaunchEnvironment();
        QCOMPARE(qgetenv("DBUS_SESSION_BUS_ADDRESS"), QByteArray("disabled:"));
    }
};

QTEST_GUILESS_MAIN(LaunchEnvironmentTest)
#include "LaunchEnvironmentTest.moc"
