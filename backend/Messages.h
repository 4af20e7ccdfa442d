#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace quillora::backend {

/// An HTTP request, as far as anything here asks.
struct Request {
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
    std::string method;
    std::string path; ///< of the address, without the query
    std::string host;
    std::string contentType;
    std::string authorization;
    std::string device;
    std::string body;
    std::string owner; ///< of its token, once that is known
};

/// What is answered to it.
struct Reply {
    unsigned status = 200;
    std::string body;
    std::string contentType = "application/json; charset=utf-8";
    std::optional<std::chrono::seconds> retryAfter;
    std::string allow;      ///< the methods that a path knows, with status 405
    bool hasNoBody = false; ///< but everything else, its length too

    static Reply of(unsigned status, std::string body);
    static Reply text(unsigned status, std::string body,
                      std::string contentType = "text/plain; charset=utf-8");

    /// The bytes to send.
    std::string encoded(bool isLast) const;
};

/// {"error": sentence}
Reply refusal(unsigned status, const std::string &sentence,
              std::optional<std::chrono::seconds> retryAfter = {});

} // namespace quillora::backend
