// make_neural_model WHAT FOLDER: writes models to try translation with, each with its vocabularies, and a
// shortlist if it has one. WHAT is
//   golden       the models that the reference implementation's translations are kept for, a folder each,
//   with the
//                sentences
//   tiny, base-memory, base
//                random weights in the shapes of published models, to measure with
//   dictionary   translates German into English, word for word
//   seeds        the smallest of each file, to begin fuzzing with
#include "support/neural/DictionaryModel.h"
#include "support/neural/ModelWriter.h"
#include "support/neural/RandomModel.h"

#include <filesystem>
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

} // namespace

int main(int argc, char **argv) {
    const std::string_view what = argc == 3 ? argv[1] : "";
    const std::filesystem::path folder = argc == 3 ? argv[2] : "";
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
        writeDictionaryModel(folder);
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
    std::cerr << "make_neural_model golden|dictionary|seeds|tiny|base-memory|base FOLDER\n";
    return 2;
}
