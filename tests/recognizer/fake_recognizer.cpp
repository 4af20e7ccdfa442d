#include "recognizer/FakeEngine.h"
#include "recognizer/Recognizer.h"
#include "recognizer/pocketsphinx/PocketSphinxEngine.h"

#include <unistd.h>

/// The recognizer as it is installed, with one engine more.
int main() {
    using namespace quillora;
    recognizer::Engines engines;
    engines.push_back(std::make_unique<recognizer::PocketSphinxEngine>());
    engines.push_back(std::make_unique<test::FakeEngine>());
    ::_exit(recognizer::serve(engines));
}
