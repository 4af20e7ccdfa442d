#pragma once

#include "platform/linux/translation/neural/Vocabulary.h"

#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace quillora::neural {

/// The languages of a translation, as two-letter codes: "de", "en".
struct LanguagePair {
    std::string source;
    std::string target;
};

/// A text, taken apart into passages that a model can translate and what stands between them. This is all
/// that happens to a text before the model sees it; letters, marks and their case reach it as they are.
///
/// - Sentences are translated one by one, because models have learnt sentences. White space and line breaks
/// between
///   them stay.
/// - A sentence that is too long, or speech written down without any mark, is cut at a good place: models
/// have not
///   seen longer ones.
/// - Emoji, and words in letters that the vocabulary does not have, stay as they are: a model would swallow
/// them.
/// - What has no letter in it stays as it is: there is nothing to translate. So does what a hostile
///   vocabulary makes too many tokens of.
class Passages {
public:
    /// In tokens.
    static constexpr std::size_t longest = 96;

    /// `vocabulary` is the source's; it is not kept. UTF-8. Throws Stopped.
    Passages(std::string_view text, LanguagePair languages, const Vocabulary &vocabulary,
             const std::stop_token &stop = {});

    /// What there is to translate, in order. Each ends with the token that ends a sentence.
    std::span<const Tokens> sources() const { return m_sources; }

    /// The text with its passages replaced by their translations, given in order. A passage whose translation
    /// is empty stays as it is. Between passages there is a space if the target language asks for one.
    std::string joined(std::span<const std::string> translations) const;

private:
    struct Part {
        std::string text;
        bool isPassage;
    };

    void addSentence(std::string_view sentence, const Vocabulary &vocabulary, const std::stop_token &stop);
    void addStretch(std::string_view stretch, const Vocabulary &vocabulary, const std::stop_token &stop);
    void addPassage(std::string_view passage, const Vocabulary &vocabulary);
    void addUntouched(std::string_view text);

    LanguagePair m_languages;
    std::vector<Part> m_parts;
    std::vector<Tokens> m_sources;
};

} // namespace quillora::neural
