#pragma once

#include "support/PrivateSessionBus.h"

#include <functional>
#include <thread>

namespace quillora::test {

/// Does something as soon as somebody has called a service on the bus, who then waits for the answer.
class DuringCall {
public:
    /// Returns when the bus is watched. `act` runs on a thread of its own.
    DuringCall(const PrivateSessionBus &bus, const QString &service, std::function<void()> act);

    /// Returns once it is done; false if nobody called.
    bool wasDone();

private:
    bool m_wasDone = false;
    std::jthread m_thread;
};

} // namespace quillora::test
