// make_neural_model WHAT FOLDER [WORDS]: writes models to try translation with, each with its vocabularies,
// and a shortlist if it has one. WHAT is
//   golden       the models that the reference implementation's translations are kept for, a folder each,
//   with the
//                sentences
//   tiny, base-memory, base
//                random weights in the shapes of published models, to measure with
//   dictionary   translates word for word: German into English, or what is in the file WORDS,
//                a word, a tab and its translation in each line
//   seeds        the smallest of each file, to begin fuzzing with
#include "support/neural/DictionaryModel.h"
#include "support/neural/ModelWriter.h"
#include "support/neural/RandomModel.h"

#include <filesystem>
#include <fstream>
#include <iostream>

using namespace quillora;
using namespace quillora::test;

namespace {

void write(const RandomModel &model, const std::filesystem::path &folder) {
    std::filesystem::create_directories(folder);
    writeFile(folder / "model.bin", model.modelFile());
    writeFile(folder / "source.spm", model.sourceVocabularyFile());
    writeFile(folder / "target.spm", model.targetVocabularyFile());
    if (const std::string shortlist = model.shortlistFile(); !shortlist.empty())
        writeFile(folder / "shortlist.bin", shortlist);
}

Dictionary dictionaryIn(const std::filesystem::path &words) {
    Dictionary dictionary;
    std::ifstream file(words);
    for (std::string source, target; std::getline(file, source, '\t') && std::getline(file, target);)
        dictionary.emplace_back(source, target);
    return dictionary;
}

} // namespace

int main(int argc, char **argv) {
    const std::string_view what = argc >= 3 ? argv[1] : "";
    const std::filesystem::path folder = argc >= 3 ? argv[2] : "";
    if (what == "golden") {
        for (const RandomModel &model : goldenModels()) {
            write(model, folder / model.name);
            std::string sentences;
            for (const std::string &sentence : goldenSentences(model))
                sentences += sentence + '\n';
            writeFile(folder / model.name / "sentences.txt", sentences);
        }
        return 0;
    }
    if (what == "dictionary") {
        std::filesystem::create_directories(folder);
        writeDictionaryModel(folder, argc >= 4 ? dictionaryIn(argv[3]) : germanToEnglish());
        return 0;
    }
    if (what == "seeds") {
        const RandomModel model{
            "seed", {16, 16, 1, 1, 1, 40, 40, true}, RandomModel::Numbers::BytesAndMultipliers, 1, 0, 2, 8};
        writeFile(folder / "model" / "smallest", model.modelFile());
        writeFile(folder / "vocabulary" / "smallest", model.sourceVocabularyFile());
        writeFile(folder / "shortlist" / "smallest", model.shortlistFile());
        return 0;
    }
    for (const RandomModel &model : measuredModels()) {
        if (what == model.name) {
            write(model, folder);
            return 0;
        }
    }
    std::cerr << "make_neural_model golden|dictionary|seeds|tiny|base-memory|base FOLDER [WORDS]\n";
    return 2;
}
