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

/// A model that would not translate says so in English, whatever it was asked for. Into English nobody can
/// tell that from somebody's own words.
bool isExcuse(std::string_view answer, const TranslationRequest &request) {
    static constexpr std::array<std::string_view, 10> beginnings{
        "i'm sorry", "i’m sorry", "i am sorry", "sorry, ",    "i cannot ",
        "i can't ",  "i can’t ",  "as an ai",   "i'm unable", "i apologize"};
    if (lowered(request.targetLanguage).starts_with("english"))
        return false;
    const auto begin = lowered(answer.substr(0, 40));
    return std::any_of(beginnings.begin(), beginnings.end(),
                       [&](std::string_view beginning) { return begin.starts_with(beginning); });
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
