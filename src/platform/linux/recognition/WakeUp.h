#pragma once

namespace quillora::platform {

/// Wakes a thread that polls a descriptor. Any thread; never blocks.
class WakeUp {
public:
    /// Throws std::system_error.
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp &) = delete;
    WakeUp &operator=(const WakeUp &) = delete;

    /// Readable from `wake` on until `settle`.
    int descriptor() const { return m_descriptor; }
    void wake();
    void settle();

private:
    int m_descriptor;
};

} // namespace quillora::platform
