#pragma once

#include "recognizer/protocol/Channel.h"

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

    /// Waits for the end of a process whose end of the socket is gone, but not for long: then ends it.
    /// Returns its status, or the number of the signal that ended it as a negative number.
    int collect();

private:
    recognizer::Channel m_channel;
    pid_t m_id = -1;
    int m_process = -1; ///< a descriptor; readable once the process has ended
};

} // namespace quillora::platform
