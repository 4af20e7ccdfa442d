#pragma once

#include "recognizer/Decoder.h"

#include <map>

namespace quillora::test {

/// An engine that understands the sounds of FakeSpeech, and fails as its model says.
///
/// The model is a file; each line of it has a word's number, or "load", and what happens then: missing,
/// damaged, version, error, exit, crash, kill, hang, memory or garbage; an answer that nobody waits for, as
/// ready, refused, finished or tried; full, as an utterance that would take too long to decode: it ends
/// early without that word; or revise: it is heard as "v" and its number until the next word begins. It is
/// read when the model is loaded.
class FakeEngine : public recognizer::Engine {
public:
    std::string name() const override { return "fake"; }
    std::vector<std::string> ownFiles() const override { return {"/nonexistent/library"}; }
    std::unique_ptr<recognizer::Decoder> load(const recognizer::Open &model) const override;
};

/// Sounds that FakeEngine understands: samples of a value n are the word "wn", zeros are silence.
namespace FakeSpeech {

std::vector<std::int16_t> word(int number, int milliseconds = 200);
std::vector<std::int16_t> silence(int milliseconds);

/// Words with short gaps between them.
std::vector<std::int16_t> words(int first, int last);

/// "w1 w2 w3"
std::string text(int first, int last);

} // namespace FakeSpeech

} // namespace quillora::test
