#pragma once

#include "platform/ModelSpace.h"

namespace quillora::test {

class FakeModelSpace : public platform::ModelSpace {
public:
    qint64 used() const override {
        ++questions;
        return usedBytes;
    }
    std::optional<qint64> free() const override { return freeBytes; }

    qint64 usedBytes = 0;
    std::optional<qint64> freeBytes = 12'000'000'000;
    mutable int questions = 0; ///< how often it was asked what is used
};

} // namespace quillora::test
