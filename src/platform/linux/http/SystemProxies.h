#pragma once

#include "platform/MainQueue.h"

#include <QNetworkProxy>
#include <QThreadPool>
#include <QUrl>

#include <functional>

namespace quillora::platform {

/// Which proxy the desktop's settings and the environment want for an address. They are asked on a thread of
/// their own, since an answer may take a script, a helper process or a bus. Main thread only.
class SystemProxies {
public:
    using Found = std::function<void(const QNetworkProxy &)>;

    /// `queue` outlives this object, and what is still being asked for outlives neither.
    explicit SystemProxies(MainQueue &queue);

    /// Calls `found` from the main queue. This machine itself is always reached directly: no proxy could.
    void find(const QUrl &url, Found found);

private:
    MainQueue &m_queue;
    QThreadPool m_thread;
};

} // namespace quillora::platform
