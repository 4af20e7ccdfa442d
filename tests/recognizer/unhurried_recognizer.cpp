#include "recognizer/Recognizer.h"
#include "recognizer/pocketsphinx/PocketSphinxEngine.h"
#include "recognizer/sherpa/SherpaEngine.h"

#include <unistd.h>

/// The recognizer as it is installed, on a computer that decodes in no time: it ends no segment because it
/// would take too long, however busy the machine is.
int main() {
    using namespace quillora::recognizer;
    Engines engines;
    engines.push_back(std::make_unique<PocketSphinxEngine>());
    engines.push_back(
        std::make_unique<SherpaEngine>(QUILLORA_SPEECH_LIBRARY, [] { return DecodingPace::Time(); }));
    ::_exit(serve(engines));
}
