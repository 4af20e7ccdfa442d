#include "platform/linux/recognition/Dictation.h"
#include "recognizer/protocol/Messages.h"

#include <QTest>

using namespace quillora::platform;
using quillora::recognizer::ProtocolError;

/// What one dictation makes of what the recognizer says, and what a process that takes over is sent again.
class DictationTextsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_texts.clear();
        m_job = std::make_shared<RecognitionJob>(
            std::make_shared<WakeUp>(),
            [this](const auto &result, const auto &) { m_texts += result->text; });
        m_dictation = std::make_unique<Dictation>(1, m_job, 16000);
        m_job->sound().add({{16000, 1}, std::vector<qint16>(4000, 7)});
        m_dictation->takeSound();
    }

    void aTextOfSoundThatWasNotSentIsRefused() {
        m_dictation->nextSound(1000);
        QVERIFY_THROWS_EXCEPTION(ProtocolError, m_dictation->settled("hello", 1001));
        m_dictation->settled("hello", 1000);
        QCOMPARE(m_texts, QStringList{QStringLiteral("hello")});
    }

    void aTextOfSoundThatIsSettledAlreadyIsRefused() {
        m_dictation->nextSound(2000);
        m_dictation->settled("hello", 1000);
        QVERIFY_THROWS_EXCEPTION(ProtocolError, m_dictation->settled("again", 1000));
    }

    void aProcessThatTakesOverIsSentTheSoundSinceTheSettledTextAndTheEndAgain() {
        m_dictation->nextSound(2000);
        m_dictation->settled("hello", 1000);
        m_dictation->isEndSent = true;
        QCOMPARE(m_dictation->rewind(), std::uint64_t(1000));
        QVERIFY(!m_dictation->isEndSent);
        QCOMPARE(m_dictation->nextSound(500).size(), std::size_t(500));
    }

    void whileAProcessThatTookOverCatchesUpNothingShorterIsShown() {
        m_dictation->nextSound(3000);
        m_dictation->interim("he was not ill");
        m_dictation->rewind();
        m_dictation->nextSound(1000);
        m_dictation->interim("he was");
        m_dictation->settled("he was", 500);
        m_dictation->heard();
        m_dictation->nextSound(1000);
        m_dictation->interim("not ill, said he");
        m_dictation->heard();
        QCOMPARE(m_texts,
                 (QStringList{QStringLiteral("he was not ill"), QStringLiteral("he was not ill, said he")}));
    }

    void norWhileAThirdOneDoes() {
        m_dictation->nextSound(3000);
        m_dictation->interim("he was not ill");
        m_dictation->rewind();
        m_dictation->nextSound(1000);
        m_dictation->rewind();
        m_dictation->nextSound(1000);
        m_dictation->interim("he was");
        m_dictation->heard();
        QCOMPARE(m_texts, QStringList{QStringLiteral("he was not ill")});
    }

    void onceItHasCaughtUpItsTextCountsHoweverShort() {
        m_dictation->nextSound(2000);
        m_dictation->interim("he was not");
        m_dictation->rewind();
        m_dictation->nextSound(2000);
        m_dictation->interim("he");
        QCOMPARE(m_texts.last(), QStringLiteral("he was not"));
        m_dictation->heard();
        QCOMPARE(m_texts.last(), QStringLiteral("he"));
    }

    void textsThatAreSettledStandBeforeTheNext() {
        m_dictation->nextSound(2000);
        m_dictation->settled("he was", 1000);
        m_dictation->interim("not");
        m_dictation->interim("not");
        m_dictation->settled("not ill", 2000);
        m_dictation->finished("disposed");
        QCOMPARE(m_texts,
                 (QStringList{QStringLiteral("he was"), QStringLiteral("he was not"),
                              QStringLiteral("he was not ill"), QStringLiteral("he was not ill disposed")}));
    }

private:
    QStringList m_texts;
    std::shared_ptr<RecognitionJob> m_job;
    std::unique_ptr<Dictation> m_dictation;
};

QTEST_GUILESS_MAIN(DictationTextsTest)
#include "DictationTextsTest.moc"
