#pragma once

#include <istream>
#include <string>

namespace quillora::neural {

/// Reads a SentencePiece vocabulary and checks it, because the library that takes it trusts it: a damaged
/// character map makes it read beyond its end. Returns the bytes as they are. Throws ModelError.
std::string readVocabularyFile(std::istream &in);

} // namespace quillora::neural
