#pragma once

namespace quillora::platform {

/// Whether a person meets the program for the first time: some things show themselves then, and never again.
/// Main thread only.
class FirstStart {
public:
    virtual ~FirstStart() = default;

    virtual bool isOver() const = 0;

    /// From now on it is over, and after the program's end, too, as far as that can be kept.
    virtual void end() = 0;
};

} // namespace quillora::platform
