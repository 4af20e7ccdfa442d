#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillora::backend {

/// What a client wants: its text, and the names of both languages.
struct TranslationRequest {
    std::string text;
    std::string sourceLanguage;
    std::string targetLanguage;

    /// Reads the JSON of a request; throws a Refusal that says what is missing.
    static TranslationRequest decoded(std::string_view body);
};

/// The instructions that a model gets unless the configuration has others.
std::string standardPrompt();

/// What is wrong with a template of instructions, as the end of a sentence; nothing if it can be used.
std::optional<std::string> faultOfPrompt(std::string_view prompt);

/// The question to a model: instructions, and apart from them the text as data between two marks that nobody
/// can know beforehand.
struct Prompt {
    std::string mark;
    std::string body; ///< JSON of the chat-completions interface

    Prompt(const std::string &instructions, const std::string &model, const TranslationRequest &request);
};

} // namespace quillora::backend
