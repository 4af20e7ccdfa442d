#include "backend/Messages.h"

#include <boost/json.hpp>

#include <utility>

namespace quillora::backend {

namespace {

std::string_view reasonPhrase(unsigned status) {
    switch (status) {
    case 200:
        return "OK";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 413:
        return "Content Too Large";
    case 415:
        return "Unsupported Media Type";
    case 422:
        return "Unprocessable Content";
    case 429:
        return "Too Many Requests";
    case 431:
        return "Request Header Fields Too Large";
    case 499:
        return "Client Closed Request";
    case 500:
        return "Internal Server Error";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    case 504:
        return "Gateway Timeout";
    default:
        return "Error";
    }
}

} // namespace

Reply Reply::of(unsigned status, std::string body) {
    Reply reply;
    reply.status = status;
    reply.body = std::move(body);
    return reply;
}

Reply Reply::text(unsigned status, std::string body, std::string contentType) {
    auto reply = of(status, std::move(body));
    reply.contentType = std::move(contentType);
    return reply;
}

std::string Reply::encoded(bool isLast) const {
    std::string bytes = "HTTP/1.1 " + std::to_string(status) + " ";
    bytes += reasonPhrase(status);
    bytes += "\r\nContent-Type: " + contentType + "\r\nContent-Length: " + std::to_string(body.size()) +
             "\r\nCache-Control: no-store\r\n";
    if (retryAfter)
        bytes += "Retry-After: " + std::to_string(retryAfter->count()) + "\r\n";
    if (!allow.empty())
        bytes += "Allow: " + allow + "\r\n";
    if (status == 401)
        bytes += "WWW-Authenticate: Bearer\r\n";
    if (isLast)
        bytes += "Connection: close\r\n";
    return bytes + "\r\n" + (hasNoBody ? std::string() : body);
}

Reply refusal(unsigned status, const std::string &sentence, std::optional<std::chrono::seconds> retryAfter) {
    auto reply = Reply::of(status, boost::json::serialize(boost::json::object{{"error", sentence}}));
    reply.retryAfter = retryAfter;
    return reply;
}

} // namespace quillora::backend
