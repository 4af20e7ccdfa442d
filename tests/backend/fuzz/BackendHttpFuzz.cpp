// What comes along a connection: the same messages however it is cut into pieces, and never more of it
// waiting than a line may have. The first byte chooses who speaks and how long the pieces are.
#include "backend/Inflow.h"

#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

using quillora::backend::Inflow;
namespace http = boost::beast::http;

namespace {

constexpr std::uint32_t longestHeader = 256;
constexpr std::uint64_t longestBody = 64;

void require(bool holds) {
    if (!holds)
        std::abort();
}

struct Reading {
    std::vector<std::string> messages; ///< head and body of each
    boost::system::error_code failure;

    bool isBounded() const {
        return failure == http::error::header_limit || failure == http::error::body_limit;
    }
};

/// As a server reads, or who asked one.
template <bool isRequest>
Reading read(std::string_view bytes, std::size_t piece) {
    Reading reading;
    Inflow inflow(longestHeader);
    const auto more = [&] {
        const auto count = std::min(piece, bytes.size());
        const auto room = inflow.room(piece);
        std::copy_n(bytes.begin(), count, room.begin());
        inflow.add(count);
        bytes.remove_prefix(count);
        return count > 0;
    };
    for (;;) {
        http::parser<isRequest, http::string_body> parser;
        parser.eager(!isRequest);
        parser.header_limit(longestHeader);
        parser.body_limit(longestBody);
        while (!parser.is_done()) {
            const auto failure = inflow.isEmpty() ? boost::system::error_code(http::error::need_more)
                                                  : inflow.pourInto(parser);
            require(parser.get().body().size() <= longestBody);
            if (failure && failure != http::error::need_more) {
                reading.failure = failure;
                return reading;
            }
            if (failure) {
                require(inflow.size() < longestHeader);
                if (!more())
                    return reading;
                require(inflow.size() < longestHeader + piece);
            }
        }
        std::string message;
        for (const auto &field : parser.get())
            message += std::string(field.name_string()) + ":" + std::string(field.value()) + "\n";
        reading.messages.push_back(message + parser.get().body());
    }
}

template <bool isRequest>
void compare(std::string_view bytes, std::size_t piece) {
    const auto one = read<isRequest>(bytes, piece);
    const auto other = read<isRequest>(bytes, 1);
    const auto both = std::min(one.messages.size(), other.messages.size());
    require(std::equal(one.messages.begin(), one.messages.begin() + static_cast<long>(both),
                       other.messages.begin()));
    // What is too long is refused sooner or later, as it comes.
    if (one.isBounded() || other.isBounded())
        return;
    require(one.messages.size() == other.messages.size());
    // The parser looks at some bytes only with those that follow, which may not have come.
    require(!one.failure || !other.failure || one.failure == other.failure);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0)
        return 0;
    const std::string_view bytes(reinterpret_cast<const char *>(data) + 1, size - 1);
    const std::size_t piece = 2U + (data[0] >> 1U);
    if (data[0] % 2 == 0)
        compare<true>(bytes, piece);
    else
        compare<false>(bytes, piece);
    return 0;
}
