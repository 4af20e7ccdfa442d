#pragma once

#include "recognizer/protocol/Channel.h"

#include <chrono>
#include <limits>
#include <string>
#include <sys/types.h>

namespace quillora::platform {

/// The recognizer's process, from its start to its end. It belongs to the thread that has started it, and
/// ends with that thread, whatever becomes of the program.
class RecognizerProcess {
public:
    /// The one that is installed beside this program.
    static std::string installedProgram();

    /// Throws std::system_error if `program` cannot be started.
    explicit RecognizerProcess(const std::string &program);

    /// Ends it at once, whatever it is doing.
    ~RecognizerProcess();
    RecognizerProcess(const RecognizerProcess &) = delete;
    RecognizerProcess &operator=(const RecognizerProcess &) = delete;

    pid_t id() const { return m_id; }
    recognizer::Channel &channel() { return m_channel; }

    /// For how long it has waited so far, ready to run, for a busy machine to let it.
    std::chrono::milliseconds starved() const;

    /// What became of one that had to be ended here.
    static constexpr int endedHere = std::numeric_limits<int>::min();

    /// Ends it at once, unless it has closed the socket and so is about to end by itself. Returns its status,
    /// or as a negative number the signal that ended it, or endedHere.
    int collect();

private:
    recognizer::Channel m_channel;
    pid_t m_id = -1;
    int m_process = -1;  ///< a descriptor; readable once the process has ended
    int m_schedule = -1; ///< a descriptor; what the scheduler tells of the process
};

} // namespace quillora::platform
