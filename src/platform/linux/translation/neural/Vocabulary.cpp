#include "platform/linux/translation/neural/Vocabulary.h"

#include "platform/linux/translation/neural/ModelError.h"
#include "platform/linux/translation/neural/VocabularyFile.h"

#include <sentencepiece_processor.h>

#include <exception>

namespace quillora::neural {

namespace {

/// The library's answer, or why it refused.
std::string loaded(sentencepiece::SentencePieceProcessor &processor, const std::string &file) {
    try {
        return processor.LoadFromSerializedProto(file).ToString();
    } catch (const std::exception &error) {
        return error.what();
    }
}

} // namespace

Vocabulary::Vocabulary(std::istream &in)
    : m_processor(std::make_unique<sentencepiece::SentencePieceProcessor>()) {
    if (const std::string answer = loaded(*m_processor, readVocabularyFile(in)); answer != "OK")
        throw ModelError("The vocabulary is damaged: " + answer + ".");
    if (m_processor->unk_id() < 0 || m_processor->eos_id() < 0)
        throw ModelError("The vocabulary has no token that ends a sentence, or none for what is unknown.");
}

Vocabulary::Vocabulary(Vocabulary &&) noexcept = default;
Vocabulary::~Vocabulary() = default;

std::size_t Vocabulary::size() const { return std::size_t(m_processor->GetPieceSize()); }
Token Vocabulary::end() const { return m_processor->eos_id(); }
Token Vocabulary::unknown() const { return m_processor->unk_id(); }

Tokens Vocabulary::encode(std::string_view text) const { return m_processor->EncodeAsIds(text); }

std::vector<Vocabulary::Piece> Vocabulary::piecesOf(std::string_view text) const {
    std::vector<Piece> pieces;
    const auto encoded = m_processor->EncodeAsImmutableProto(text); // which the pieces point into
    for (const auto &piece : encoded.pieces())
        pieces.push_back({Token(piece.id()), piece.begin(), piece.end()});
    return pieces;
}

std::string Vocabulary::decode(std::span<const Token> tokens) const {
    return m_processor->DecodeIds(Tokens(tokens.begin(), tokens.end()));
}

} // namespace quillora::neural
