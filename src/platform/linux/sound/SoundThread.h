#pragma once

#include <pulse/mainloop.h>

#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace quillora::platform {

/// The thread that speaks to the sound server: a libpulse main loop that takes work from other threads.
///
/// Everything of libpulse is touched on this thread only. Nobody else ever waits for a lock of its own, so
/// that no other thread can be made to hang by the server.
class SoundThread {
public:
    SoundThread();

    /// Does the work that was posted so far, then joins.
    ~SoundThread();
    SoundThread(const SoundThread &) = delete;
    SoundThread &operator=(const SoundThread &) = delete;

    /// Runs `work` on the sound thread, in the order of the calls. Any thread.
    void post(std::function<void()> work);

    /// Sound thread only.
    pa_mainloop_api *api() const { return m_api; }

private:
    struct FreeMainLoop {
        void operator()(pa_mainloop *loop) const { pa_mainloop_free(loop); }
    };

    void run();
    void runPostedWork();

    const std::unique_ptr<pa_mainloop, FreeMainLoop> m_loop;
    pa_mainloop_api *const m_api;
    const int m_wakeUp; ///< an event descriptor, readable while there is work
    std::mutex m_mutex;
    std::vector<std::function<void()>> m_work;
    std::thread m_thread;
};

} // namespace quillora::platform
