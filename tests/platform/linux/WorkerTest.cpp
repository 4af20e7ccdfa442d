#include "platform/linux/Worker.h"

#include <QTest>

#include <csignal>
#include <future>
#include <optional>
#include <pthread.h>
#include <vector>

using quillora::platform::Worker;

namespace {

/// Waits without a bound: the test's own would end it.
template <typename Result>
Result askedOf(Worker &worker, std::function<Result()> question) {
    std::promise<Result> answer;
    worker.post([&] { answer.set_value(question()); });
    return answer.get_future().get();
}

} // namespace

class WorkerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void workIsDoneOnItsThreadInOrder() {
        std::vector<int> done;
        Worker worker("test", &Worker::serve);
        for (int i = 0; i < 3; ++i)
            QVERIFY(worker.post([&done, i] { done.push_back(i); }));
        const auto thread = askedOf<std::thread::id>(worker, [] { return std::this_thread::get_id(); });
        QCOMPARE(done, (std::vector{0, 1, 2}));
        QVERIFY(thread != std::this_thread::get_id());
    }

    void itEndsOnceAllThatWasPostedIsDone() {
        constexpr int count = 1000;
        int done = 0;
        {
            Worker worker("test", &Worker::serve);
            for (int i = 0; i < count; ++i)
                worker.post([&done] { ++done; });
        }
        QCOMPARE(done, count);
    }

    void workThatIsPostedByWorkIsDone() {
        Worker worker("test", &Worker::serve);
        std::promise<bool> isDone;
        worker.post([&] { worker.post([&] { isDone.set_value(true); }); });
        QVERIFY(isDone.get_future().get());
    }

    void aThreadWhoseLifeIsOverRefusesWork() {
        Worker worker("test", [](Worker &) {});
        QTRY_VERIFY(!worker.post([] {}));
    }

    void whatAThreadHasLeftUndoneGoes() {
        std::promise<void> mayEnd;
        Worker worker("test", [&](Worker &) { mayEnd.get_future().wait(); });
        const auto kept = std::make_shared<int>();
        QVERIFY(worker.post([kept] {}));
        mayEnd.set_value();
        QTRY_COMPARE(kept.use_count(), 1);
    }

    void longWorkIsToldThatOthersWait() {
        std::promise<bool> wasCalled;
        Worker worker("test", [&](Worker &self) {
            while (!self.isCalled()) {
            }
            wasCalled.set_value(!self.isEnding());
            self.serve();
        });
        worker.post([] {});
        QVERIFY(wasCalled.get_future().get());
    }

    void longWorkIsToldOfTheEnd() {
        bool hasEnded = false;
        std::optional<Worker> worker;
        worker.emplace("test", [&](Worker &self) {
            while (!self.isEnding()) {
            }
            hasEnded = !self.doPosted();
        });
        worker.reset();
        QVERIFY(hasEnded);
    }

    void othersMayWakeItEvenAfterItsEnd() {
        std::optional<Worker> worker;
        worker.emplace("test", &Worker::serve);
        const auto wakeUp = worker->wakeUp();
        wakeUp->wake();
        worker.reset();
        wakeUp->wake();
    }

    void itBearsItsNameAndLeavesSignalsToTheMainThread() {
        Worker worker("test name", &Worker::serve);
        const auto name = askedOf<QByteArray>(worker, [] {
            char own[16] = {};
            pthread_getname_np(pthread_self(), own, sizeof own);
            return QByteArray(own);
        });
        const bool isBlocked = askedOf<bool>(worker, [] {
            sigset_t blocked;
            pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
            return sigismember(&blocked, SIGTERM) == 1 && sigismember(&blocked, SIGCHLD) == 1;
        });
        QCOMPARE(name, "test name");
        QVERIFY(isBlocked);
    }
};

QTEST_APPLESS_MAIN(WorkerTest)
#include "WorkerTest.moc"
