#pragma once

#include "recognizer/Decoder.h"

namespace quillora::test {

/// An engine that tries what a recognizer must not do, in a folder that is its model, and whose text is a
/// list of what it could do.
class ProbeEngine : public recognizer::Engine {
public:
    std::string name() const override { return "probe"; }
    std::unique_ptr<recognizer::Decoder> load(const recognizer::Open &model) const override;
};

} // namespace quillora::test
