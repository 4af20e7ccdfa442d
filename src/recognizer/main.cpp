#include "recognizer/Recognizer.h"
#include "recognizer/pocketsphinx/PocketSphinxEngine.h"
#include "recognizer/sherpa/SherpaEngine.h"

#include <filesystem>
#include <unistd.h>

int main() {
    using namespace quillora::recognizer;
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    Engines engines;
    engines.push_back(std::make_unique<PocketSphinxEngine>());
    engines.push_back(std::make_unique<SherpaEngine>(program.parent_path()));
    // Nothing is left to be tidied up that does not go with the process.
    ::_exit(serve(engines));
}
