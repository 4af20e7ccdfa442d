#include "platform/linux/translation/neural/Sentences.h"

#include "platform/linux/translation/neural/Utf8.h"

#include <unicode/brkiter.h>
#include <unicode/utext.h>

#include <algorithm>
#include <memory>
#include <string>

namespace quillora::neural {

namespace {

/// What is known of a language beside its script.
struct LanguageHabits {
    std::string_view language;
    /// Words that a sentence does not end with, although a full stop follows; in small letters, between
    /// spaces.
    std::string_view abbreviations;
    /// Those that it does not end with if a number follows: "No. 5", but "No. I stay."
    std::string_view beforeNumbers;
    /// Words that begin a clause, likewise.
    std::string_view conjunctions;
    /// "3. Oktober": a number with a full stop stands for an ordinal.
    bool hasDottedOrdinals = false;
};

constexpr LanguageHabits knownHabits[] = {
    {"ar", "", "", " و لكن لأن ثم أو عندما إذا حتى "},
    {"de", " dr prof hr fr bzw ca dipl evtl ggf inkl max min mio mrd sog st tel vgl zb zzgl ",
     " nr art abs bd s ", " und aber oder denn weil dass wenn als sondern damit obwohl während dann ", true},
    {"en", " mr mrs ms dr prof rev gen col capt lt sgt hon st mt vs cf approx dept est jr sr ",
     " no nos vol fig figs p pp ",
     " and but or because so when while although then if that which who where "},
    {"es", " sr sra srta dr dra prof ud uds avda d dña ee.uu p.ej ", " núm pág art av ",
     " y pero o porque que cuando aunque entonces si donde mientras "},
    {"fr", " m mm mme mlle dr prof me st ste bd cf env ", " no n° vol p pp art av ",
     " et mais ou parce que car quand donc puis si où alors lorsque "},
    {"id", " dr drs ir prof jl tn ny bpk ", " no hlm ",
     " dan tetapi tapi atau karena jika ketika bahwa yang lalu kemudian sehingga "},
    {"it", " sig sigg sigra dott dottssa prof ing avv p.es ", " art pag n vol ",
     " e ma o perché che quando se allora dove mentre poi quindi "},
    {"ko", "", "", " 그리고 하지만 그런데 그래서 그러나 또는 왜냐하면 "},
    {"nl", " dhr mevr mw dr drs ir ing prof mr bijv bv ca evt d.w.z ", " nr blz art ",
     " en maar of want omdat dat als toen dus terwijl hoewel dan "},
    {"pl", " dr prof mgr inż hab ul al np tzn tj m.in pt św ok ", " nr str godz ",
     " i ale lub albo bo ponieważ że gdy kiedy jeśli więc który potem ", true},
    {"pt", " sr sra srta dr dra prof eng av r ex p.ex ", " nº pág art ",
     " e mas ou porque que quando se então onde enquanto embora "},
    {"ru", " г гг ул пр им тов гр см проф акад руб коп млн млрд тыс ", " д кв стр рис ",
     " и но а или потому что когда если поэтому который где чтобы "},
    {"th", "", "", " และ แต่ หรือ เพราะ ถ้า เมื่อ แล้ว ดังนั้น "},
    {"tr", " dr prof doç av bkz cad sok mah örn ", " no sn ", " ve ama fakat veya çünkü ki eğer ancak sonra ",
     true},
    {"uk", " м вул пр ім див гр т.зв проф акад грн коп млн млрд тис ", " д буд кв стор рис ",
     " і й та але або бо що коли якщо тому який де щоб "},
    {"vi", " ts ths gs pgs bs tp ", " q p ", " và nhưng hoặc vì nếu khi mà thì rằng nên "},
    {"zh", "", "", " 但是 所以 因为 然后 如果 而且 不过 "},
};

const LanguageHabits &habitsOf(std::string_view language) {
    static constexpr LanguageHabits none{};
    const auto found = std::ranges::find(knownHabits, language, &LanguageHabits::language);
    return found == std::end(knownHabits) ? none : *found;
}

/// In small letters.
std::string folded(std::string_view word) {
    std::string folded;
    for (std::size_t offset = 0; offset < word.size();) {
        const Character character = characterAt(word, offset);
        offset = character.end;
        char bytes[U8_MAX_LENGTH];
        std::int32_t length = 0;
        U8_APPEND_UNSAFE(bytes, length, u_tolower(character.code));
        folded.append(bytes, std::size_t(length));
    }
    return folded;
}

bool isListed(std::string_view words, std::string_view word) {
    return !word.empty() && words.find(' ' + folded(word) + ' ') != std::string_view::npos;
}

bool isLineBreak(UChar32 code) {
    return (code >= 0x0A && code <= 0x0D) || code == 0x85 || code == 0x2028 || code == 0x2029;
}

bool isSpace(UChar32 code) { return u_isUWhiteSpace(code); }

/// Marks that end a sentence wherever they stand, because no space follows them.
bool isFullWidthEnd(UChar32 code) {
    return code == 0x3002 || code == 0xFF01 || code == 0xFF1F || code == 0xFF61; // 。！？｡
}

/// Marks that end a sentence if a space follows. The second row: Arabic question mark, full stop and the
/// ellipsis.
bool isEnd(UChar32 code) {
    return code == '.' || code == '!' || code == '?' || isFullWidthEnd(code) || //
           code == 0x061F || code == 0x06D4 || code == 0x2026;
}

/// Quotes and brackets that belong to what they close.
bool isCloser(UChar32 code) {
    const auto category = u_charType(code);
    return category == U_END_PUNCTUATION || category == U_FINAL_PUNCTUATION || code == '"' || code == '\'' ||
           code == 0x201C; // “ closes in German
}

/// Decides for one text where its sentences end.
class Splitter {
public:
    Splitter(std::string_view text, std::string_view language)
        : m_text(text), m_isThai(language == "th"), m_habits(habitsOf(language)) {
        // Speech is often written down in small letters alone; then they say nothing about where sentences
        // begin.
        for (std::size_t offset = 0; offset < text.size() && !m_hasCapitals;) {
            const Character character = characterAt(text, offset);
            m_hasCapitals = u_isupper(character.code);
            offset = character.end;
        }
    }

    std::vector<Sentence> sentences() const {
        std::vector<Sentence> sentences;
        const std::size_t first = endOfSpace(0);
        if (first > 0)
            sentences.push_back({m_text.substr(0, 0), m_text.substr(0, first)});
        for (std::size_t begin = first; begin < m_text.size();) {
            const std::size_t end = endOfSentence(begin);
            const std::size_t next = endOfSpace(end);
            sentences.push_back({m_text.substr(begin, end - begin), m_text.substr(end, next - end)});
            begin = next;
        }
        return sentences;
    }

private:
    std::size_t endOfSpace(std::size_t offset) const {
        while (offset < m_text.size() && isSpace(characterAt(m_text, offset).code))
            offset = characterAt(m_text, offset).end;
        return offset;
    }

    std::size_t endOfSentence(std::size_t begin) const {
        for (std::size_t offset = begin; offset < m_text.size();) {
            const Character character = characterAt(m_text, offset);
            if (isLineBreak(character.code))
                return withoutSpaceAtEnd(begin, offset);
            if (isEnd(character.code)) {
                const std::size_t end = endOfMarks(offset);
                if (endsThere(begin, offset, end))
                    return end;
                offset = end;
            } else {
                offset = character.end;
            }
        }
        return withoutSpaceAtEnd(begin, m_text.size());
    }

    std::size_t withoutSpaceAtEnd(std::size_t begin, std::size_t end) const {
        while (end > begin && isSpace(characterBefore(m_text, end).code))
            end = characterBefore(m_text, end).end;
        return end;
    }

    /// "?!", "...", and the quotes that close behind them.
    std::size_t endOfMarks(std::size_t offset) const {
        while (offset < m_text.size() && isEnd(characterAt(m_text, offset).code))
            offset = characterAt(m_text, offset).end;
        // "« Ici ! »"
        if (m_habits.language == "fr") {
            if (const std::size_t next = endOfSpace(offset);
                next < m_text.size() && characterAt(m_text, next).code == 0xBB)
                offset = next;
        }
        while (offset < m_text.size() && isCloser(characterAt(m_text, offset).code))
            offset = characterAt(m_text, offset).end;
        return offset;
    }

    /// Whether the sentence from `begin` ends with the marks from `mark` to `end`.
    bool endsThere(std::size_t begin, std::size_t mark, std::size_t end) const {
        if (end == m_text.size())
            return true;
        const Character first = characterAt(m_text, mark);
        const UChar32 last = characterBefore(m_text, end).code;
        const UChar32 next = characterAt(m_text, end).code;
        // 「はい。」と言った: behind a quote the sentence may go on.
        if (isFullWidthEnd(first.code))
            return isFullWidthEnd(last) || isSpace(next);
        if (!isSpace(next))
            return isIdeographic(next) && first.code != '.' && first.code != 0x2026;
        if (isLineBreak(characterAt(m_text, endOfSpaceInLine(end)).code))
            return true;
        if (goesOnInSmallLetters(end))
            return false;
        const bool isSingleStop = first.code == '.' && first.end == end;
        return !isSingleStop || !(m_isThai || isAbbreviated(begin, mark));
    }

    static bool isIdeographic(UChar32 code) { return u_hasBinaryProperty(code, UCHAR_IDEOGRAPHIC); }

    std::size_t endOfSpaceInLine(std::size_t offset) const {
        while (offset < m_text.size() && isSpace(characterAt(m_text, offset).code) &&
               !isLineBreak(characterAt(m_text, offset).code))
            offset = characterAt(m_text, offset).end;
        return std::min(offset, m_text.size() - 1);
    }

    bool goesOnInSmallLetters(std::size_t offset) const {
        if (!m_hasCapitals)
            return false;
        // What is far behind belongs to another sentence; and each mark of a row would look through all
        // others.
        constexpr int farBehind = 64;
        for (int passed = 0; passed < farBehind && offset < m_text.size(); ++passed) {
            const Character character = characterAt(m_text, offset);
            if (isLineBreak(character.code))
                return false;
            if (u_isalnum(character.code))
                return u_islower(character.code);
            offset = character.end;
        }
        return false;
    }

    /// Whether the full stop at `mark` belongs to the word before it.
    bool isAbbreviated(std::size_t begin, std::size_t mark) const {
        std::size_t wordBegin = mark;
        bool isNumber = true;
        std::size_t characters = 0;
        while (wordBegin > begin) {
            const Character character = characterBefore(m_text, wordBegin);
            if (!u_isalnum(character.code) && character.code != '.' && character.code != 0xB0) // "n°"
                break;
            isNumber = isNumber && u_isdigit(character.code);
            wordBegin = character.end;
            ++characters;
        }
        const std::string_view word = m_text.substr(wordBegin, mark - wordBegin);
        if (word.empty())
            return false;
        // "1. Something" in a list, "3. Oktober".
        if (isNumber)
            return wordBegin == begin || (m_habits.hasDottedOrdinals && characters <= 2);
        // "J. S. Bach", but "so do I."
        if (characters == 1 && u_isupper(characterAt(word, 0).code))
            return word != "I" || m_habits.language != "en";
        const std::size_t next = endOfSpace(mark + 1);
        const bool isBeforeNumber = next < m_text.size() && u_isdigit(characterAt(m_text, next).code);
        return isOfSingleLetters(word) || isListed(m_habits.abbreviations, word) ||
               (isBeforeNumber && isListed(m_habits.beforeNumbers, word));
    }

    /// "e.g", "p.m"
    static bool isOfSingleLetters(std::string_view word) {
        bool hasDot = false;
        for (std::size_t offset = 0; offset < word.size();) {
            offset = characterAt(word, offset).end;
            if (offset < word.size() && word[offset++] != '.')
                return false;
            hasDot = hasDot || offset < word.size();
        }
        return hasDot;
    }

    std::string_view m_text;
    bool m_isThai; ///< whose full stops only abbreviate
    const LanguageHabits &m_habits;
    bool m_hasCapitals = false;
};

/// The word that begins at an offset.
std::string_view wordAt(std::string_view text, std::size_t offset) {
    std::size_t end = offset;
    while (end < text.size() && u_isalnum(characterAt(text, end).code))
        end = characterAt(text, end).end;
    return text.substr(offset, end - offset);
}

bool isClausePunctuation(UChar32 code) {
    const auto category = u_charType(code);
    return category == U_OTHER_PUNCTUATION || category == U_DASH_PUNCTUATION || category == U_END_PUNCTUATION;
}

bool beginsWithConjunction(std::string_view text, std::size_t offset, const LanguageHabits &habits) {
    if (isListed(habits.conjunctions, wordAt(text, offset)))
        return true;
    // Where words are written in one, a word has no end to be seen.
    if (habits.language != "zh" && habits.language != "th")
        return false;
    const std::string_view rest = text.substr(offset);
    std::string_view words = habits.conjunctions;
    while (words.size() > 1) {
        words.remove_prefix(1);
        const std::string_view word = words.substr(0, words.find(' '));
        if (rest.starts_with(word))
            return true;
        words.remove_prefix(word.size());
    }
    return false;
}

} // namespace

std::vector<Sentence> sentencesOf(std::string_view text, std::string_view language) {
    return Splitter(text, language).sentences();
}

std::vector<CutPlace> cutPlacesOf(std::string_view sentence, std::string_view language) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> lines(
        icu::BreakIterator::createLineInstance(icu::Locale(std::string(language).c_str()), status));
    const std::unique_ptr<UText, decltype(&utext_close)> text(
        utext_openUTF8(nullptr, sentence.data(), std::int64_t(sentence.size()), &status), &utext_close);
    if (U_FAILURE(status))
        return {};
    lines->setText(text.get(), status);

    const LanguageHabits &habits = habitsOf(language);
    std::vector<CutPlace> places;
    for (std::int32_t at = lines->next(); at != icu::BreakIterator::DONE; at = lines->next()) {
        const auto offset = std::size_t(at);
        if (offset >= sentence.size())
            break;
        std::size_t before = offset;
        while (before > 0 && isSpace(characterBefore(sentence, before).code))
            before = characterBefore(sentence, before).end;
        auto quality = CutPlace::Quality::BetweenWords;
        if (before > 0 && isClausePunctuation(characterBefore(sentence, before).code))
            quality = CutPlace::Quality::BehindPunctuation;
        else if (beginsWithConjunction(sentence, offset, habits))
            quality = CutPlace::Quality::BeforeConjunction;
        places.push_back({offset, quality});
    }
    return places;
}

} // namespace quillora::neural
