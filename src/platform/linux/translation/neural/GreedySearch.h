#pragma once

#include "platform/linux/translation/neural/Network.h"
#include "platform/linux/translation/neural/Shortlist.h"
#include "platform/linux/translation/neural/kernels/Kernels.h"

#include <cstddef>
#include <span>
#include <stop_token>
#include <vector>

namespace quillora::neural {

/// Translates tokens: encodes a source, and takes the likeliest next token until the sentence ends.
class GreedySearch {
public:
    struct Setting {
        Token end;     ///< ends a sentence; the last token of a source
        Token unknown; ///< never said
        std::size_t (*longestTranslation)(std::size_t sourceTokens); ///< in tokens, at most Network::longest
    };

    /// All of them outlive the search; without a shortlist every token is a candidate.
    GreedySearch(const Network &network, const Shortlist *shortlist, const Kernels &kernels, Setting setting);

    /// One translation for each sentence, without the token that ends it. The sentences are computed side by
    /// side, which reads the weights once for all; what comes out for one does not depend on the others. May
    /// be called from several threads. Throws Stopped within one product of the stop, and std::length_error
    /// for a sentence of more than Network::longest tokens.
    std::vector<Tokens> translate(std::span<const Tokens> sentences, const std::stop_token &stop) const;

private:
    const Network &m_network;
    const Shortlist *m_shortlist;
    const Kernels &m_kernels;
    Setting m_setting;
    Tokens m_everyToken; ///< without a shortlist
    PageMemory m_outputMemory;
    Matrix m_output; ///< for every token
};

} // namespace quillora::neural
