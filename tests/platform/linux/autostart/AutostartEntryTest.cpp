#include "platform/linux/autostart/AutostartEntry.h"
#include "support/ChildProcess.h"
#include "support/Files.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::AutostartEntry;

/// The entry that the desktop reads at login, in a configuration of the test's own.
class AutostartEntryTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_folder.emplace();
        qputenv("XDG_CONFIG_HOME", m_folder->path().toUtf8());
        m_loginItem.emplace(u"/usr/bin/quillora"_s);
    }

    void enablingWritesAnEntryThatTheDesktopAccepts() {
        m_loginItem->setEnabled(true);
        QVERIFY(isAcceptedByTheDesktop());
    }

    void disablingRemovesTheEntry() {
        m_loginItem->setEnabled(true);
        m_loginItem->setEnabled(false);
        QVERIFY(!hasEntry());
    }

    void theEntryStartsTheProgramWhateverItsPathHolds() {
        m_loginItem.emplace(u"/opt/100% \"mine\"/$x`y\\z/quillora"_s);
        m_loginItem->setEnabled(true);
        QVERIFY(isAcceptedByTheDesktop());
        const QByteArray written = entry();
        QVERIFY2(written.contains(
                     "\nExec=\"/opt/100%% \\\\\"mine\\\\\"/\\\\$x\\\\`y\\\\\\\\z/quillora\" --at-login\n"),
                 written.constData());
    }

    void theSwitchOfASessionManagerCounts() {
        m_loginItem->setEnabled(true);
        append("X-GNOME-Autostart-enabled=false\n");
        QVERIFY(!m_loginItem->isEnabled());
    }

private:
    QString path() const { return m_folder->filePath(u"autostart/org.quillora.Quillora.desktop"_s); }
    bool hasEntry() const { return QFile::exists(path()); }
    QByteArray entry() const { return test::readFile(path()); }

    void append(const QByteArray &line) const {
        QFile file(path());
        QVERIFY(file.open(QIODevice::Append));
        file.write(line);
    }

    bool isAcceptedByTheDesktop() const {
        test::ChildProcess validator(u"desktop-file-validate"_s, {path()});
        return validator.process().waitForFinished() && validator.process().exitCode() == 0;
    }

    std::optional<QTemporaryDir> m_folder;
    std::optional<AutostartEntry> m_loginItem;
};

QTEST_GUILESS_MAIN(AutostartEntryTest)
#include "AutostartEntryTest.moc"
