#include "support/ChildProcess.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using quillora::test::ChildProcess;

/// What an installation tells the desktop about the program.
class DesktopIntegrationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_prefix.isValid());
        QVERIFY(succeeds(u"cmake"_s, {u"--install"_s, QStringLiteral(QUILLORA_BUILD_FOLDER), u"--component"_s,
                                      u"desktop"_s, u"--prefix"_s, m_prefix.path()}));
    }

    void theDesktopFileIsValid() {
        QVERIFY(succeeds(u"desktop-file-validate"_s, {installed(desktopFile)}));
        const QByteArray entry = content(desktopFile);
        QVERIFY(entry.contains("\nExec=quillora\n"));
        QVERIFY(entry.contains("\nIcon=org.quillora.Quillora\n"));
        QVERIFY(entry.contains("\nStartupWMClass=Quillora\n"));
    }

    void theMetainfoIsValid() {
        QVERIFY(
            succeeds(u"appstreamcli"_s, {u"validate"_s, u"--no-net"_s,
                                         installed(u"share/metainfo/org.quillora.Quillora.metainfo.xml"_s)}));
    }

    void theBusCanStartTheProgram() {
        const QByteArray service = content(u"share/dbus-1/services/org.quillora.Quillora.service"_s);
        QVERIFY(service.contains("\nName=org.quillora.Quillora\n"));
        QVERIFY(service.contains("/bin/quillora\n"));
    }

    void theIconsAreInTheIconTheme_data() {
        QTest::addColumn<QString>("path");
        QTest::newRow("application") << u"scalable/apps/org.quillora.Quillora.svg"_s;
        for (const auto *state : {"idle", "recording", "processing"})
            QTest::newRow(state) << u"symbolic/apps/quillora-%1-symbolic.svg"_s.arg(
                QString::fromLatin1(state));
    }
    void theIconsAreInTheIconTheme() {
        QFETCH(QString, path);
        QVERIFY(!QImage(installed(u"share/icons/hicolor/"_s + path)).isNull());
    }

private:
    static inline const QString desktopFile = u"share/applications/org.quillora.Quillora.desktop"_s;

    QString installed(const QString &path) const { return m_prefix.filePath(path); }

    QByteArray content(const QString &path) const {
        QFile file(installed(path));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    static bool succeeds(const QString &program, const QStringList &arguments) {
        ChildProcess child(program, arguments);
        return child.process().waitForFinished() && child.process().exitStatus() == QProcess::NormalExit &&
               child.process().exitCode() == 0;
    }

    QTemporaryDir m_prefix;
};

QTEST_MAIN(DesktopIntegrationTest)

#include "DesktopIntegrationTest.moc"
