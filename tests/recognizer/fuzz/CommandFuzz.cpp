#include "recognizer/FakeEngine.h"
#include "recognizer/Session.h"
#include "recognizer/fuzz/MessageStream.h"

#include <cstdlib>
#include <type_traits>

using namespace quillora;
using namespace recognizer;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

template <typename Message>
constexpr bool isOfADictation = requires(Message message) { message.dictation; };

/// With few numbers of dictations, or hardly any message would be in its turn.
Command withFewNumbers(Command command) {
    std::visit(
        [](auto &message) {
            if constexpr (isOfADictation<std::decay_t<decltype(message)>>)
                message.dictation %= 3;
        },
        command);
    return command;
}

/// Whose turn it is, after a model was loaded.
class Turns {
public:
    bool allow(const Command &command) const {
        return std::visit([this](const auto &message) { return allows(message); }, command);
    }

    void note(const Command &command) {
        if (const auto *begin = std::get_if<Begin>(&command))
            m_dictation = begin->dictation;
        else if (std::holds_alternative<End>(command) || std::holds_alternative<Cancel>(command))
            m_dictation.reset();
    }

    /// Answers are of the dictation that is under way.
    bool allow(const Answer &answer) const {
        return std::visit(
            [this](const auto &message) {
                if constexpr (isOfADictation<std::decay_t<decltype(message)>>)
                    return m_dictation == message.dictation;
                return !m_dictation;
            },
            answer);
    }

private:
    bool allows(const Open &) const { return false; }
    bool allows(const Try &) const { return !m_dictation; }
    bool allows(const Begin &) const { return !m_dictation; }
    template <typename Message>
    bool allows(const Message &message) const {
        return m_dictation == message.dictation;
    }

    std::optional<std::uint32_t> m_dictation;
};

} // namespace

/// Any bytes as what a program says: the recognizer answers within the protocol, takes nothing that is out of
/// its turn and refuses nothing else.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Engines engines = [] {
        Engines one;
        one.push_back(std::make_unique<test::FakeEngine>());
        return one;
    }();
    Turns turns;
    Session session(
        engines,
        [&turns](const Answer &answer) {
            require(decodeAnswer(encode(answer)) == answer);
            require(turns.allow(answer));
        },
        [](const auto &) { return 0U; });
    session.handle(Open{protocolVersion, "fake", {}});
    test::converse(data, size, [&](auto message) {
        const auto decoded = decodeCommand(message);
        require(decodeCommand(encode(decoded)) == decoded);
        const auto command = withFewNumbers(decoded);
        const bool isInTurn = turns.allow(command);
        try {
            session.handle(command);
        } catch (const ProtocolError &) {
            require(!isInTurn);
            throw;
        }
        require(isInTurn);
        turns.note(command);
    });
    return 0;
}
