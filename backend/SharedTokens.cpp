#include "backend/SharedTokens.h"

#include "backend/Randomness.h"
#include "backend/Text.h"

#include <map>

namespace quillora::backend {

namespace {

/// No token can have this name.
constexpr auto editionField = "#";
constexpr std::size_t editionBytes = 16;

/// Not a number: one that lost its list would begin to count anew.
std::string newEdition() { return hexadecimal(randomBytes(editionBytes)); }

} // namespace

SharedTokens::SharedTokens(RedisConnection &connection, std::string prefix)
    : m_connection(connection), m_key(std::move(prefix) + ":tokens") {}

std::optional<std::string> SharedTokens::edition() {
    const auto replies = m_connection.run({{"HGET", m_key, editionField}});
    const auto *const edition = std::get_if<std::string>(&replies.front());
    return edition ? std::optional(*edition) : std::nullopt;
}

Tokens SharedTokens::read() {
    const auto replies = m_connection.run({{"HGETALL", m_key}});
    std::map<std::string, std::string> entries; // in the order of their names; Redis has none
    if (const auto *const fields = std::get_if<std::vector<std::string>>(&replies.front())) {
        for (std::size_t index = 0; index + 1 < fields->size(); index += 2)
            entries.emplace((*fields)[index], (*fields)[index + 1]);
    }
    entries.erase(editionField);
    std::string lines;
    for (const auto &[name, entry] : entries)
        lines.append(entry).append(" ").append(name).append("\n");
    return Tokens::decoded(lines);
}

void SharedTokens::add(const std::vector<Tokens::Entry> &entries) {
    RedisConnection::Command change{"HSET", m_key, editionField, newEdition()};
    for (const auto &entry : entries)
        change.insert(change.end(), {entry.name, entry.hash + " " + entry.since});
    m_connection.run({change});
}

void SharedTokens::revoke(const std::string &name) {
    m_connection.run(
        {{"MULTI"}, {"HDEL", m_key, name}, {"HSET", m_key, editionField, newEdition()}, {"EXEC"}});
}

} // namespace quillora::backend
