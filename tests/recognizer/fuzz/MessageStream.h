#pragma once

#include "recognizer/protocol/Messages.h"

#include <algorithm>
#include <span>

namespace quillora::test {

/// Calls `take` with each message of a fuzzer's input: two bytes of length, then so many bytes. The first
/// that breaks a rule ends the conversation, as it ends a real one.
template <typename Take>
void converse(const std::uint8_t *data, std::size_t size, Take take) {
    auto rest = std::as_bytes(std::span(data, size));
    try {
        while (rest.size() >= 2) {
            const auto length =
                std::to_integer<std::size_t>(rest[0]) + (std::to_integer<std::size_t>(rest[1]) << 8);
            rest = rest.subspan(2);
            const auto message = rest.first(std::min(length, rest.size()));
            rest = rest.subspan(message.size());
            take(message);
        }
    } catch (const recognizer::ProtocolError &) {
    }
}

} // namespace quillora::test
