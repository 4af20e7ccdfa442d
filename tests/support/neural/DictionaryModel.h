#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace quillora::test {

using Dictionary = std::vector<std::pair<std::string, std::string>>;

/// Some German words, and what they are in English.
Dictionary germanToEnglish();

/// A model whose weights are set by hand so that it really translates, word for word, from a dictionary.
/// Words that are not in it stay as they are, if they are pieces at all: ",.?!" are.
struct DictionaryModel {
    std::string modelFile;
    std::string vocabularyFile;
    std::string shortlistFile;

    explicit DictionaryModel(const Dictionary &dictionary = germanToEnglish());
};

/// Writes model.bin, vocabulary.spm and shortlist.bin.
void writeDictionaryModel(const std::filesystem::path &folder,
                          const Dictionary &dictionary = germanToEnglish());

/// The same under the names that published models have.
void writePublishedModel(const std::filesystem::path &folder, const Dictionary &dictionary);

} // namespace quillora::test
