#include "controller/ControllerFixture.h"
#include "controller/DictationOracle.h"

#include <QRandomGenerator>
#include <QTest>

using namespace quillora;
using namespace quillora::test;

namespace {

constexpr int sequenceCount = 100000;
constexpr int longestSequence = 40;
constexpr quint32 seed = 20261120;

/// The real controller and the oracle, side by side: every event happens to both.
class Walk {
public:
    explicit Walk(QRandomGenerator &random) : m_random(random) {
        m_real.platform.speech.replies = FakeSpeechRecognition::Replies::byHand;
        m_real.platform.translation.replies = FakeTranslationProvider::Replies::byHand;
    }

    /// Does something; says what.
    QString step() {
        const QString event = choose();
        // Sometimes what was posted has not run yet when the next thing happens.
        switch (m_random.bounded(4)) {
        case 0:
            break;
        case 1:
            m_real.platform.queue.runOne();
            m_oracle.runOne();
            return event + u", one turn"_qs;
        default:
            m_real.run();
            m_oracle.run();
            return event + u", settled"_qs;
        }
        return event;
    }

    /// What differs; null if nothing does.
    QString difference() {
        const auto &c = *m_real.controller;
        const QStringList calls = m_real.takeCalls();
        const QStringList expected = std::exchange(m_oracle.calls, {});
        const auto compare = [](const char *what, const QString &actual, const QString &wanted) {
            return actual == wanted
                       ? QString()
                       : u"%1 is [%2], should be [%3]"_qs.arg(QString::fromLatin1(what), actual, wanted);
        };
        for (const QString &d :
             {compare("calls", calls.join(u" | "), expected.join(u" | ")),
              compare("statusText", c.statusText(), m_oracle.status),
              compare("transcriptText", c.transcriptText(), m_oracle.transcript),
              compare("translatedText", c.translatedText(), m_oracle.translated),
              compare("flags", flags(c.isRecording(), c.isProcessing(), c.isRecordingHotKey()),
                      flags(m_oracle.isRecording, m_oracle.isProcessing, m_oracle.isRecordingHotKey))}) {
            if (!d.isNull())
                return d;
        }
        return {};
    }

private:
    static QString flags(bool recording, bool processing, bool capturing) {
        return u"recording=%1 processing=%2 capturing=%3"_qs.arg(recording).arg(processing).arg(capturing);
    }

    bool oneIn(int n) { return m_random.bounded(n) == 0; }

    QString choose() {
        for (;;) {
            const QString event = attempt(m_random.bounded(20));
            if (!event.isNull())
                return event;
        }
    }

    /// Null where the event cannot happen now.
    QString attempt(int kind) {
        auto &c = *m_real.controller;
        auto &speech = m_real.platform.speech;
        auto &translation = m_real.platform.translation;
        switch (kind) {
        case 0:
        case 1:
            c.hotKeyPressed();
            m_oracle.press();
            return u"press"_qs;
        case 2:
        case 3:
            c.hotKeyReleased();
            m_oracle.release();
            return u"release"_qs;
        case 4:
            c.toggleRecording();
            m_oracle.toggle();
            return u"toggle"_qs;
        case 5:
        case 6:
            return answerPermission(speech.authorizationReplies, m_oracle.authorizations,
                                    platform::SpeechAuthorizationStatus::authorized,
                                    platform::SpeechAuthorizationStatus::denied,
                                    u"Speech recognition permission was denied."_qs, u"authorization"_qs);
        case 7:
        case 8:
            return answerPermission(speech.microphoneReplies, m_oracle.microphones, true, false,
                                    u"Microphone permission was denied."_qs, u"microphone"_qs);
        case 9:
        case 10:
            return deliver();
        case 11:
        case 12:
            return answerPreparation(translation);
        case 13:
            return answerTranslation(translation);
        case 14:
            return advance();
        case 15:
            if (oneIn(2)) {
                c.startHotKeyRecording();
                m_oracle.startCapture();
                return u"start capture"_qs;
            }
            c.cancelHotKeyRecording();
            m_oracle.cancelCapture();
            return u"cancel capture"_qs;
        case 16:
            c.pasteLastTranslation();
            m_oracle.pasteLast();
            return u"paste last"_qs;
        case 17:
            if (oneIn(2)) {
                c.prepareTranslationModels();
                m_oracle.prepareModels();
                return u"prepare"_qs;
            }
            return chooseTarget();
        default:
            return oneIn(4) ? changeTheWorld() : QString();
        }
    }

    template <typename Replies, typename Answer>
    QString answerPermission(Replies &replies, std::deque<DictationOracle::Question> &questions,
                             Answer granted, Answer denied, const QString &refusal, const QString &what) {
        if (replies.empty())
            return {};
        const auto reply = std::move(replies.front());
        replies.pop_front();
        if (oneIn(8)) {
            m_oracle.answer(questions, u"The operation was abandoned."_qs);
            return what + u" abandoned"_qs; // `reply` goes, and with it whoever could answer
        }
        const bool isDenied = oneIn(8);
        reply(isDenied ? denied : granted);
        m_oracle.answer(questions, isDenied ? std::optional(refusal) : std::nullopt);
        return what + (isDenied ? u" denied"_qs : u" granted"_qs);
    }

    QString deliver() {
        const auto &recognitions = m_real.platform.speech.recognitions;
        if (recognitions.empty())
            return {};
        // An old recognition may have something left to say too.
        const auto &recognition =
            oneIn(4) ? recognitions[m_random.bounded(quint32(recognitions.size()))] : recognitions.back();
        const QString text = oneIn(4) ? u" \n"_qs : u" word %1 "_qs.arg(m_random.bounded(100));
        switch (m_random.bounded(4)) {
        case 0:
            recognition->handler(platform::RecognitionResult{text, true}, {});
            m_oracle.deliver(text, true, false);
            return u"final result"_qs;
        case 1:
            recognition->handler({}, LocalizedError(u"broken"_qs));
            m_oracle.deliver({}, false, true);
            return u"recognition error"_qs;
        case 2: {
            const bool isFinal = oneIn(2);
            recognition->handler(platform::RecognitionResult{text, isFinal}, LocalizedError(u"broken"_qs));
            m_oracle.deliver(text, isFinal, true);
            return u"result with error"_qs;
        }
        default:
            recognition->handler(platform::RecognitionResult{text, false}, {});
            m_oracle.deliver(text, false, false);
            return u"interim result"_qs;
        }
    }

    QString answerPreparation(FakeTranslationProvider &translation) {
        if (translation.pendingPreparations.empty())
            return {};
        const auto pending = std::move(translation.pendingPreparations.front());
        translation.pendingPreparations.pop_front();
        if (oneIn(4)) {
            pending.fail(std::make_exception_ptr(LocalizedError(u"No model."_qs)));
            m_oracle.answer(m_oracle.preparations, u"No model."_qs);
            return u"preparation failed"_qs;
        }
        pending.resume(true);
        m_oracle.answer(m_oracle.preparations, {});
        return u"prepared"_qs;
    }

    QString answerTranslation(FakeTranslationProvider &translation) {
        if (translation.pendingTranslations.empty())
            return {};
        const auto pending = std::move(translation.pendingTranslations.front());
        translation.pendingTranslations.pop_front();
        if (oneIn(4)) {
            pending.fail(std::make_exception_ptr(LocalizedError(u"The engine broke."_qs)));
            m_oracle.answerTranslation({}, u"The engine broke."_qs);
            return u"translation failed"_qs;
        }
        const QString text = u"palabra %1"_qs.arg(m_random.bounded(100));
        pending.resume(text);
        m_oracle.answerTranslation(text, {});
        return u"translated"_qs;
    }

    QString advance() {
        const int duration = QList{10, 150, 800, 1500}[m_random.bounded(4)];
        m_real.platform.queue.advance(std::chrono::milliseconds(duration));
        m_oracle.advance(duration);
        return u"%1 ms pass"_qs.arg(duration);
    }

    QString chooseTarget() {
        const QString target = oneIn(3) ? u"en"_qs : u"es"_qs;
        m_real.controller->setTargetLanguageIdentifier(target);
        m_oracle.chooseTarget(target);
        return u"target "_qs + target;
    }

    QString changeTheWorld() {
        auto &platform = m_real.platform;
        switch (m_random.bounded(4)) {
        case 0:
            platform.keystrokesFake.isTrustGranted = m_oracle.isTrusted = !m_oracle.isTrusted;
            return u"trust changes"_qs;
        case 1:
            platform.speech.isAvailable = m_oracle.isRecognizerAvailable = !m_oracle.isRecognizerAvailable;
            return u"recognizer changes"_qs;
        case 2:
            m_oracle.hasChannels = !m_oracle.hasChannels;
            platform.speech.audioEngine->format.channelCount = m_oracle.hasChannels ? 1 : 0;
            return u"microphone changes"_qs;
        default:
            m_oracle.engineStartError =
                m_oracle.engineStartError ? std::nullopt : std::optional(u"The device is in use."_qs);
            platform.speech.audioEngine->startError = m_oracle.engineStartError;
            return u"sound server changes"_qs;
        }
    }

    QRandomGenerator &m_random;
    ControllerFixture m_real;
    DictationOracle m_oracle;
};

} // namespace

/// Presses, releases, toggles, answers, results, time and faults in any order: the controller does in each
/// step exactly what the oracle says, down to the order of calls. The controller's end comes at a random
/// moment too.
class DictationWalkTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everySequenceGoesAsTheOracleSays() {
        QRandomGenerator random(seed);
        qint64 steps = 0;
        for (int sequence = 0; sequence < sequenceCount; ++sequence) {
            Walk walk(random);
            QStringList history;
            for (int length = random.bounded(1, longestSequence); length > 0; --length) {
                history += walk.step();
                ++steps;
                if (const QString difference = walk.difference(); !difference.isNull())
                    QFAIL(qPrintable(u"sequence %1: %2\nafter: %3"_qs.arg(sequence)
                                         .arg(difference)
                                         .arg(history.join(u"; "))));
            }
        }
        qInfo("%d sequences, %lld steps", sequenceCount, static_cast<long long>(steps));
    }
};

QTEST_GUILESS_MAIN(DictationWalkTest)
#include "DictationWalkTest.moc"
