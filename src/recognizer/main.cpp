#include "recognizer/Recognizer.h"
#include "recognizer/pocketsphinx/PocketSphinxEngine.h"

#include <unistd.h>

int main() {
    using namespace quillora::recognizer;
    Engines engines;
    engines.push_back(std::make_unique<PocketSphinxEngine>());
    // Nothing is left to be tidied up that does not go with the process.
    ::_exit(serve(engines));
}
