#include "recognizer/FakeEngine.h"
#include "recognizer/ProbeEngine.h"
#include "recognizer/Recognizer.h"
#include "recognizer/pocketsphinx/PocketSphinxEngine.h"

#include <unistd.h>

/// The recognizer as it is installed, with two engines more.
int main() {
    using namespace quillora;
    recognizer::Engines engines;
    engines.push_back(std::make_unique<recognizer::PocketSphinxEngine>());
    engines.push_back(std::make_unique<test::FakeEngine>());
    engines.push_back(std::make_unique<test::ProbeEngine>());
    ::_exit(recognizer::serve(engines));
}
