#include "platform/linux/sound/MicrophoneSwitch.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;

/// The desktop's setting, kept in a file of the test's own.
class MicrophoneSwitchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(QDir(m_folder.path()).mkpath(u"glib-2.0/settings"_s));
        qputenv("XDG_CONFIG_HOME", m_folder.path().toUtf8());
        qputenv("GSETTINGS_BACKEND", "keyfile");
    }

    void recordingIsAllowedUntilTheUserForbidsIt() {
        const platform::MicrophoneSwitch microphone;
        QVERIFY(microphone.allowsRecording());
        write("[org/gnome/desktop/privacy]\ndisable-microphone=true\n");
        QTRY_VERIFY(!microphone.allowsRecording());
        write("[org/gnome/desktop/privacy]\ndisable-microphone=false\n");
        QTRY_VERIFY(microphone.allowsRecording());
    }

    void withoutSuchASettingNothingIsForbidden() {
        QVERIFY(platform::MicrophoneSwitch("org.quillora.NoSuchSettings").allowsRecording());
        QVERIFY(platform::MicrophoneSwitch("org.gnome.desktop.interface").allowsRecording());
    }

private:
    void write(const QByteArray &settings) {
        QFile file(m_folder.filePath(u"glib-2.0/settings/keyfile"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(settings);
    }
    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(MicrophoneSwitchTest)
#include "MicrophoneSwitchTest.moc"
