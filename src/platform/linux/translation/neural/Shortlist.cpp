#include "platform/linux/translation/neural/Shortlist.h"

#include "platform/linux/translation/neural/ModelError.h"
#include "platform/linux/translation/neural/Reading.h"

#include <algorithm>
#include <array>

namespace quillora::neural {

namespace {

constexpr std::uint64_t magic = 0xF11A48D5013417F5;

// The reference implementation fills up to this many, for its registers' sake.
constexpr std::size_t candidateStep = 8;

} // namespace

Shortlist::Shortlist(std::istream &in, std::size_t sourceVocabulary, std::size_t targetVocabulary,
                     Vocabularies vocabularies)
    : m_vocabularies(vocabularies), m_targetVocabulary(targetVocabulary) {
    const std::uint64_t size = sizeOf(in, "shortlist");
    const auto read = [&in](void *to, std::uint64_t bytes) { readExactly(in, to, bytes, "shortlist"); };

    struct Header {
        std::uint64_t magic, checksum, alwaysThere, best, begins, targets;
    };
    static_assert(sizeof(Header) == 6 * sizeof(std::uint64_t));
    Header header{};
    if (size < sizeof header)
        throw ModelError("The shortlist is damaged: it ends within its header.");
    read(&header, sizeof header);
    if (header.magic != magic)
        throw ModelError("The shortlist is not one, or of an unknown format.");
    if (header.begins != sourceVocabulary + 1)
        throw ModelError("The shortlist does not belong to the model: it is for another vocabulary.");
    if (header.alwaysThere > targetVocabulary)
        throw ModelError("The shortlist is damaged: it wants more tokens than the vocabulary has.");
    const std::uint64_t left = size - sizeof header;
    const std::uint64_t beginsSize = header.begins * sizeof(std::uint64_t);
    if (beginsSize > left || header.targets > (left - beginsSize) / sizeof(std::uint32_t))
        throw ModelError("The shortlist is damaged: it ends within its lists.");
    m_alwaysThere = std::size_t(header.alwaysThere);

    m_begins.reserve(header.begins);
    std::array<std::uint64_t, 4096> numbers; // a few at a time: in memory they take half the room
    while (m_begins.size() < header.begins) {
        const std::size_t count = std::min<std::size_t>(numbers.size(), header.begins - m_begins.size());
        read(numbers.data(), count * sizeof numbers[0]);
        for (const std::uint64_t begin : std::span(numbers).first(count)) {
            if (begin > header.targets || (!m_begins.empty() && begin < m_begins.back()))
                throw ModelError("The shortlist is damaged: its lists overlap.");
            m_begins.push_back(std::uint32_t(begin));
        }
    }
    m_targets.resize(header.targets);
    read(m_targets.data(), m_targets.size() * sizeof m_targets[0]);
    if (std::ranges::any_of(m_targets, [=](std::uint32_t target) { return target >= targetVocabulary; }))
        throw ModelError("The shortlist is damaged: it names a token that the vocabulary does not have.");
}

Tokens Shortlist::candidates(std::span<const Token> source) const {
    std::vector<bool> isCandidate(m_targetVocabulary);
    std::fill_n(isCandidate.begin(), m_alwaysThere, true);
    for (const Token token : source) {
        if (m_vocabularies == Vocabularies::Shared)
            isCandidate[std::size_t(token)] = true;
        for (std::uint32_t i = m_begins[std::size_t(token)]; i < m_begins[std::size_t(token) + 1]; ++i)
            isCandidate[m_targets[i]] = true;
    }
    auto count = std::size_t(std::ranges::count(isCandidate, true));
    for (std::size_t token = m_alwaysThere; token < m_targetVocabulary && count % candidateStep != 0;
         ++token) {
        if (!isCandidate[token]) {
            isCandidate[token] = true;
            ++count;
        }
    }

    Tokens candidates;
    candidates.reserve(count);
    for (std::size_t token = 0; token < m_targetVocabulary; ++token) {
        if (isCandidate[token])
            candidates.push_back(Token(token));
    }
    return candidates;
}

} // namespace quillora::neural
