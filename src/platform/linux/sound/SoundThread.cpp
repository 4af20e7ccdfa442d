#include "platform/linux/sound/SoundThread.h"

#include <csignal>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace quillora::platform {

SoundThread::SoundThread()
    : m_loop(pa_mainloop_new()), m_api(pa_mainloop_get_api(m_loop.get())),
      m_wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    m_api->io_new(
        m_api, m_wakeUp, PA_IO_EVENT_INPUT,
        [](pa_mainloop_api *, pa_io_event *, int, pa_io_event_flags_t, void *self) {
            static_cast<SoundThread *>(self)->runPostedWork();
        },
        this);
    m_thread = std::thread([this] { run(); });
}

SoundThread::~SoundThread() {
    post([this] { m_api->quit(m_api, 0); });
    m_thread.join();
    ::close(m_wakeUp);
}

void SoundThread::post(std::function<void()> work) {
    {
        const std::lock_guard lock(m_mutex);
        m_work.push_back(std::move(work));
    }
    ::eventfd_write(m_wakeUp, 1);
}

void SoundThread::run() {
    // Signals are the main thread's business.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    pthread_setname_np(pthread_self(), "sound");
    pa_mainloop_run(m_loop.get(), nullptr);
}

void SoundThread::runPostedWork() {
    eventfd_t count = 0;
    ::eventfd_read(m_wakeUp, &count);
    std::vector<std::function<void()>> work;
    {
        const std::lock_guard lock(m_mutex);
        work.swap(m_work);
    }
    for (const auto &item : work)
        item();
}

} // namespace quillora::platform
