#pragma once

#include "contract/Subjects.h"
#include "platform/SpeechRecognizers.h"
#include "support/Told.h"

#include <QTest>

#include <memory>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// The world around one implementation of SpeechRecognizers.
class SpeechRecognizersHarness {
public:
    virtual ~SpeechRecognizersHarness() = default;

    virtual platform::SpeechRecognizers &recognizers() = 0;

    /// The latest recognition hears a whole sentence, word by word, and then the end of the audio.
    virtual void hearSentence(platform::Recognition &recognition) {
        hearUnendedSentence(recognition);
        recognition.endAudio();
    }

    /// The same, but nothing says that the audio ends.
    virtual void hearUnendedSentence(platform::Recognition &recognition) = 0;

    /// Lets the recognizer say what it may have to say: it takes one recognition after the other, and when a
    /// later one is through, so are the earlier ones.
    virtual void letRecognitionsFinish() {
        const Told later;
        recognizers().makeRecognizer(u"en-US"_s)->recognize(later.handler())->endAudio();
        later.finalText();
    }
};

/// What all SpeechRecognizers do.
class SpeechRecognizersContract : public QObject {
    Q_OBJECT

public:
    explicit SpeechRecognizersContract(Subjects<SpeechRecognizersHarness> subjects)
        : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() {
        m_recognition.reset();
        m_harness.reset();
    }

    void aSupportedLocaleHasARecognizer() {
        QCOMPARE(recognizers().supportedLocales(), QStringList{u"en-US"_s});
        const auto recognizer = recognizers().makeRecognizer(u"en-US"_s);
        QVERIFY(recognizer);
        QVERIFY(recognizer->isAvailable());
    }

    void oneThatWasPreparedIsMadeLikeAnyOther() {
        for (const QString &locale : {u"tlh-001"_s, u"en-US"_s, u"en-US"_s})
            recognizers().prepare(locale);
        aSupportedLocaleHasARecognizer();
        anUnknownLocaleHasNone();
    }

    void anUnknownLocaleHasNone() { QVERIFY(!recognizers().makeRecognizer(u"tlh-001"_s)); }

    void interimTextsAreFollowedByOneFinalText() {
        begin();
        m_harness->hearSentence(*m_recognition);
        QVERIFY(becomesFinal());
        const auto results = m_told.results();
        QVERIFY(results.size() > 1);
        for (size_t i = 0; i + 1 < results.size(); ++i)
            QVERIFY(!results[i].isFinal);
        QVERIFY(!results.back().text.isEmpty());
        QCOMPARE(m_told.errors(), QStringList());
    }

    void aCancelledRecognitionHasNoFinalText() {
        begin();
        m_recognition->cancel();
        m_harness->hearSentence(*m_recognition);
        m_harness->letRecognitionsFinish();
        QVERIFY(!m_told.isFinal());
    }

    void droppingTheRecognitionLeavesTheFinalTextToCome() {
        begin();
        m_harness->hearUnendedSentence(*m_recognition);
        m_recognition.reset();
        QVERIFY(becomesFinal());
    }

private:
    platform::SpeechRecognizers &recognizers() { return m_harness->recognizers(); }

    void begin() {
        m_told = {};
        m_recognition = recognizers().makeRecognizer(u"en-US"_s)->recognize(m_told.handler());
    }
    bool becomesFinal() const {
        return ChildProcess::waitUntil([this] { return m_told.isFinal(); }, 30000);
    }

    Subjects<SpeechRecognizersHarness> m_subjects;
    std::unique_ptr<SpeechRecognizersHarness> m_harness;
    std::shared_ptr<platform::Recognition> m_recognition;
    Told m_told;
};

} // namespace quillora::test
