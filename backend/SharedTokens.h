#pragma once

#include "backend/RedisConnection.h"
#include "backend/Tokens.h"

#include <optional>
#include <string>
#include <vector>

namespace quillora::backend {

/// The list of tokens that several backends share, in Redis. Each change makes a new edition of it.
///
/// A Redis that has lost what it held is told from one whose last token was revoked: it has no edition.
class SharedTokens {
public:
    SharedTokens(RedisConnection &connection, std::string prefix);

    /// A text that no other edition has.
    std::optional<std::string> edition();

    Tokens read();
    void add(const std::vector<Tokens::Entry> &entries);
    void revoke(const std::string &name);

private:
    RedisConnection &m_connection;
    std::string m_key;
};

} // namespace quillora::backend
