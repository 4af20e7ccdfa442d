#pragma once

#include "platform/SpeechRecognizers.h"
#include "support/ChildProcess.h"

#include <QTest>

#include <memory>
#include <mutex>
#include <vector>

namespace quillora::test {

/// The world around one implementation of SpeechRecognizers.
class SpeechRecognizersHarness {
public:
    virtual ~SpeechRecognizersHarness() = default;

    virtual platform::SpeechRecognizers &recognizers() = 0;

    /// The latest recognition hears a whole sentence, word by word, and then the end of the audio.
    virtual void hearSentence(platform::Recognition &recognition) = 0;

    /// The same, but nothing says that the audio ends.
    virtual void hearUnendedSentence(platform::Recognition &recognition) = 0;

    /// Loads of time for a recognizer to say what it may have to say.
    virtual void letRecognitionsFinish() = 0;
};

/// What all SpeechRecognizers do.
class SpeechRecognizersContract : public QObject {
    Q_OBJECT

protected:
    virtual std::unique_ptr<SpeechRecognizersHarness> makeHarness() = 0;

private Q_SLOTS:
    void init() { m_harness = makeHarness(); }
    void cleanup() {
        m_recognition.reset();
        m_harness.reset();
    }

    void aSupportedLocaleHasARecognizer() {
        QCOMPARE(recognizers().supportedLocales(), QStringList{u"en-US"_qs});
        const auto recognizer = recognizers().makeRecognizer(u"en-US"_qs);
        QVERIFY(recognizer);
        QVERIFY(recognizer->isAvailable());
    }

    void anUnknownLocaleHasNone() { QVERIFY(!recognizers().makeRecognizer(u"tlh-001"_qs)); }

    void interimTextsAreFollowedByOneFinalText() {
        begin();
        m_harness->hearSentence(*m_recognition);
        QVERIFY(becomesFinal());
        const std::lock_guard lock(m_told->mutex);
        const auto &results = m_told->results;
        QVERIFY(results.size() > 1);
        for (size_t i = 0; i + 1 < results.size(); ++i)
            QVERIFY(!results[i].isFinal);
        QVERIFY(!results.back().text.isEmpty());
        QCOMPARE(m_told->errors, 0);
    }

    void aCancelledRecognitionHasNoFinalText() {
        begin();
        m_recognition->cancel();
        m_harness->hearSentence(*m_recognition);
        m_harness->letRecognitionsFinish();
        QVERIFY(!isFinal());
    }

    void droppingTheRecognitionLeavesTheFinalTextToCome() {
        begin();
        m_harness->hearUnendedSentence(*m_recognition);
        m_recognition.reset();
        QVERIFY(becomesFinal());
    }

private:
    struct Told {
        std::mutex mutex;
        std::vector<platform::RecognitionResult> results;
        int errors = 0;
    };

    platform::SpeechRecognizers &recognizers() { return m_harness->recognizers(); }

    void begin() {
        m_told = std::make_shared<Told>();
        m_recognition = recognizers()
                            .makeRecognizer(u"en-US"_qs)
                            ->recognize([told = m_told](const auto &result, const auto &error) {
                                const std::lock_guard lock(told->mutex);
                                if (result)
                                    told->results.push_back(*result);
                                told->errors += error.has_value();
                            });
    }
    bool isFinal() const {
        const std::lock_guard lock(m_told->mutex);
        return !m_told->results.empty() && m_told->results.back().isFinal;
    }
    bool becomesFinal() const {
        return ChildProcess::waitUntil([this] { return isFinal(); }, 30000);
    }

    std::unique_ptr<SpeechRecognizersHarness> m_harness;
    std::shared_ptr<platform::Recognition> m_recognition;
    std::shared_ptr<Told> m_told;
};

} // namespace quillora::test
