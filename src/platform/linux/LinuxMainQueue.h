#pragma once

#include "platform/MainQueue.h"

#include <QObject>

#include <atomic>

namespace quillora::platform {

/// Hands work to the Qt event loop of the thread it was made on. That need not be the program's main thread:
/// for those who are given this queue it is the main one. No other thread may hand work over once it
/// is being destroyed.
class LinuxMainQueue : public QObject, public MainQueue {
    Q_OBJECT

public:
    using QObject::QObject;
    ~LinuxMainQueue() override;

    void async(std::function<void()> work) override;
    std::shared_ptr<WorkItem> asyncAfter(std::chrono::milliseconds delay,
                                         std::function<void()> work) override;

private:
    std::atomic<int> m_waiting = 0; ///< handed over and not run yet
};

} // namespace quillora::platform
