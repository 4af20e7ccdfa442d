#pragma once

#include "platform/MainQueue.h"

#include <QObject>

namespace quillora::platform {

/// Hands work to the Qt event loop of the thread it was made on. What has not run when it is destroyed is let
/// go unrun; no other thread may hand work over by then.
class LinuxMainQueue : public QObject, public MainQueue {
    Q_OBJECT

public:
    using QObject::QObject;

    void async(std::function<void()> work) override;
    std::shared_ptr<WorkItem> asyncAfter(std::chrono::milliseconds delay,
                                         std::function<void()> work) override;
};

} // namespace quillora::platform
