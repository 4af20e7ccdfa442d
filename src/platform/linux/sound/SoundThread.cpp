#include "platform/linux/sound/SoundThread.h"

namespace quillora::platform {

SoundThread::SoundThread()
    : m_loop(pa_mainloop_new()), m_api(pa_mainloop_get_api(m_loop.get())),
      m_worker("sound", [this](Worker &worker) { run(worker); }) {}

void SoundThread::run(Worker &worker) {
    m_api->io_new(
        m_api, worker.descriptor(), PA_IO_EVENT_INPUT,
        [](pa_mainloop_api *api, pa_io_event *, int, pa_io_event_flags_t, void *self) {
            if (!static_cast<Worker *>(self)->doPosted())
                api->quit(api, 0);
        },
        &worker);
    pa_mainloop_run(m_loop.get(), nullptr);
}

} // namespace quillora::platform
