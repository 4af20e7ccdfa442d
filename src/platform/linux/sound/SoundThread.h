#pragma once

#include "platform/linux/Worker.h"

#include <pulse/mainloop.h>

#include <memory>
#include <utility>

namespace quillora::platform {

/// The thread that speaks to the sound server: a libpulse main loop that takes work from other threads.
///
/// Everything of libpulse is touched on this thread only. Nobody else ever waits for a lock of its own, so
/// that no other thread can be made to hang by the server.
class SoundThread {
public:
    SoundThread();

    /// Runs `work` on the sound thread, in the order of the calls. Any thread.
    void post(Worker::Work work) { m_worker.post(std::move(work)); }

    /// Sound thread only.
    pa_mainloop_api *api() const { return m_api; }

private:
    struct FreeMainLoop {
        void operator()(pa_mainloop *loop) const { pa_mainloop_free(loop); }
    };

    void run(Worker &worker);

    const std::unique_ptr<pa_mainloop, FreeMainLoop> m_loop;
    pa_mainloop_api *const m_api;
    Worker m_worker;
};

} // namespace quillora::platform
