#include "platform/linux/translation/apertium/ApertiumPipeline.h"

#include "platform/linux/translation/LanguageNames.h"
#include "platform/linux/translation/apertium/ApertiumStream.h"

#include <csignal>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// The shell lets go of the pipes, so that a stage that dies is noticed at their ends; and it outlives the
/// SIGTERM that ends its stages, so that it collects them.
const QString shellCommand = uR"sh(
    trap : TERM
    exec 3<&0
    eval "<&3 $(apertium-wblank-mode -z "$0") &"
    exec <&- 3<&- >&-
    until wait; do :; done)sh"_s;
/// What a mode file has as `$1` and `$2`: unknown words pass unmarked; nothing is asked of the tagger.
const QStringList modeArguments{u"-n"_s, QString()};

constexpr int patienceMs = 300;

std::exception_ptr error(const QString &sentence) {
    return std::make_exception_ptr(LocalizedError(sentence));
}

} // namespace

ApertiumPipeline::ApertiumPipeline(ApertiumMode mode, MainQueue &mainQueue)
    : m_mode(std::move(mode)), m_mainQueue(mainQueue) {
    start();
}

ApertiumPipeline::~ApertiumPipeline() {
    m_process.disconnect(this);
    m_answers.disconnect(this);
    end(u"was ended"_s);
    if (m_process.state() == QProcess::NotRunning || m_process.waitForFinished(patienceMs))
        return;
    ::kill(-static_cast<pid_t>(m_process.processId()), SIGKILL);
    m_process.waitForFinished(patienceMs);
}

void ApertiumPipeline::start() {
    const auto stopped = [this] { end(u"has stopped unexpectedly"_s); };
    connect(&m_answers, &QLocalSocket::readyRead, this, &ApertiumPipeline::readAnswers);
    connect(&m_answers, &QLocalSocket::disconnected, this, stopped);
    connect(&m_process, &QProcess::errorOccurred, this, stopped);
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
    m_process.setProcessEnvironment(environment);
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.setStandardErrorFile(QProcess::nullDevice());

    // QProcess would not tell of the end of the output before the end of the shell.
    int ends[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return stopped();
    m_answers.setSocketDescriptor(ends[0], QLocalSocket::ConnectedState, QIODevice::ReadOnly);
    m_process.setChildProcessModifier([output = ends[1]] {
        ::setsid();
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(output, STDOUT_FILENO);
    });
    m_process.start(u"sh"_s, QStringList{u"-c"_s, shellCommand, m_mode.file} + modeArguments);
    ::close(ends[1]);
}

Continuation<QStringList> ApertiumPipeline::translate(const QStringList &passages) {
    Continuation<QStringList> continuation(m_mainQueue);
    if (!m_isUsable) {
        continuation.fail(error(sentence(u"has stopped unexpectedly"_s)));
        return continuation;
    }
    if (m_idleEnd)
        m_idleEnd->cancel();
    const auto deadline = m_mainQueue.asyncAfter(answerTime, [this] { end(u"did not answer in time"_s); });
    m_requests.push_back({continuation, passages.size(), {}, deadline});
    for (const QString &passage : passages)
        m_process.write(ApertiumStream::encode(passage));
    return continuation;
}

void ApertiumPipeline::readAnswers() {
    m_output += m_answers.readAll();
    qsizetype start = 0;
    for (qsizetype stop; m_isUsable && (stop = m_output.indexOf('\0', start)) >= 0; start = stop + 1)
        takeAnswer(m_output.mid(start, stop - start));
    m_output.remove(0, start);
}

void ApertiumPipeline::takeAnswer(const QByteArray &answer) {
    const auto translation = ApertiumStream::decode(answer);
    if (m_requests.empty() || !translation) {
        // The stages' last breath is an empty answer.
        end(answer.isEmpty() ? u"has stopped unexpectedly"_s : u"gave a result that cannot be read"_s);
        return;
    }
    m_isWarm = true;
    Request &request = m_requests.front();
    request.translations.append(*translation);
    if (request.translations.size() < request.passageCount)
        return;
    request.deadline->cancel();
    request.continuation.resume(std::move(request.translations));
    m_requests.pop_front();
    if (m_requests.empty())
        endWhenIdle();
}

void ApertiumPipeline::endWhenIdle() {
    m_idleEnd = m_mainQueue.asyncAfter(idleTime, [this] { end(u"was ended"_s); });
}

void ApertiumPipeline::end(const QString &reason) {
    if (!std::exchange(m_isUsable, false))
        return;
    if (m_idleEnd)
        m_idleEnd->cancel();
    for (const Request &request : std::exchange(m_requests, {})) {
        request.deadline->cancel();
        request.continuation.fail(error(sentence(reason)));
    }
    endProcesses();
}

void ApertiumPipeline::endProcesses() {
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.closeWriteChannel();
    const auto group = -static_cast<pid_t>(m_process.processId());
    if (::kill(group, SIGTERM) == 0)
        ::kill(group, SIGCONT); // or a stopped stage would not hear of it
    else
        m_process.kill(); // the shell has not come as far as its own session, nor to any stage
}

QString ApertiumPipeline::sentence(const QString &whatHappened) const {
    return u"The on-device translation %1 %2."_s.arg(pairInWords(m_mode.source, m_mode.target), whatHappened);
}

} // namespace quillora::platform
