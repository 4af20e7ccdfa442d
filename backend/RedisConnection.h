#pragma once

#include "backend/Configuration.h"

#include <memory>
#include <string>
#include <variant>
#include <vector>

struct redisContext;

namespace quillora::backend {

/// A conversation with Redis that blocks, for half a second at most each time. Whatever goes wrong throws
/// std::runtime_error, and is the end of it.
class RedisConnection {
public:
    using Command = std::vector<std::string>;

    /// What a command gave: nothing, a number, a text, or texts.
    using Reply = std::variant<std::monostate, long long, std::string, std::vector<std::string>>;

    explicit RedisConnection(const Configuration &configuration);
    ~RedisConnection();
    RedisConnection(const RedisConnection &) = delete;
    RedisConnection &operator=(const RedisConnection &) = delete;

    /// All of them in one go, each with its reply.
    std::vector<Reply> run(const std::vector<Command> &commands);

private:
    Reply next();

    std::unique_ptr<redisContext, void (*)(redisContext *)> m_context;
};

} // namespace quillora::backend
