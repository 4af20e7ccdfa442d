#pragma once

namespace quillora::platform {

/// Wakes a thread that polls a descriptor. Any thread; nothing but `await` blocks.
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

    /// Waits, without end, for a wake and settles it: for those who wait for nothing else.
    void await();

private:
    int m_descriptor;
};

} // namespace quillora::platform
