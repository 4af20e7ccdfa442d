#include "contract/LoginItemContract.h"
#include "fakes/FakeLoginItem.h"
#include "platform/linux/autostart/AutostartEntry.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/TestSuites.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::AutostartEntry;

namespace {

class FakeHarness : public test::LoginItemHarness {
public:
    platform::LoginItem &loginItem() override { return m_loginItem; }
    void switchOffElsewhere() override { m_loginItem.setEnabled(false); }
    void refuse() override { m_loginItem.isRefused = true; }

private:
    test::FakeLoginItem m_loginItem;
};

/// The user's configuration, in a folder of its own.
class FolderHarness : public test::LoginItemHarness {
public:
    explicit FolderHarness(const QString &program = u"/usr/bin/quillora"_s) : m_loginItem(program) {
        qputenv("XDG_CONFIG_HOME", m_folder.path().toUtf8());
    }

    platform::LoginItem &loginItem() override { return m_loginItem; }
    void switchOffElsewhere() override { append("Hidden=true\n"); }
    void refuse() override { test::writeFile(m_folder.filePath(u"autostart"_s), {}); }

    void append(const QByteArray &line) const {
        QFile file(path());
        QVERIFY(file.open(QIODevice::Append));
        file.write(line);
    }

    bool hasEntry() const { return QFile::exists(path()); }

    QByteArray entry() const {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    bool isAcceptedByTheDesktop() const {
        test::ChildProcess validator(u"desktop-file-validate"_s, {path()});
        return validator.process().waitForFinished() && validator.process().exitCode() == 0;
    }

private:
    QString path() const { return m_folder.filePath(u"autostart/org.quillora.Quillora.desktop"_s); }

    QTemporaryDir m_folder;
    AutostartEntry m_loginItem;
};

/// What only this one is asked.
class AutostartEntryTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void enablingWritesAnEntryThatTheDesktopAccepts() {
        FolderHarness harness;
        harness.loginItem().setEnabled(true);
        QVERIFY(harness.isAcceptedByTheDesktop());
    }

    void disablingRemovesTheEntry() {
        FolderHarness harness;
        harness.loginItem().setEnabled(true);
        harness.loginItem().setEnabled(false);
        QVERIFY(!harness.hasEntry());
    }

    void theEntryStartsTheProgramWhateverItsPathHolds() {
        FolderHarness harness(u"/opt/100% \"mine\"/$x`y\\z/quillora"_s);
        harness.loginItem().setEnabled(true);
        QVERIFY(harness.isAcceptedByTheDesktop());
        const QByteArray entry = harness.entry();
        QVERIFY2(entry.contains(
                     "\nExec=\"/opt/100%% \\\\\"mine\\\\\"/\\\\$x\\\\`y\\\\\\\\z/quillora\" --at-login\n"),
                 entry.constData());
    }

    void theSwitchOfASessionManagerCounts() {
        FolderHarness harness;
        harness.loginItem().setEnabled(true);
        harness.append("X-GNOME-Autostart-enabled=false\n");
        QVERIFY(!harness.loginItem().isEnabled());
    }
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::LoginItemContract contract({{"fake", [] { return std::make_unique<FakeHarness>(); }},
                                      {"AutostartEntry", [] { return std::make_unique<FolderHarness>(); }}});
    AutostartEntryTest own;
    return test::TestSuites({&contract, &own}).run(argc, argv);
}
#include "LoginItemContractTest.moc"
