#include "platform/Continuation.h"

#include "fakes/FakeMainQueue.h"
#include "support/Outcome.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora::platform;
using quillora::LocalizedError;
using quillora::test::FakeMainQueue;
using quillora::test::Outcome;

namespace {

QCoro::Task<int> resultOf(Continuation<int> continuation) {
    const auto result = continuation.wait();
    {
        const auto dropped = std::move(continuation);
    }
    co_return co_await result;
}

QCoro::Task<int> waitFor(const Continuation<int> &continuation) {
    const auto result = continuation.wait();
    co_return co_await result;
}

} // namespace

/// One waiter, one outcome, and never in the midst of the call that brings it.
class ContinuationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theWaiterGoesOnInALaterTurn() {
        FakeMainQueue queue;
        const Continuation<int> continuation(queue);
        const auto outcome = Outcome<int>::of(waitFor(continuation));
        continuation.resume(7);
        QVERIFY(!outcome->isDone());
        queue.run();
        QCOMPARE(outcome->value(), 7);
    }

    void whatIsResumedBeforeAnybodyWaitsIsKept() {
        FakeMainQueue queue;
        const Continuation<int> continuation(queue);
        continuation.resume(7);
        const auto outcome = Outcome<int>::of(waitFor(continuation));
        QVERIFY(!outcome->isDone());
        queue.run();
        QCOMPARE(outcome->value(), 7);
    }

    void anErrorIsThrownIntoTheWaiter() {
        FakeMainQueue queue;
        const Continuation<int> continuation(queue);
        const auto outcome = Outcome<int>::of(waitFor(continuation));
        continuation.fail(std::make_exception_ptr(LocalizedError(u"No."_s)));
        queue.run();
        QCOMPARE(outcome->error(), u"No."_s);
    }

    void aSecondResumptionIsAnErrorAndChangesNothing() {
        FakeMainQueue queue;
        const Continuation<int> continuation(queue);
        const auto outcome = Outcome<int>::of(waitFor(continuation));
        continuation.resume(7);
        QVERIFY_THROWS_EXCEPTION(std::logic_error, continuation.resume(8));
        QVERIFY_THROWS_EXCEPTION(std::logic_error,
                                 continuation.fail(std::make_exception_ptr(LocalizedError(u"No."_s))));
        queue.run();
        QCOMPARE(outcome->value(), 7);
        QVERIFY_THROWS_EXCEPTION(std::logic_error, continuation.resume(8));
    }

    void aDroppedContinuationFailsItsWaiterInALaterTurn() {
        FakeMainQueue queue;
        const auto outcome = Outcome<int>::of(resultOf(Continuation<int>(queue)));
        QVERIFY(!outcome->isDone());
        queue.run();
        QCOMPARE(outcome->error(), u"The operation was abandoned."_s);
    }

    void theEndOfTheQueueIsTheLastTurn() {
        std::shared_ptr<Outcome<int>> outcome;
        {
            FakeMainQueue queue;
            const Continuation<int> continuation(queue);
            outcome = Outcome<int>::of(waitFor(continuation));
            continuation.resume(7);
            QVERIFY(!outcome->isDone());
        }
        QCOMPARE(outcome->value(), 7);
    }
};

QTEST_GUILESS_MAIN(ContinuationTest)
#include "ContinuationTest.moc"
