#pragma once

#include <string_view>
#include <vector>

namespace quillora::neural {

/// A sentence, and the white space that follows it. Either may be empty.
struct Sentence {
    std::string_view text;
    std::string_view space;

    bool operator==(const Sentence &) const = default;
};

/// Takes a text apart without leaving anything out: all parts in a row are the text again. Sentences end
/// where a mark ends them, and at line breaks; where it is doubtful, they go on, because half a sentence
/// translates worse than two. `language` is a two-letter code; UTF-8.
std::vector<Sentence> sentencesOf(std::string_view text, std::string_view language);

/// A place where a sentence may be cut in two.
struct CutPlace {
    std::size_t offset; ///< in bytes; where the second part begins
    enum class Quality { BetweenWords, BeforeConjunction, BehindPunctuation } quality;
};

/// All places where a sentence may be cut: between words, also where the language writes them in one.
std::vector<CutPlace> cutPlacesOf(std::string_view sentence, std::string_view language);

} // namespace quillora::neural
