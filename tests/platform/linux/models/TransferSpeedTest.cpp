#include "platform/linux/models/TransferSpeed.h"

#include <QTest>

using quillora::platform::TransferSpeed;
using namespace std::chrono_literals;

class TransferSpeedTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aSingleMomentHasNoSpeed() {
        QCOMPARE(m_speed.bytesPerSecond(), 0);
        m_speed.note(0ms, 1000);
        QCOMPARE(m_speed.bytesPerSecond(), 0);
    }
    void aSteadySpeedIsWhatItIs() {
        for (int tenth = 0; tenth <= 100; ++tenth)
            m_speed.note(100ms * tenth, 50 * tenth);
        QCOMPARE(m_speed.bytesPerSecond(), 500);
    }
    void whatWasLongAgoDoesNotCount() {
        m_speed.note(0ms, 0);
        m_speed.note(1s, 1'000'000);
        for (int second = 2; second <= 6; ++second)
            m_speed.note(1s * second, 1'000'000);
        QCOMPARE(m_speed.bytesPerSecond(), 0);
    }
    void onlyTheLastSecondsCount() {
        m_speed.note(0ms, 0);
        m_speed.note(10s, 1000);
        m_speed.note(15s, 6000);
        QCOMPARE(m_speed.bytesPerSecond(), 1000);
    }
    void aNewBeginningHasNoSpeedYet() {
        m_speed.note(0ms, 0);
        m_speed.note(1s, 5000);
        m_speed.note(2s, 100);
        QCOMPARE(m_speed.bytesPerSecond(), 0);
        m_speed.note(3s, 300);
        QCOMPARE(m_speed.bytesPerSecond(), 200);
    }
    void init() { m_speed = {}; }

private:
    TransferSpeed m_speed;
};

QTEST_GUILESS_MAIN(TransferSpeedTest)
#include "TransferSpeedTest.moc"
