#pragma once

#include "platform/FirstStart.h"

namespace quillora::test {

class FakeFirstStart : public platform::FirstStart {
public:
    bool isOver() const override { return wasEnded; }
    void end() override { wasEnded = true; }

    bool wasEnded = false;
};

} // namespace quillora::test
