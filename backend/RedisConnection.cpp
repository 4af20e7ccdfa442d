#include "backend/RedisConnection.h"

#include <hiredis/hiredis.h>

#include <stdexcept>
#include <sys/time.h>

namespace quillora::backend {

namespace {

constexpr timeval patience{.tv_sec = 0, .tv_usec = 500000};

RedisConnection::Reply decoded(const redisReply &reply) {
    switch (reply.type) {
    case REDIS_REPLY_INTEGER:
        return reply.integer;
    case REDIS_REPLY_STRING:
    case REDIS_REPLY_STATUS:
        return std::string(reply.str, reply.len);
    case REDIS_REPLY_ARRAY: {
        std::vector<std::string> texts;
        for (std::size_t index = 0; index < reply.elements; ++index) {
            const auto &element = *reply.element[index];
            texts.emplace_back(element.type == REDIS_REPLY_STRING ? std::string(element.str, element.len)
                                                                  : std::string());
        }
        return texts;
    }
    case REDIS_REPLY_NIL:
        return {};
    default:
        throw std::runtime_error("Redis refuses: " + std::string(reply.str, reply.len));
    }
}

} // namespace

RedisConnection::RedisConnection(const Configuration &configuration)
    : m_context(redisConnectWithTimeout(configuration.redis.host.c_str(), configuration.redis.port, patience),
                redisFree) {
    if (!m_context || m_context->err || redisSetTimeout(m_context.get(), patience) != REDIS_OK)
        throw std::runtime_error("Redis cannot be reached at " + configuration.redis.text());
    if (!configuration.redisPassword.empty())
        run({{"AUTH", configuration.redisPassword}});
    run({{"PING"}});
}

RedisConnection::~RedisConnection() = default;

std::vector<RedisConnection::Reply> RedisConnection::run(const std::vector<Command> &commands) {
    for (const auto &command : commands) {
        std::vector<const char *> words;
        std::vector<std::size_t> lengths;
        for (const auto &word : command) {
            words.push_back(word.data());
            lengths.push_back(word.size());
        }
        redisAppendCommandArgv(m_context.get(), static_cast<int>(words.size()), words.data(), lengths.data());
    }
    std::vector<Reply> replies;
    replies.reserve(commands.size());
    for (std::size_t index = 0; index < commands.size(); ++index)
        replies.push_back(next());
    return replies;
}

RedisConnection::Reply RedisConnection::next() {
    void *raw = nullptr;
    if (redisGetReply(m_context.get(), &raw) != REDIS_OK)
        throw std::runtime_error("Redis does not answer");
    const std::unique_ptr<void, void (*)(void *)> owner(raw, freeReplyObject);
    return decoded(*static_cast<redisReply *>(raw));
}

} // namespace quillora::backend
