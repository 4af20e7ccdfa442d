#include "platform/Detached.h"

#include "fakes/FakeMainQueue.h"
#include "platform/Continuation.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora::platform;
using quillora::LocalizedError;
using quillora::test::FakeMainQueue;

namespace {

QCoro::Task<> waitFor(const Continuation<bool> &continuation, bool &isDone) {
    const auto result = continuation.wait();
    co_await result;
    isDone = true;
}

} // namespace

/// Tasks that nobody awaits.
class DetachedTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aDetachedTaskRunsOn() {
        FakeMainQueue queue;
        const Continuation<bool> continuation(queue);
        bool isDone = false;
        detach(waitFor(continuation, isDone));
        continuation.resume(true);
        queue.run();
        QVERIFY(isDone);
    }

    void whatItThrowsIsReported() {
        FakeMainQueue queue;
        const Continuation<bool> continuation(queue);
        bool isDone = false;
        detach(waitFor(continuation, isDone));
        continuation.fail(std::make_exception_ptr(LocalizedError(u"No model."_s)));
        QTest::ignoreMessage(QtCriticalMsg, "Unhandled error: No model.");
        queue.run();
        QVERIFY(!isDone);
    }
};

QTEST_GUILESS_MAIN(DetachedTest)
#include "DetachedTest.moc"
