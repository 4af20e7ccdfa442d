#pragma once

#include "recognizer/Decoder.h"

namespace quillora::recognizer {

/// PocketSphinx. A model is an acoustic model (a folder), a language model and a dictionary. Texts come in
/// lower case and without punctuation.
class PocketSphinxEngine : public Engine {
public:
    std::string name() const override { return "pocketsphinx"; }
    std::unique_ptr<Decoder> load(const Open &model) const override;
};

} // namespace quillora::recognizer
