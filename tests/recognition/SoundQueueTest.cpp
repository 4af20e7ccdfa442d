#include "platform/linux/recognition/SoundQueue.h"

#include <QTest>

#include <thread>

using quillora::platform::AudioBuffer;
using quillora::platform::SoundQueue;

namespace {

AudioBuffer buffer(qint16 sample) { return {{16000, 1}, {sample}}; }

} // namespace

class SoundQueueTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void allThatHasComeIsTakenAtOnceAndInOrder() {
        SoundQueue queue;
        queue.append(buffer(1));
        queue.append(buffer(2));
        const auto portion = queue.take();
        QCOMPARE(portion->buffers, (std::vector{buffer(1), buffer(2)}));
        QVERIFY(!portion->isLast);
    }

    void soundIsHandedOnWithoutACopy() {
        SoundQueue queue;
        auto sound = buffer(1);
        const auto *samples = sound.samples.data();
        queue.append(std::move(sound));
        QCOMPARE(queue.take()->buffers.front().samples.data(), samples);
    }

    void theEndComesAfterTheSound() {
        SoundQueue queue;
        queue.append(buffer(1));
        queue.end();
        const auto portion = queue.take();
        QCOMPARE(portion->buffers, std::vector{buffer(1)});
        QVERIFY(portion->isLast);
    }

    void soundAfterTheEndIsIgnored() {
        SoundQueue queue;
        queue.end();
        queue.append(buffer(1));
        const auto portion = queue.take();
        QVERIFY(portion->buffers.empty());
        QVERIFY(portion->isLast);
    }

    void aCancelledQueueHasNothing() {
        SoundQueue queue;
        queue.append(buffer(1));
        queue.cancel();
        queue.append(buffer(2));
        queue.end();
        QVERIFY(!queue.take());
        QVERIFY(queue.isCancelled());
    }

    void cancellingEndsTheWait() {
        SoundQueue queue;
        std::thread canceller([&] { queue.cancel(); });
        QVERIFY(!queue.take());
        canceller.join();
    }

    void nothingIsLostBetweenThreads() {
        constexpr int count = 20000;
        SoundQueue queue;
        std::thread capture([&] {
            for (int i = 0; i < count; ++i)
                queue.append(buffer(static_cast<qint16>(i % 1000)));
            queue.end();
        });
        int received = 0;
        bool isInOrder = true;
        for (bool isLast = false; !isLast;) {
            const auto portion = queue.take();
            for (const auto &taken : portion->buffers)
                isInOrder = taken == buffer(static_cast<qint16>(received++ % 1000)) && isInOrder;
            isLast = portion->isLast;
        }
        capture.join();
        QCOMPARE(received, count);
        QVERIFY(isInOrder);
    }
};

QTEST_APPLESS_MAIN(SoundQueueTest)
#include "SoundQueueTest.moc"
