#include "platform/linux/recognition/SoundQueue.h"

#include <QTest>

#include <poll.h>
#include <thread>

using quillora::platform::AudioBuffer;
using quillora::platform::SoundQueue;
using quillora::platform::WakeUp;

namespace {

AudioBuffer buffer(qint16 sample) { return {{16000, 1}, {sample}}; }

} // namespace

class SoundQueueTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void allThatHasComeIsTakenAtOnceAndInOrder() {
        SoundQueue queue(m_reader);
        queue.append(buffer(1));
        queue.append(buffer(2));
        const auto portion = queue.take();
        QCOMPARE(portion.buffers, (std::vector{buffer(1), buffer(2)}));
        QCOMPARE(portion.state, SoundQueue::State::open);
    }

    void soundIsHandedOnWithoutACopy() {
        SoundQueue queue(m_reader);
        auto sound = buffer(1);
        const auto *samples = sound.samples.data();
        queue.append(std::move(sound));
        QCOMPARE(queue.take().buffers.front().samples.data(), samples);
    }

    void theEndComesAfterTheSound() {
        SoundQueue queue(m_reader);
        queue.append(buffer(1));
        queue.end();
        const auto portion = queue.take();
        QCOMPARE(portion.buffers, std::vector{buffer(1)});
        QCOMPARE(portion.state, SoundQueue::State::ended);
    }

    void soundAfterTheEndIsIgnored() {
        SoundQueue queue(m_reader);
        queue.end();
        queue.append(buffer(1));
        const auto portion = queue.take();
        QVERIFY(portion.buffers.empty());
        QCOMPARE(portion.state, SoundQueue::State::ended);
    }

    void aCancelledQueueHasNothing() {
        SoundQueue queue(m_reader);
        queue.append(buffer(1));
        queue.cancel();
        queue.append(buffer(2));
        queue.end();
        const auto portion = queue.take();
        QVERIFY(portion.buffers.empty());
        QCOMPARE(portion.state, SoundQueue::State::cancelled);
    }

    void nothingIsThereBeforeSoundComes() {
        SoundQueue queue(m_reader);
        const auto portion = queue.take();
        QVERIFY(portion.buffers.empty());
        QCOMPARE(portion.state, SoundQueue::State::open);
    }

    void itsReaderIsWokenByWhateverHappens() {
        SoundQueue queue(m_reader);
        const auto isWoken = [this] {
            pollfd reader{m_reader->descriptor(), POLLIN, 0};
            const bool woken = ::poll(&reader, 1, 0) == 1;
            m_reader->settle();
            return woken;
        };
        isWoken();
        QVERIFY(!isWoken());
        queue.append(buffer(1));
        QVERIFY(isWoken());
        queue.end();
        QVERIFY(isWoken());
        queue.cancel();
        QVERIFY(isWoken());
        QVERIFY(!isWoken());
    }

    void nothingIsLostBetweenThreads() {
        constexpr int count = 20000;
        SoundQueue queue(m_reader);
        std::thread capture([&] {
            for (int i = 0; i < count; ++i)
                queue.append(buffer(static_cast<qint16>(i % 1000)));
            queue.end();
        });
        int received = 0;
        bool isInOrder = true;
        for (auto state = SoundQueue::State::open; state == SoundQueue::State::open;) {
            const auto portion = queue.take();
            for (const auto &taken : portion.buffers)
                isInOrder = taken == buffer(static_cast<qint16>(received++ % 1000)) && isInOrder;
            state = portion.state;
        }
        capture.join();
        QCOMPARE(received, count);
        QVERIFY(isInOrder);
    }

private:
    const std::shared_ptr<WakeUp> m_reader = std::make_shared<WakeUp>();
};

QTEST_APPLESS_MAIN(SoundQueueTest)
#include "SoundQueueTest.moc"
