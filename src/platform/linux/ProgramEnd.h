#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace quillora::platform {

/// How the program ends, whoever ends it: by the same steps, in the same order, each taken once.
///
/// An end that somebody asked for comes with the end of this object. The other kind comes when the desktop
/// goes away. What speaks to it (the toolkit, the library for the session manager) notices that as well,
/// often first, or alone where only its own connection was closed: it then calls `exit` from amid its event
/// handling. That would destroy what other threads are still using, so every exit in the lifetime of this
/// object is taken over, and the program always ends in the same way. Main thread only, one at a time.
class ProgramEnd {
public:
    /// Of a program that its desktop has left.
    static constexpr int status = 1;

    using Step = std::function<void()>;

    /// `lossReason` is asked after the steps, and only if nobody asked for the end: who has left the program.
    ProgramEnd(std::vector<Step> steps, std::function<const char *()> lossReason);

    /// Takes the steps. After them an exit is nothing but an exit.
    ~ProgramEnd();
    ProgramEnd(const ProgramEnd &) = delete;
    ProgramEnd &operator=(const ProgramEnd &) = delete;

    /// The desktop has gone: takes the steps, and ends the program with a sentence on the standard error
    /// output.
    [[noreturn]] void endForLoss();

private:
    static void takeOverExit();
    void takeSteps();

    const std::vector<Step> m_steps;
    std::size_t m_taken = 0; ///< how many of them
    const std::function<const char *()> m_lossReason;
};

} // namespace quillora::platform
