#include "platform/linux/recognition/KeptSound.h"

#include <QTest>

#include <numeric>

using quillora::platform::KeptSound;

namespace {

/// Samples whose values are their positions.
std::vector<std::int16_t> samples(int first, int count) {
    std::vector<std::int16_t> samples(static_cast<std::size_t>(count));
    std::iota(samples.begin(), samples.end(), static_cast<std::int16_t>(first));
    return samples;
}

std::vector<std::int16_t> all(const KeptSound &sound) {
    const auto rest = sound.from(sound.begin(), 1000);
    return {rest.begin(), rest.end()};
}

} // namespace

class KeptSoundTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void soundIsFoundByItsPosition() {
        KeptSound sound(100);
        sound.append(samples(0, 10), 0);
        sound.append(samples(10, 5), 0);
        QCOMPARE(sound.end(), 15U);
        QCOMPARE(sound.from(8, 4).size(), 4U);
        QCOMPARE(sound.from(8, 4).front(), std::int16_t(8));
        QCOMPARE(sound.from(13, 4).size(), 2U);
        QVERIFY(sound.from(15, 4).empty());
    }

    void discardedSoundLeavesTheRestInItsPlace() {
        KeptSound sound(100);
        sound.append(samples(0, 10), 0);
        sound.discardBefore(6);
        sound.discardBefore(3);
        QCOMPARE(sound.begin(), 6U);
        QCOMPARE(all(sound), samples(6, 4));
        sound.discardBefore(50);
        QCOMPARE(sound.begin(), 10U);
        QCOMPARE(sound.end(), 10U);
    }

    void whatHasBeenSentMakesWayTheOldestFirst() {
        KeptSound sound(10);
        sound.append(samples(0, 10), 8);
        sound.append(samples(10, 3), 8);
        QCOMPARE(all(sound), samples(3, 10));
    }

    void whatHasNotBeenSentIsKeptAndTheLatestLost() {
        KeptSound sound(10);
        sound.append(samples(0, 10), 2);
        sound.append(samples(10, 3), 2);
        QCOMPARE(all(sound), samples(2, 10));
        sound.append(samples(12, 3), 2);
        QCOMPARE(all(sound), samples(2, 10));
    }

    void moreThanFitsAtOnceIsCut() {
        KeptSound sound(10);
        sound.append(samples(0, 25), 0);
        QCOMPARE(all(sound), samples(0, 10));
    }
};

QTEST_APPLESS_MAIN(KeptSoundTest)
#include "KeptSoundTest.moc"
