#include "recognizer/sherpa/DecodingPace.h"

#include <QTest>

using namespace std::chrono_literals;
using quillora::recognizer::DecodingPace;

namespace {

constexpr std::size_t second = quillora::recognizer::sampleRate;
constexpr std::size_t silence = DecodingPace::silenceAfter;
constexpr DecodingPace::Time start = DecodingPace::Time() + 24h;

/// One that has decoded so much twice, for so long.
DecodingPace paceOf(std::size_t length, std::chrono::milliseconds before, std::chrono::milliseconds last) {
    DecodingPace pace;
    pace.decoded(length, start - before, start);
    pace.decoded(length, start, start + last);
    return pace;
}

DecodingPace paceOf(std::size_t length, std::chrono::milliseconds took) { return paceOf(length, took, took); }

} // namespace

class DecodingPaceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theFirstSoundIsDecodedOnceThereIsEnoughOfIt() {
        QVERIFY(!DecodingPace().isDue(second / 4, start));
        QVERIFY(DecodingPace().isDue(second * 3 / 10, start));
    }

    void decodingAnewWaitsForAsLongAsItTook() {
        const auto pace = paceOf(10 * second, 400ms);
        QVERIFY(!pace.isDue(second, start + 400ms + 399ms));
        QVERIFY(pace.isDue(second, start + 400ms + 400ms));
    }

    void soundThatCouldNotBeDecodedThriceWhileItsTextIsWaitedForIsTooLong() {
        const auto pace = paceOf(10 * second - silence, quillora::recognizer::longestDecoding / 2);
        QVERIFY(!pace.isTooLong(20 * second - silence - 1));
        QVERIFY(pace.isTooLong(20 * second - silence));
        QVERIFY(3 * quillora::recognizer::longestDecoding < 1500ms);
    }

    void theSilenceThatIsDecodedTooIsNoFaultOfAShortSegment() {
        const auto pace = paceOf(silence, quillora::recognizer::longestDecoding / 5);
        QVERIFY(!pace.isTooLong(3 * second - silence - 1));
        QVERIFY(pace.isTooLong(3 * second - silence));
    }

    void aSlowComputerKeepsTwoSecondsOfContext() {
        const auto pace = paceOf(second, 5000ms);
        QVERIFY(!pace.isTooLong(2 * second - 1));
        QVERIFY(pace.isTooLong(2 * second));
    }

    void aMomentInWhichTheComputerHadSomethingElseToDoCutsNoWord() {
        QVERIFY(!paceOf(3 * second, 10ms, 5000ms).isTooLong(3 * second));
        QVERIFY(!paceOf(3 * second, 5000ms, 10ms).isTooLong(3 * second));
        DecodingPace first;
        first.decoded(3 * second, start, start + 5000ms);
        QVERIFY(!first.isTooLong(3 * second));
    }

    void aModelThatTakesAsLongForFewWordsAsForManyIsCutOnlyWhereItTakesTooLong() {
        DecodingPace pace;
        pace.decoded(second, start, start + 400ms);
        pace.decoded(2 * second, start, start + 400ms);
        QVERIFY(!pace.isTooLong(20 * second));
        pace.decoded(3 * second, start, start + 440ms); // 40 for each second more
        QVERIFY(!pace.isTooLong(4 * second - second / 100));
        QVERIFY(pace.isTooLong(4 * second + second / 100));
        pace.decoded(4 * second, start, start + 480ms);
        pace.decoded(5 * second, start, start + 480ms);
        QVERIFY(pace.isTooLong(5 * second));
    }

    void whatTookLessForMoreMakesNoLongerSegmentFaster() {
        DecodingPace pace;
        pace.decoded(2 * second, start, start + 1000ms);
        pace.decoded(3 * second, start, start + 500ms);
        QVERIFY(pace.isTooLong(9 * second));
    }

    void beforeAnythingWasDecodedNothingIsTooLong() { QVERIFY(!DecodingPace().isTooLong(60 * second)); }
};

QTEST_APPLESS_MAIN(DecodingPaceTest)
#include "DecodingPaceTest.moc"
