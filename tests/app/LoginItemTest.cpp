#include "app/desktop/LoginItem.h"
#include "support/ChildProcess.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using quillora::LoginItem;

class LoginItemTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_home = std::make_unique<QTemporaryDir>();
        qputenv("XDG_CONFIG_HOME", m_home->path().toUtf8());
    }

    void itIsOffAtFirst() { QVERIFY(!m_item.isEnabled()); }

    void enablingWritesAnEntryThatTheDesktopAccepts() {
        m_item.setEnabled(true);
        QVERIFY(m_item.isEnabled());
        QVERIFY(validates());
    }

    void disablingRemovesTheEntry() {
        m_item.setEnabled(true);
        m_item.setEnabled(false);
        QVERIFY(!m_item.isEnabled());
        QVERIFY(!QFile::exists(entryPath()));
    }

    void theEntryStartsTheProgramWhateverItsPathHolds() {
        const LoginItem item(u"/opt/100% \"mine\"/$x`y\\z/quillora"_qs);
        item.setEnabled(true);
        QVERIFY(validates());
        QVERIFY2(entry().contains(
                     "\nExec=\"/opt/100%% \\\\\"mine\\\\\"/\\\\$x\\\\`y\\\\\\\\z/quillora\" --at-login\n"),
                 entry().constData());
    }

    void anEntryThatTheUserSwitchedOffElsewhereCountsAsOff_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("hidden") << QByteArray("Hidden=true\n");
        QTest::newRow("the switch of a session manager") << QByteArray("X-GNOME-Autostart-enabled=false\n");
    }
    void anEntryThatTheUserSwitchedOffElsewhereCountsAsOff() {
        QFETCH(QByteArray, line);
        m_item.setEnabled(true);
        QFile file(entryPath());
        QVERIFY(file.open(QIODevice::Append));
        file.write(line);
        file.close();
        QVERIFY(!m_item.isEnabled());
        m_item.setEnabled(true);
        QVERIFY(m_item.isEnabled());
    }

    void aFolderThatCannotBeWrittenLeavesItOff() {
        QFile blocker(m_home->filePath(u"autostart"_qs));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        m_item.setEnabled(true);
        QVERIFY(!m_item.isEnabled());
    }

private:
    QString entryPath() const { return m_home->filePath(u"autostart/org.quillora.Quillora.desktop"_qs); }

    QByteArray entry() const {
        QFile file(entryPath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    bool validates() const {
        quillora::test::ChildProcess validator(u"desktop-file-validate"_qs, {entryPath()});
        return validator.process().waitForFinished() && validator.process().exitCode() == 0;
    }

    std::unique_ptr<QTemporaryDir> m_home;
    LoginItem m_item{u"/usr/bin/quillora"_qs};
};

QTEST_GUILESS_MAIN(LoginItemTest)

#include "LoginItemTest.moc"
