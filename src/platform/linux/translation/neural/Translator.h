#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

namespace quillora::neural {

struct Kernels;

/// Translates from one language into another with a small neural model, on this computer's processor.
///
///     Translator translator({.model = "model.bin", .sourceVocabulary = "vocab.spm", .targetVocabulary =
///     "vocab.spm",
///                            .shortlist = "lex.bin"},
///                           {.source = "de", .target = "en"});
///     std::cout << *translator.translate("Guten Morgen.");
///
/// One direction takes as much memory as its model file, and some more for the vocabularies; several live
/// side by side. All operations may be called from any thread, also at the same time.
class Translator {
public:
    struct Files {
        std::filesystem::path model;
        std::filesystem::path sourceVocabulary;
        std::filesystem::path targetVocabulary; ///< may be the same file
        std::filesystem::path shortlist;        ///< may be empty: slower, and rarely better
    };

    /// Two-letter codes.
    struct Languages {
        std::string source;
        std::string target;
    };

    struct Options {
        /// Texts of many sentences are translated by up to so many threads, all others by the caller's own.
        unsigned threads = 2;

        /// To compare with; null: the fastest for this processor.
        const Kernels *kernels = nullptr;

        /// To compare with: computes in floats what the model holds in bytes, in four times the memory.
        bool inFloats = false;
    };

    /// Reads the files; they are not needed afterwards. Throws ModelError, with a sentence for the user, if
    /// one of them is missing or damaged, does not belong to the others, or is of a kind that is not
    /// supported; something else where that cannot be told now, for want of memory, say.
    Translator(const Files &files, Languages languages, Options options);
    Translator(const Files &files, Languages languages);

    /// Gives all memory back to the system, but for what the C library keeps of it (`M_TRIM_THRESHOLD` in
    /// mallopt(3)).
    ~Translator();

    Translator(Translator &&) noexcept;
    Translator &operator=(Translator &&) noexcept;

    /// The translation of a text in UTF-8 of any length: sentence by sentence, with the white space and line
    /// breaks between them as they are. Nothing if it was stopped: within 20 ms.
    std::optional<std::string> translate(std::string_view text, const std::stop_token &stop = {}) const;

    /// The same by way of the language in between, from which `onward` translates: while that is at one
    /// sentence, this one is at the next.
    std::optional<std::string> translate(std::string_view text, const Translator &onward,
                                         const std::stop_token &stop = {}) const;

private:
    struct Parts;
    std::unique_ptr<const Parts> m_parts;
};

} // namespace quillora::neural
