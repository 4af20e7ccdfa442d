#pragma once

#include "fakes/FakePlatform.h"
#include "platform/linux/http/QtHttpSession.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/Outcome.h"

#include <QCoreApplication>
#include <QDir>
#include <QEvent>

#include <algorithm>
#include <memory>
#include <unistd.h>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A desktop of fakes on a real network. The network takes its time; the time-outs keep that of the fake
/// queue.
class RealHttpPlatform : public FakePlatform {
public:
    ~RealHttpPlatform() override { endSession(); }

    platform::HttpSession &httpSession() override { return *session; }

    /// Waits, turning the event loop, until `condition` holds; false if it never did.
    bool waitUntil(const std::function<bool()> &condition, int timeoutMs = 30000) {
        return ChildProcess::waitUntil(
            [&] {
                run();
                // Outside of exec() nobody else does what deleteLater asks for.
                QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
                return condition();
            },
            timeoutMs);
    }

    template <typename T>
    bool settle(const std::shared_ptr<Outcome<T>> &outcome) {
        return waitUntil([&] { return outcome->isDone(); });
    }

    /// Waits for a task; throws if it never ends.
    template <typename T>
    std::shared_ptr<Outcome<T>> outcomeOf(QCoro::Task<T> task) {
        const auto outcome = Outcome<T>::of(std::move(task));
        if (!settle(outcome))
            throw std::runtime_error("the task never ended");
        return outcome;
    }

    /// Waits until the other threads of this process have done all that the network has brought so far.
    bool waitUntilThreadsRest() {
        return waitUntil([] {
            const QDir threads(u"/proc/self/task"_s);
            const QStringList ids = threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
            return std::all_of(ids.cbegin(), ids.cend(), [&](const QString &id) {
                const QByteArray status = readFile(threads.filePath(id + u"/stat"_s));
                return id == QString::number(::getpid()) || status.contains(") S ");
            });
        });
    }

    /// Destroys the session and lets those who wait for it learn of that.
    void endSession() {
        session.reset();
        run();
    }

    std::unique_ptr<platform::QtHttpSession> session = std::make_unique<platform::QtHttpSession>(queue);
};

} // namespace quillora::test
