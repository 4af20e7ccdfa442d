#pragma once

#include "support/ChildProcess.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <csignal>
#include <memory>
#include <string>

namespace quillora::test {

/// A sound server of the test's own, whose default source is a virtual microphone. The microphone runs all
/// the time, as one that a desktop already uses.
class SoundServer {
public:
    struct Microphone {
        int rate = 48000; ///< Hz
        int channels = 2;
    };

    /// Returns once the server answers and the microphone runs; throws std::runtime_error.
    explicit SoundServer(const Microphone &microphone = {48000, 2});
    ~SoundServer();

    /// As in PULSE_SERVER.
    std::string address() const { return "unix:" + socketPath().toStdString(); }

    /// Plays a sound file into the microphone; it has been played when the program ends.
    std::unique_ptr<ChildProcess> play(const QString &path);

    void unplugMicrophone();
    void plugInMicrophone(const Microphone &microphone);

    /// How many recordings the server makes, the one that keeps the microphone running left out.
    int recordingCount();

    /// Ends the server without warning.
    void kill();

    /// Stops and continues the server, as a hang does.
    void pause() { m_server->signal(SIGSTOP); }
    void resume() { m_server->signal(SIGCONT); }

    /// Starts a server that was killed again, at the same address.
    void restart();

private:
    QString socketPath() const { return m_folder.filePath(u"native"_qs); }
    QStringList environment() const;
    QByteArray control(const QStringList &arguments);
    void startServer();
    void keepMicrophoneRunning();

    QTemporaryDir m_folder;
    Microphone m_microphone;
    std::unique_ptr<ChildProcess> m_server;
    std::unique_ptr<ChildProcess> m_listener;
};

} // namespace quillora::test
