#include "platform/linux/ProgramEnd.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <utility>

namespace quillora::platform {

namespace {

ProgramEnd *awaited = nullptr; ///< what an exit asks

} // namespace

ProgramEnd::ProgramEnd(std::vector<Step> steps, std::function<const char *()> lossReason)
    : m_steps(std::move(steps)), m_lossReason(std::move(lossReason)) {
    awaited = this;
    // Only once: a handler cannot be taken back.
    [[maybe_unused]] static const int isRegistered = std::atexit(&ProgramEnd::takeOverExit);
}

ProgramEnd::~ProgramEnd() {
    takeSteps();
    awaited = nullptr;
}

void ProgramEnd::takeOverExit() {
    if (!awaited)
        return;
    std::atexit(&ProgramEnd::takeOverExit); // of its own exit, too
    awaited->endForLoss();
}

void ProgramEnd::endForLoss() {
    takeSteps();
    std::fprintf(stderr, "Quillora: %s.\n", m_lossReason());
    ::_exit(status);
}

/// A step may call upon the toolkit, which may exit: that leads here once more, and to the next step.
void ProgramEnd::takeSteps() {
    while (m_taken < m_steps.size())
        m_steps[m_taken++]();
}

} // namespace quillora::platform
