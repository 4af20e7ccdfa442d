#include "recognizer/FakeEngine.h"
#include "recognizer/Session.h"
#include "recognizer/fuzz/MessageStream.h"

#include <cstdlib>

using namespace quillora;
using namespace recognizer;

/// Any bytes as what a program says: the recognizer answers within the protocol, or has nothing more to do
/// with it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Engines engines = [] {
        Engines one;
        one.push_back(std::make_unique<test::FakeEngine>());
        return one;
    }();
    Session session(
        engines,
        [](const Answer &answer) {
            if (decodeAnswer(encode(answer)) != answer)
                std::abort();
        },
        [](const auto &) { return 0U; });
    session.handle(Open{protocolVersion, "fake", {}});
    test::converse(data, size, [&](auto message) {
        const auto command = decodeCommand(message);
        if (decodeCommand(encode(command)) != command)
            std::abort();
        session.handle(command);
    });
    return 0;
}
