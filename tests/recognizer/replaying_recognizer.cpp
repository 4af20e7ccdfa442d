// Says what the file holds that QUILLORA_REPLAY names, whatever it is told: each message, after two bytes of
// its length, once it has been told something, or nothing for a moment. Then it ends.
#include "recognizer/fuzz/MessageStream.h"
#include "recognizer/protocol/Channel.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <poll.h>

using namespace quillora;

int main() {
    std::ifstream file(std::getenv("QUILLORA_REPLAY"), std::ios::binary);
    const std::vector<char> replay(std::istreambuf_iterator<char>(file), {});
    recognizer::Channel program(recognizer::socketDescriptor);
    test::converse(reinterpret_cast<const std::uint8_t *>(replay.data()), replay.size(), [&](auto message) {
        constexpr int momentMs = 10;
        pollfd told{program.descriptor(), POLLIN, 0};
        if (::poll(&told, 1, momentMs) > 0 && !program.receive())
            std::_Exit(0);
        program.send({message.begin(), message.end()});
    });
}
