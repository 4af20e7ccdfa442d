// translate_text FOLDER SOURCE TARGET < text: translates with the model in a folder, as make_neural_model
// writes it.
#include "platform/linux/translation/neural/Translator.h"

#include <iostream>
#include <iterator>

int main(int, char **arguments) {
    const std::filesystem::path folder = arguments[1];
    const quillora::neural::Translator translator({folder / "model.bin", folder / "vocabulary.spm",
                                                   folder / "vocabulary.spm", folder / "shortlist.bin"},
                                                  {arguments[2], arguments[3]});
    std::cout << *translator.translate(std::string(std::istreambuf_iterator<char>(std::cin), {}));
}
