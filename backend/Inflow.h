#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/basic_parser.hpp>
#include <boost/beast/http/error.hpp>

#include <cstdint>
#include <span>
#include <string>

namespace quillora::backend {

/// What came along a connection and is not read yet. A parser takes of it what it can keep; what it cannot,
/// such as the beginning of a line, waits here for the rest, and is no longer than a header may be.
class Inflow {
public:
    static constexpr std::uint32_t headerLimit = 16U << 10U;

    explicit Inflow(std::size_t longestWait = headerLimit) : m_longestWait(longestWait) {}

    bool isEmpty() const { return m_bytes.empty(); }
    std::size_t size() const { return m_bytes.size(); }

    /// Where so many more bytes may be put; `add` says how many they became.
    std::span<char> room(std::size_t bytes) {
        m_end = m_bytes.size();
        m_bytes.resize(m_end + bytes);
        return std::span(m_bytes).subspan(m_end);
    }
    void add(std::size_t count) { m_bytes.resize(m_end + count); }

    /// Tells of need_more once nothing goes on without more bytes.
    template <bool isRequest>
    boost::system::error_code pourInto(boost::beast::http::basic_parser<isRequest> &parser) {
        namespace http = boost::beast::http;
        boost::system::error_code failure;
        m_bytes.erase(0, parser.put(boost::asio::buffer(m_bytes), failure));
        // The parser bounds what it keeps. Of a chunk's extensions and of what follows the last chunk it
        // keeps nothing before the end.
        if (failure == http::error::need_more && m_bytes.size() >= m_longestWait)
            failure = http::error::header_limit;
        return failure;
    }

    /// Gives the memory back that it does not need now.
    void shrink() { m_bytes.shrink_to_fit(); }

private:
    std::size_t m_longestWait;
    std::string m_bytes;
    std::size_t m_end = 0; ///< of what has come, while there is room behind it
};

} // namespace quillora::backend
