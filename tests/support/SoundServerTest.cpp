#include "support/SoundServer.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTest>

#include <stdexcept>

using namespace Qt::StringLiterals;

using quillora::test::SoundServer;

/// The sound server that other tests rely on.
class SoundServerTest : public QObject {
    Q_OBJECT

    /// From now on, and until the answer goes, a shell script stands in for a program.
    [[nodiscard]] auto replaceProgram(const QString &name, const QByteArray &script) {
        const QString path = m_programs.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            throw std::runtime_error("cannot write a script");
        file.write("#!/bin/sh\n" + script + '\n');
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        const QByteArray before = qgetenv("PATH");
        qputenv("PATH", m_programs.path().toUtf8() + ':' + before);
        return qScopeGuard([before, path] {
            qputenv("PATH", before);
            QFile::remove(path);
        });
    }

private Q_SLOTS:
    /// The socket of the one that was killed is still there meanwhile.
    void aRestartThatTakesItsTimeIsWaitedFor() {
        SoundServer server;
        server.kill();
        const QString program = SoundServer::isPipeWire() ? u"pipewire"_s : u"pulseaudio"_s;
        const auto instead = replaceProgram(
            program, "sleep 1; exec " + QStandardPaths::findExecutable(program).toUtf8() + " \"$@\"");
        server.restart();
        QCOMPARE(server.recordingCount(), 0);
    }

    void aMicrophoneThatComesAgainIsTheDefault() {
        SoundServer server;
        server.unplugMicrophone();
        server.plugInMicrophone({16000, 1});
        QCOMPARE(server.recordingCount(), 0);
    }

private:
    QTemporaryDir m_programs;
};

QTEST_GUILESS_MAIN(SoundServerTest)
#include "SoundServerTest.moc"
