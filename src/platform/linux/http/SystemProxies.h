#pragma once

#include "platform/MainQueue.h"

#include <QNetworkProxy>
#include <QThreadPool>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>

namespace quillora::platform {

/// Which proxy the desktop's settings and the environment want for an address. They are asked on a thread of
/// their own, since an answer may take a script, a helper process or a bus, and may never come: the host that
/// the script is on need not answer. Main thread only.
class SystemProxies {
public:
    using Found = std::function<void(const QNetworkProxy &)>;

    /// How long an answer is worth waiting for.
    static constexpr std::chrono::seconds longestLookup{10};

    /// `queue` outlives this object.
    explicit SystemProxies(MainQueue &queue);

    /// Waits a moment for what is being asked for, and then abandons it: its answer goes nowhere, and the end
    /// of the program does not wait for it.
    ~SystemProxies();

    /// Calls `found` from the main queue, unless no answer comes. This machine itself is always reached
    /// directly: no proxy could.
    void find(const QUrl &url, Found found);

private:
    class Answers;

    MainQueue &m_queue;
    std::shared_ptr<Answers> m_answers;
    std::unique_ptr<QThreadPool> m_thread;
};

} // namespace quillora::platform
