#include "backend/ModelAnswer.h"

#include "backend/Refusal.h"
#include "backend/Text.h"

#include <boost/json.hpp>

#include <algorithm>
#include <array>
#include <utility>

namespace quillora::backend {

namespace json = boost::json;

namespace {

constexpr std::size_t longestRefusal = 160;

Refusal unreadable() {
    return {502, "upstream_unreadable", "The translation model gave an answer that cannot be understood."};
}

Refusal declined() {
    return {502, "upstream_declined", "The translation model declined to translate this text."};
}

const json::value *find(const json::value &value, std::string_view key) {
    const auto *const object = value.if_object();
    return object ? object->if_contains(key) : nullptr;
}

std::string_view textAt(const json::value &value, std::string_view key) {
    const auto *const found = find(value, key);
    const auto *const string = found ? found->if_string() : nullptr;
    return string ? std::string_view(*string) : std::string_view();
}

/// The one message of a whole answer.
std::string contentOf(std::string_view body) {
    boost::system::error_code failure;
    const auto answer = json::parse(body, failure);
    const auto *const choices = failure ? nullptr : find(answer, "choices");
    const auto *const list = choices ? choices->if_array() : nullptr;
    if (!list || list->empty())
        throw unreadable();
    const auto &choice = list->front();
    const auto reason = textAt(choice, "finish_reason");
    if (reason == "length")
        throw Refusal(502, "upstream_cut_off",
                      "The translation was cut off: the text is too long for the translation model.");
    const auto *const message = find(choice, "message");
    if (reason == "content_filter" || (message && !textAt(*message, "refusal").empty()))
        throw declined();
    const auto *const content = message ? find(*message, "content") : nullptr;
    if (!content || !(content->is_string() || content->is_null()))
        throw unreadable();
    return content->is_string() ? std::string(content->get_string()) : std::string();
}

bool has(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

/// Some models think aloud first. Of thoughts without a beginning it is the template of the question that
/// holds it; those without an end have no translation behind them.
std::string_view withoutThoughts(std::string_view answer, std::string_view text) {
    constexpr std::string_view begin = "<think>";
    constexpr std::string_view end = "</think>";
    if (has(text, begin) || has(text, end))
        return answer;
    if (const auto over = answer.rfind(end); over != std::string_view::npos)
        return trimmed(answer.substr(over + end.size()));
    return answer.starts_with(begin) ? std::string_view() : answer;
}

std::string_view withoutMarks(std::string_view answer, std::string_view mark) {
    const std::string begin = "<" + std::string(mark) + ">";
    const std::string end = "</" + std::string(mark) + ">";
    if (answer.starts_with(begin))
        answer.remove_prefix(begin.size());
    if (answer.ends_with(end))
        answer.remove_suffix(end.size());
    return trimmed(answer);
}

/// Without those at either end, which need not be two.
std::string_view withoutFences(std::string_view answer, std::string_view text) {
    constexpr std::string_view fence = "```";
    if (has(text, fence))
        return answer;
    if (answer.starts_with(fence)) {
        answer.remove_prefix(fence.size());
        // The first line may name what kind of text it is.
        const auto end = std::min(answer.find('\n'), answer.size());
        const auto isOfAKind = [](char letter) {
            return (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9') || letter == '-';
        };
        if (end < answer.size() && std::all_of(answer.begin(), answer.begin() + end, isOfAKind))
            answer.remove_prefix(end);
    }
    if (answer.ends_with(fence))
        answer.remove_suffix(fence.size());
    return trimmed(answer);
}

/// {"translation": "..."}, from models that take the question for a form.
std::string withoutObject(std::string_view answer) {
    if (!answer.starts_with('{'))
        return std::string(answer);
    boost::system::error_code failure;
    const auto value = json::parse(answer, failure);
    const auto translation = failure ? std::string_view() : textAt(value, "translation");
    return std::string(translation.empty() ? answer : trimmed(translation));
}

/// "Here is the translation:" on a line of its own.
std::string_view withoutHeading(std::string_view answer, std::string_view text) {
    const auto end = answer.find('\n');
    if (end == std::string_view::npos || text.find('\n') != std::string_view::npos)
        return answer;
    const auto heading = trimmed(answer.substr(0, end));
    const bool isOne = heading.ends_with(':') && lowered(heading).find("translation") != std::string::npos;
    return isOne && !trimmed(text).ends_with(':') ? trimmed(answer.substr(end)) : answer;
}

std::string_view withoutQuotationMarks(std::string_view answer, std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 15> pairs{{{"\"", "\""},
                                                                                          {"'", "'"},
                                                                                          {"`", "`"},
                                                                                          {"“", "”"},
                                                                                          {"„", "“"},
                                                                                          {"„", "”"},
                                                                                          {"”", "”"},
                                                                                          {"«", "»"},
                                                                                          {"»", "«"},
                                                                                          {"‘", "’"},
                                                                                          {"‚", "‘"},
                                                                                          {"‹", "›"},
                                                                                          {"›", "‹"},
                                                                                          {"「", "」"},
                                                                                          {"『", "』"}}};
    const auto said = trimmed(text);
    const bool saidInQuotes = std::any_of(pairs.begin(), pairs.end(), [&](const auto &pair) {
        return said.starts_with(pair.first) || said.ends_with(pair.second);
    });
    if (saidInQuotes)
        return answer;
    for (const auto &[open, close] : pairs) {
        if (answer.size() < open.size() + close.size() || !answer.starts_with(open) ||
            !answer.ends_with(close))
            continue;
        const auto inner = answer.substr(open.size(), answer.size() - open.size() - close.size());
        // «A», he said, «B» is no text in quotation marks.
        if (inner.find(open) == std::string_view::npos && inner.find(close) == std::string_view::npos)
            return trimmed(inner);
    }
    return answer;
}

/// To be compared: in small letters, with straight apostrophes.
std::string plain(std::string_view text) {
    constexpr std::string_view curved = "’";
    auto result = lowered(text);
    for (auto at = result.find(curved); at != std::string::npos; at = result.find(curved, at))
        result.replace(at, curved.size(), "'");
    return result;
}

/// Goes on to behind the longest of them that the text has at `at`; false if it has none of them there.
template <std::size_t count>
bool goBehind(std::string_view text, std::size_t &at, const std::array<std::string_view, count> &phrases) {
    std::size_t longest = 0;
    for (const auto phrase : phrases) {
        if (text.substr(at).starts_with(phrase))
            longest = std::max(longest, phrase.size());
    }
    at += longest;
    return longest > 0;
}

/// The beginning of an answer by which a model refuses; nothing if it does not. A model refuses in English,
/// whatever it was asked for. "Sorry" alone begins sentences in many languages, and into English a refusal
/// may be what somebody said: there only words count that hardly anybody uses. The longest beginning counts,
/// since somebody may have said a shorter one himself.
std::string_view refusalIn(std::string_view answer, bool isIntoEnglish) {
    static constexpr std::array<std::string_view, 6> apologies{
        "sorry", "i'm sorry", "i am sorry", "i apologize", "my apologies", "unfortunately"};
    static constexpr std::array<std::string_view, 4> joints{", but ", " but ", ", ", ". "};
    static constexpr std::array<std::string_view, 9> inabilities{
        "i can't ",         "i cannot ",         "i can not ", "i'm unable to ",     "i am unable to ",
        "i'm not able to ", "i am not able to ", "i won't ",   "i won't be able to "};
    static constexpr std::array<std::string_view, 11> tasks{
        "translate", "assist",  "help with", "help you with", "provide", "fulfil",
        "comply",    "process", "complete",  "do that",       "respond"};
    static constexpr std::array<std::string_view, 4> requests{
        "assist with that request", "assist with this request", "help with that request",
        "help with this request"};
    static constexpr std::array<std::string_view, 7> natures{
        "as an ai language model",      "as an ai model",
        "as an ai assistant",           "as an ai",
        "as a language model",          "as a large language model",
        "as an artificial intelligence"};
    static constexpr std::array<std::string_view, 3> selves{"i'm an ai", "i am an ai", "i'm just an ai"};
    static constexpr std::array<std::string_view, 2> speakers{", i ", ", i'm "};
    static constexpr std::array<std::string_view, 13> englishAlone{
        "i'm sorry",   "i am sorry",   "i'm really sorry", "i apologize", "my apologies",
        "sorry, but ", "sorry but ",   "i can't ",         "i cannot ",   "i can not ",
        "i'm unable ", "i am unable ", "unfortunately i "};

    std::size_t at = 0;
    const bool isSorry = goBehind(answer, at, apologies) && goBehind(answer, at, joints);
    if (!isSorry)
        at = 0;
    const auto rest = at;
    const auto saidSoFar = [&] { return answer.substr(0, at); };
    if (goBehind(answer, at, natures) && goBehind(answer, at, speakers))
        return saidSoFar();
    at = rest;
    if (goBehind(answer, at, inabilities) &&
        (isIntoEnglish ? goBehind(answer, at, requests) : goBehind(answer, at, tasks) || isSorry))
        return saidSoFar();
    at = rest;
    if (!isIntoEnglish && goBehind(answer, at, selves))
        return saidSoFar();
    at = 0;
    return !isIntoEnglish && goBehind(answer, at, englishAlone) ? saidSoFar() : std::string_view();
}

/// Unless somebody said just that.
bool isExcuse(std::string_view answer, const TranslationRequest &request) {
    const auto said = plain(answer.substr(0, longestRefusal));
    const auto refusal = refusalIn(said, lowered(request.targetLanguage).starts_with("english"));
    return !refusal.empty() && !has(plain(request.text), refusal);
}

} // namespace

std::string translationIn(std::string_view body, const TranslationRequest &request, std::string_view mark) {
    const auto content = contentOf(body);
    auto bare =
        withoutFences(withoutMarks(withoutThoughts(trimmed(content), request.text), mark), request.text);
    const auto taken = withoutObject(withoutMarks(bare, mark));
    bare = withoutQuotationMarks(withoutHeading(taken, request.text), request.text);
    if (bare.empty())
        throw Refusal(502, "upstream_empty", "The translation model gave an empty answer.");
    if (isExcuse(bare, request))
        throw declined();
    return std::string(bare);
}

} // namespace quillora::backend
