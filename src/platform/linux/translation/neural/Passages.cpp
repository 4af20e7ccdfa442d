#include "platform/linux/translation/neural/Passages.h"

#include "platform/linux/translation/neural/Sentences.h"
#include "platform/linux/translation/neural/Stopped.h"
#include "platform/linux/translation/neural/Utf8.h"

#include <unicode/uscript.h>

#include <algorithm>

namespace quillora::neural {

namespace {

// Sentences are looked at whole: beyond this, in bytes, they are cut wherever a word ends.
constexpr std::size_t longestSentence = 1 << 12;

bool isSpaceAt(std::string_view text, std::size_t offset) {
    return u_isUWhiteSpace(characterAt(text, offset).code);
}

bool isSpaceBefore(std::string_view text, std::size_t offset) {
    return u_isUWhiteSpace(characterBefore(text, offset).code);
}

bool hasLetter(std::string_view text) {
    for (std::size_t offset = 0; offset < text.size();) {
        const Character character = characterAt(text, offset);
        if (u_isalpha(character.code))
            return true;
        offset = character.end;
    }
    return false;
}

/// Chinese, Japanese and Thai put no space between words, so one letter that is unknown does not make a word.
bool isWrittenInWords(UChar32 code) {
    UErrorCode status = U_ZERO_ERROR;
    const UScriptCode script = uscript_getScript(code, &status);
    return script != USCRIPT_HAN && script != USCRIPT_HIRAGANA && script != USCRIPT_KATAKANA &&
           script != USCRIPT_THAI;
}

bool isPartOfWord(UChar32 code) {
    return (u_isalnum(code) || u_charType(code) == U_NON_SPACING_MARK) && isWrittenInWords(code);
}

bool isEmoji(UChar32 code) {
    return u_hasBinaryProperty(code, UCHAR_EMOJI_PRESENTATION) ||
           u_hasBinaryProperty(code, UCHAR_REGIONAL_INDICATOR);
}

constexpr UChar32 joiner = 0x200D;

/// What makes one picture of several characters: joiners, variants, skin tones.
bool continuesEmoji(UChar32 code) {
    constexpr UChar32 emojiVariant = 0xFE0F;
    constexpr UChar32 keycap = 0x20E3;
    return code == joiner || code == emojiVariant || code == keycap ||
           u_hasBinaryProperty(code, UCHAR_EMOJI_MODIFIER);
}

bool isWorthKeeping(UChar32 code) {
    const auto mask = U_GET_GC_MASK(code);
    return u_isalnum(code) || (mask & (U_GC_S_MASK | U_GC_CO_MASK | U_GC_CN_MASK)) != 0;
}

struct Stretch {
    std::size_t begin;
    std::size_t end;
};

/// What is not the model's: emoji, and words with a letter that the vocabulary does not have.
std::vector<Stretch> foreignStretches(std::string_view text, std::span<const Vocabulary::Piece> pieces,
                                      Token unknown) {
    std::vector<Stretch> stretches;
    const auto add = [&stretches](std::size_t begin, std::size_t end) {
        if (!stretches.empty() && begin <= stretches.back().end)
            stretches.back() = {std::min(begin, stretches.back().begin), std::max(end, stretches.back().end)};
        else
            stretches.push_back({begin, end});
    };
    auto piece = pieces.begin();
    for (std::size_t offset = 0; offset < text.size();) {
        const Character character = characterAt(text, offset);
        while (piece != pieces.end() && piece->end <= offset)
            ++piece;
        const bool isUnknown = piece != pieces.end() && piece->begin <= offset && piece->token == unknown;
        const bool continues = continuesEmoji(character.code);
        const bool isBehindOne = !stretches.empty() && stretches.back().end == offset;
        // What is no emoji by itself, as the staff of a doctor, may be joined to a person.
        const bool isJoined = isBehindOne && characterBefore(text, offset).code == joiner;
        if (isEmoji(character.code) || isJoined || (continues && (isBehindOne || isUnknown))) {
            add(offset, character.end);
        } else if (isUnknown && isWorthKeeping(character.code)) {
            std::size_t begin = offset;
            std::size_t end = character.end;
            if (isPartOfWord(character.code)) {
                while (begin > 0 && isPartOfWord(characterBefore(text, begin).code))
                    begin = characterBefore(text, begin).end;
                while (end < text.size() && isPartOfWord(characterAt(text, end).code))
                    end = characterAt(text, end).end;
            }
            add(begin, end);
            offset = end;
            continue;
        }
        offset = character.end;
    }
    return stretches;
}

/// The best place to cut in (from, to]: the last of the best ones. Where there is none, a word has no end,
/// and is cut at `to`.
std::size_t bestCut(std::string_view text, std::span<const CutPlace> places, std::size_t from,
                    std::size_t to) {
    const CutPlace *best = nullptr;
    for (const CutPlace &place : places) {
        if (place.offset > from && place.offset <= to && (best == nullptr || place.quality >= best->quality))
            best = &place;
    }
    if (best != nullptr)
        return best->offset;
    const std::size_t cut = characterBegin(text, to);
    return cut > from ? cut : characterAt(text, from).end;
}

/// Where the first part ends of a sentence that is too long: behind the last white space, or at the last
/// place where it may be cut, or where a character ends.
std::size_t endOfFirstPart(std::string_view sentence, std::string_view language) {
    const std::size_t longest = characterBegin(sentence, longestSentence);
    const std::string_view part = sentence.substr(0, longest > 0 ? longest : longestSentence);
    for (std::size_t end = part.size(); end > 0; end = characterBefore(part, end).end) {
        if (isSpaceBefore(part, end))
            return end;
    }
    const std::vector<CutPlace> places = cutPlacesOf(part, language);
    return places.empty() ? part.size() : places.back().offset;
}

bool isWithoutSpaces(std::string_view language) { return language == "zh" || language == "ja"; }

} // namespace

Passages::Passages(std::string_view text, LanguagePair languages, const Vocabulary &vocabulary,
                   const std::stop_token &stop)
    : m_languages(std::move(languages)) {
    for (const Sentence &sentence : sentencesOf(text, m_languages.source)) {
        std::string_view rest = sentence.text;
        while (rest.size() > longestSentence) {
            const std::size_t end = endOfFirstPart(rest, m_languages.source);
            addSentence(rest.substr(0, end), vocabulary, stop);
            rest.remove_prefix(end);
        }
        addSentence(rest, vocabulary, stop);
        addUntouched(sentence.space);
    }
}

void Passages::addSentence(std::string_view sentence, const Vocabulary &vocabulary,
                           const std::stop_token &stop) {
    std::size_t begin = 0;
    for (const Stretch &stretch :
         foreignStretches(sentence, vocabulary.piecesOf(sentence), vocabulary.unknown())) {
        addStretch(sentence.substr(begin, stretch.begin - begin), vocabulary, stop);
        addUntouched(sentence.substr(stretch.begin, stretch.end - stretch.begin));
        begin = stretch.end;
    }
    addStretch(sentence.substr(begin), vocabulary, stop);
}

void Passages::addStretch(std::string_view stretch, const Vocabulary &vocabulary,
                          const std::stop_token &stop) {
    if (stop.stop_requested())
        throw Stopped();
    const std::vector<Vocabulary::Piece> pieces = vocabulary.piecesOf(stretch);
    constexpr std::size_t room = longest - 1; // one is for the token that ends it
    if (pieces.size() <= room) {
        addPassage(stretch, vocabulary);
        return;
    }
    // Each part is at least half full. By itself it may become more tokens than it was within the whole.
    const std::vector<CutPlace> places = cutPlacesOf(stretch, m_languages.source);
    std::size_t begin = 0;
    for (auto piece = pieces.begin(); pieces.end() - piece > std::ptrdiff_t(room);) {
        const std::size_t cut =
            bestCut(stretch, places, std::max(begin, (piece + room / 2)->begin), (piece + room)->begin);
        if (cut - begin == stretch.size()) { // so many tokens for one character: nothing to cut
            addUntouched(stretch);
            return;
        }
        addStretch(stretch.substr(begin, cut - begin), vocabulary, stop);
        begin = cut;
        piece = std::ranges::lower_bound(piece, pieces.end(), cut, {}, &Vocabulary::Piece::begin);
    }
    addStretch(stretch.substr(begin), vocabulary, stop);
}

void Passages::addPassage(std::string_view passage, const Vocabulary &vocabulary) {
    std::size_t begin = 0;
    std::size_t end = passage.size();
    while (begin < end && isSpaceAt(passage, begin))
        begin = characterAt(passage, begin).end;
    while (end > begin && isSpaceBefore(passage, end))
        end = characterBefore(passage, end).end;
    const std::string_view words = passage.substr(begin, end - begin);
    if (!hasLetter(words)) {
        addUntouched(passage);
        return;
    }
    Tokens tokens = vocabulary.encode(words);
    tokens.push_back(vocabulary.end());
    // Without the white space around them words may become more tokens, if the vocabulary wants to do harm.
    if (tokens.size() > longest) {
        addUntouched(passage);
        return;
    }
    addUntouched(passage.substr(0, begin));
    m_sources.push_back(std::move(tokens));
    m_parts.push_back({std::string(words), true});
    addUntouched(passage.substr(end));
}

void Passages::addUntouched(std::string_view text) {
    if (text.empty())
        return;
    if (m_parts.empty() || m_parts.back().isPassage)
        m_parts.push_back({std::string(text), false});
    else
        m_parts.back().text += text;
}

std::string Passages::joined(std::span<const std::string> translations) const {
    const bool targetHasSpaces = !isWithoutSpaces(m_languages.target);
    std::string text;
    std::size_t passage = 0;
    for (std::size_t i = 0; i < m_parts.size(); ++i) {
        const Part &part = m_parts[i];
        const bool isBetween = i > 0 && i + 1 < m_parts.size();
        if (part.isPassage) {
            if (i > 0 && m_parts[i - 1].isPassage && targetHasSpaces)
                text += ' ';
            const std::string &translation = translations[passage++];
            text += translation.empty() ? part.text : translation;
        } else if (targetHasSpaces || !isBetween || part.text != " ") {
            text += part.text;
        }
    }
    return text;
}

} // namespace quillora::neural
