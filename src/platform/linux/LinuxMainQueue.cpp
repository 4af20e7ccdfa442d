#include "platform/linux/LinuxMainQueue.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPointer>
#include <QTimer>

#include <utility>

namespace quillora::platform {

namespace {

/// Refers to the timer that holds the work; the timer is gone once the work has run.
class TimerWorkItem : public WorkItem {
public:
    explicit TimerWorkItem(QTimer *timer) : m_timer(timer) {}

    void cancel() override { delete m_timer; }

private:
    QPointer<QTimer> m_timer;
};

} // namespace

LinuxMainQueue::~LinuxMainQueue() {
    while (m_waiting > 0)
        QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

void LinuxMainQueue::async(std::function<void()> work) {
    ++m_waiting;
    QMetaObject::invokeMethod(
        this,
        [this, work = std::move(work)] {
            --m_waiting;
            work();
        },
        Qt::QueuedConnection);
}

std::shared_ptr<WorkItem> LinuxMainQueue::asyncAfter(std::chrono::milliseconds delay,
                                                     std::function<void()> work) {
    auto *timer = new QTimer(this);
    timer->setTimerType(Qt::PreciseTimer);
    timer->setSingleShot(true);
    // The work leaves the timer first, so that it may cancel its own item, or destroy the queue.
    connect(timer, &QTimer::timeout, timer, [timer, work = std::move(work)]() mutable {
        const auto call = std::move(work);
        timer->deleteLater();
        call();
    });
    timer->start(delay);
    return std::make_shared<TimerWorkItem>(timer);
}

} // namespace quillora::platform
