#pragma once

#include "platform/linux/translation/neural/Shortlist.h"

#include <istream>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sentencepiece {
class SentencePieceProcessor;
}

namespace quillora::neural {

/// A language's tokens: pieces of words. May be used from several threads.
class Vocabulary {
public:
    /// Reads a SentencePiece vocabulary. Throws ModelError.
    explicit Vocabulary(std::istream &in);
    Vocabulary(Vocabulary &&) noexcept;
    ~Vocabulary();

    std::size_t size() const;
    Token end() const;     ///< ends a sentence
    Token unknown() const; ///< stands for what there is no token for

    /// A token, and the bytes of the text that it stands for.
    struct Piece {
        Token token;
        std::size_t begin;
        std::size_t end;
    };

    /// Without the end.
    Tokens encode(std::string_view text) const;
    std::vector<Piece> piecesOf(std::string_view text) const;

    std::string decode(std::span<const Token> tokens) const;

private:
    std::unique_ptr<sentencepiece::SentencePieceProcessor> m_processor;
};

} // namespace quillora::neural
