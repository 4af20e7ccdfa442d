#include "platform/linux/HandOver.h"

#include <QTest>

#include <memory>
#include <poll.h>
#include <thread>
#include <vector>

using quillora::platform::HandOver;
using quillora::platform::WakeUp;

namespace {

/// What may only be handed on, and not copied.
using Item = std::unique_ptr<int>;
using Items = HandOver<Item>;

Item item(int value) { return std::make_unique<int>(value); }

std::vector<int> values(const Items::Portion &portion) {
    std::vector<int> values;
    for (const Item &taken : portion.items)
        values.push_back(*taken);
    return values;
}

} // namespace

class HandOverTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void allThatHasComeIsTakenAtOnceAndInOrder() {
        Items items(m_taker);
        QVERIFY(items.add(item(1)));
        QVERIFY(items.add(item(2)));
        const auto portion = items.take();
        QCOMPARE(values(portion), (std::vector{1, 2}));
        QCOMPARE(portion.state, Items::State::open);
    }

    void theEndComesAfterTheItems() {
        Items items(m_taker);
        items.add(item(1));
        items.end();
        const auto portion = items.take();
        QCOMPARE(values(portion), std::vector{1});
        QCOMPARE(portion.state, Items::State::ended);
    }

    void whatComesAfterTheEndIsRefused() {
        Items items(m_taker);
        items.end();
        QVERIFY(!items.add(item(1)));
        QVERIFY(!items.isOpen());
        const auto portion = items.take();
        QVERIFY(portion.items.empty());
        QCOMPARE(portion.state, Items::State::ended);
    }

    void whatWasAbandonedHasNothing() {
        Items items(m_taker);
        items.add(item(1));
        items.abandon();
        QVERIFY(!items.add(item(2)));
        items.end();
        const auto portion = items.take();
        QVERIFY(portion.items.empty());
        QCOMPARE(portion.state, Items::State::abandoned);
    }

    void whatIsAbandonedMayHandSomethingOverAsItGoes() {
        HandOver<std::shared_ptr<void>> items(m_taker);
        bool isAdded = true;
        items.add(std::shared_ptr<void>(nullptr, [&](void *) { isAdded = items.add(nullptr); }));
        items.abandon();
        QVERIFY(!isAdded);
    }

    void itemsAndTheEndAreNews() {
        Items items(m_taker);
        QVERIFY(!items.hasNews());
        items.add(item(1));
        QVERIFY(items.hasNews());
        items.take();
        QVERIFY(!items.hasNews());
        items.end();
        QVERIFY(items.hasNews());
    }

    void nothingIsThereBeforeSomethingComes() {
        Items items(m_taker);
        const auto portion = items.take();
        QVERIFY(portion.items.empty());
        QCOMPARE(portion.state, Items::State::open);
    }

    void itsTakerIsWokenByWhateverHappens() {
        Items items(m_taker);
        const auto isWoken = [this] {
            pollfd taker{m_taker->descriptor(), POLLIN, 0};
            const bool woken = ::poll(&taker, 1, 0) == 1;
            m_taker->settle();
            return woken;
        };
        isWoken();
        QVERIFY(!isWoken());
        items.add(item(1));
        QVERIFY(isWoken());
        items.end();
        QVERIFY(isWoken());
        items.abandon();
        QVERIFY(isWoken());
        QVERIFY(!isWoken());
    }

    void nothingIsLostBetweenThreads() {
        constexpr int count = 20000;
        Items items(m_taker);
        std::thread other([&] {
            for (int i = 0; i < count; ++i)
                items.add(item(i));
            items.end();
        });
        int received = 0;
        bool isInOrder = true;
        for (auto state = Items::State::open; state == Items::State::open;) {
            const auto portion = items.take();
            for (const auto value : values(portion))
                isInOrder = value == received++ && isInOrder;
            state = portion.state;
        }
        other.join();
        QCOMPARE(received, count);
        QVERIFY(isInOrder);
    }

private:
    const std::shared_ptr<WakeUp> m_taker = std::make_shared<WakeUp>();
};

QTEST_APPLESS_MAIN(HandOverTest)
#include "HandOverTest.moc"
