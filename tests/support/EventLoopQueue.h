#pragma once

#include "platform/MainQueue.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QTimer>

#include <utility>

namespace quillora::test {

/// The main queue on the event loop of the test, in real time.
class EventLoopQueue : public platform::MainQueue {
public:
    void async(std::function<void()> work) override {
        QMetaObject::invokeMethod(&m_context, std::move(work), Qt::QueuedConnection);
    }

    std::shared_ptr<platform::WorkItem> asyncAfter(std::chrono::milliseconds delay,
                                                   std::function<void()> work) override {
        auto item = std::make_shared<Item>();
        item->work = std::move(work);
        QTimer::singleShot(delay, Qt::PreciseTimer, &m_context, [item] {
            if (const auto run = std::exchange(item->work, nullptr))
                run();
        });
        return item;
    }

private:
    struct Item : platform::WorkItem {
        void cancel() override { work = nullptr; }
        std::function<void()> work;
    };

    QObject m_context;
};

} // namespace quillora::test
