#pragma once

#include "platform/Continuation.h"
#include "platform/MainQueue.h"
#include "platform/linux/translation/apertium/ApertiumModes.h"

#include <QByteArray>
#include <QLocalSocket>
#include <QObject>
#include <QProcess>
#include <QStringList>

#include <chrono>
#include <deque>
#include <memory>

namespace quillora::platform {

/// The processes of one installed language pair, which translate one text after the other through their
/// pipes.
///
/// It ends, with all its processes, when a stage dies, when an answer is overdue, when it has been idle for
/// `idleTime`, and when it is destroyed; it is then no longer usable, and every waiter has got an error.
/// Main thread only; never blocks it, save for ending stubborn processes on destruction.
class ApertiumPipeline : public QObject {
    Q_OBJECT

public:
    static constexpr std::chrono::seconds answerTime{10};
    static constexpr std::chrono::seconds idleTime{60};

    ApertiumPipeline(ApertiumMode mode, MainQueue &mainQueue);
    ~ApertiumPipeline() override;

    bool isUsable() const { return m_isUsable; }

    /// True once it has answered: its data is loaded.
    bool isWarm() const { return m_isWarm; }

    /// Has it load its data, and stay for another `idleTime`. Resumes once it is warm, or fails like a
    /// translation.
    Continuation<QStringList> warm() { return translate({QStringLiteral("1")}); }

    /// Resumes with one translation for each passage, or fails with a LocalizedError.
    Continuation<QStringList> translate(const QStringList &passages);

private:
    struct Request {
        Continuation<QStringList> continuation;
        qsizetype passageCount;
        QStringList translations;
        std::shared_ptr<WorkItem> deadline;
    };

    void start();
    void readAnswers();
    void takeAnswer(const QByteArray &answer);
    void endWhenIdle();
    void end(const QString &reason);
    void endProcesses();
    QString sentence(const QString &whatHappened) const;

    const ApertiumMode m_mode;
    MainQueue &m_mainQueue;
    QProcess m_process;
    QLocalSocket m_answers;
    QByteArray m_output; ///< the beginning of an answer
    std::deque<Request> m_requests;
    std::shared_ptr<WorkItem> m_idleEnd;
    bool m_isUsable = true;
    bool m_isWarm = false;
};

} // namespace quillora::platform
