#include "recognizer/Recognizer.h"

#include "recognizer/Confinement.h"
#include "recognizer/Session.h"
#include "recognizer/protocol/Channel.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <sys/prctl.h>
#include <sys/resource.h>

namespace quillora::recognizer {

namespace {

/// The words that are spoken stand in this process's memory: nobody else of this user may look into it, and
/// it leaves no image of itself behind.
void keepMemoryPrivate() {
    constexpr rlimit nothing{0, 0};
    ::setrlimit(RLIMIT_CORE, &nothing);
    ::prctl(PR_SET_DUMPABLE, 0);
}

} // namespace

int serve(const Engines &engines) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    keepMemoryPrivate();
    std::set_new_handler([] { std::_Exit(noMemoryStatus); });
    try {
        Channel program(socketDescriptor);
        // One that ended before that tells nobody any more, though it may have left messages.
        if (program.isOtherEndGone())
            return EXIT_SUCCESS;
        Session session(engines, [&](const Answer &answer) { program.send(encode(answer)); }, confine);
        while (const auto message = program.receive())
            session.handle(decodeCommand(*message));
        return EXIT_SUCCESS;
    } catch (const std::exception &) {
        return EXIT_FAILURE;
    }
}

} // namespace quillora::recognizer
