#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <span>
#include <vector>

namespace quillora::neural {

using Token = std::int32_t;
using Tokens = std::vector<Token>;

/// Which target tokens are worth looking at for a source sentence: the most frequent ones, and those that the
/// sentence's own tokens are usually translated with. It makes the last and largest product a hundred times
/// smaller.
class Shortlist {
public:
    enum class Vocabularies { Shared, Separate };

    /// Reads and checks a shortlist for vocabularies of these sizes. Throws ModelError.
    Shortlist(std::istream &in, std::size_t sourceVocabulary, std::size_t targetVocabulary, Vocabularies);

    /// Sorted, without repetition; as a rule a multiple of 8 of them.
    Tokens candidates(std::span<const Token> source) const;

private:
    Vocabularies m_vocabularies;
    std::size_t m_targetVocabulary;
    std::size_t m_alwaysThere;           ///< the first tokens, the most frequent ones
    std::vector<std::uint32_t> m_begins; ///< for each source token, and the end
    std::vector<std::uint32_t> m_targets;
};

} // namespace quillora::neural
