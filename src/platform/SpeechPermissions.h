#pragma once

#include <functional>

namespace quillora::platform {

/// The user's leave to listen, asked for where it has not been given yet. Main thread only.
class SpeechPermissions {
public:
    /// Called once, on the main thread, in a later turn of the event loop.
    using Reply = std::function<void(bool isGranted)>;

    virtual ~SpeechPermissions() = default;

    virtual void requestSpeechRecognition(Reply reply) = 0;

    /// The microphone has been looked for when the reply comes.
    virtual void requestMicrophone(Reply reply) = 0;
};

} // namespace quillora::platform
