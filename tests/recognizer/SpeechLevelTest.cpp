#include "recognizer/SpeechLevel.h"

#include <QTest>

#include <random>

using namespace quillora;
using recognizer::SpeechLevel;

namespace {

std::vector<std::int16_t> noise(double level, int milliseconds) {
    std::mt19937 random(3);
    std::normal_distribution<double> sample(0, level);
    std::vector<std::int16_t> sound(std::size_t(milliseconds) * 16);
    for (auto &one : sound)
        one = std::int16_t(std::clamp(sample(random), -32768.0, 32767.0));
    return sound;
}

} // namespace

class SpeechLevelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void beforeAnySoundNobodySpeaks() { QVERIFY(!SpeechLevel().hearsSpeech()); }

    void speechIsHeardFromItsFirstMomentOn() {
        SpeechLevel level;
        level.accept(noise(2000, 60));
        QVERIFY(level.hearsSpeech());
    }

    void aQuietVoiceIsHeard() {
        SpeechLevel level;
        level.accept(noise(5, 500));
        level.accept(noise(60, 60));
        QVERIFY(level.hearsSpeech());
    }

    void itIsHeardForHalfASecondMore() {
        SpeechLevel level;
        level.accept(noise(2000, 1000));
        level.accept(noise(5, 480));
        QVERIFY(level.hearsSpeech());
        level.accept(noise(5, 80));
        QVERIFY(!level.hearsSpeech());
    }

    void theNoiseOfARoomIsLearntAndIsNoSpeech() {
        SpeechLevel level;
        level.accept(noise(300, 10000));
        QVERIFY(!level.hearsSpeech());
        level.accept(noise(3000, 200));
        QVERIFY(level.hearsSpeech());
        level.accept(noise(300, 600));
        QVERIFY(!level.hearsSpeech());
    }

    void aRoomThatBecomesQuieterIsLearntAtOnce() {
        SpeechLevel level;
        level.accept(noise(1000, 10000));
        level.accept(noise(10, 100));
        level.accept(noise(200, 60));
        QVERIFY(level.hearsSpeech());
    }

    void theRoomStaysKnownFromOneUtteranceToTheNext() {
        SpeechLevel level;
        level.accept(noise(300, 10000));
        level.beginUtterance();
        level.accept(noise(300, 600));
        QVERIFY(!level.hearsSpeech());
    }
};

QTEST_APPLESS_MAIN(SpeechLevelTest)
#include "SpeechLevelTest.moc"
