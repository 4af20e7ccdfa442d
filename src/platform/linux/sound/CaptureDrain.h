#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace quillora::platform {

/// Holds back the end of audio until what was captured before a stop has been handed over. The microphone and
/// the recognitions of one program share it. Any thread.
class CaptureDrain {
public:
    /// A stopped capture that may still have sound to hand over, for as long as this lives.
    class Hold {
    public:
        explicit Hold(std::shared_ptr<CaptureDrain> drain);
        ~Hold();
        Hold(const Hold &) = delete;
        Hold &operator=(const Hold &) = delete;

    private:
        std::shared_ptr<CaptureDrain> m_drain;
    };

    /// How long after a stop a source of this latency may go on handing over: for its latency and 100 ms, 500
    /// ms at the most.
    static std::chrono::milliseconds timeLimit(std::chrono::microseconds sourceLatency);

    /// Runs `action` once nothing is left to hand over: inside this call if that is so already, else on the
    /// thread that lets go of the last hold.
    void whenDrained(std::function<void()> action);

private:
    std::mutex m_mutex;
    int m_holds = 0;
    std::vector<std::function<void()>> m_actions; ///< only while there are holds
};

} // namespace quillora::platform
