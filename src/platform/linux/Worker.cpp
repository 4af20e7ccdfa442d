#include "platform/linux/Worker.h"

#include <csignal>
#include <pthread.h>

namespace quillora::platform {

Worker::Worker(const char *name, std::function<void(Worker &)> life)
    : m_thread([this, name, life = std::move(life)] {
          // Signals are the main thread's business.
          sigset_t all;
          sigfillset(&all);
          pthread_sigmask(SIG_BLOCK, &all, nullptr);
          pthread_setname_np(pthread_self(), name);
          life(*this);
          m_posted.abandon();
      }) {}

Worker::~Worker() {
    m_posted.end();
    m_thread.join();
}

bool Worker::doPosted() {
    m_wakeUp->settle();
    const auto [works, state] = m_posted.take();
    for (const auto &work : works)
        work();
    return state == HandOver<Work>::State::open;
}

void Worker::serve() {
    while (doPosted())
        m_wakeUp->await();
}

} // namespace quillora::platform
