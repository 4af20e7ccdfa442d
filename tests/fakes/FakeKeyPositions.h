#pragma once

#include "platform/KeyPositions.h"

#include <map>

namespace quillora::test {

class FakeKeyPositions : public platform::KeyPositions {
public:
    std::optional<quint32> keyCode(quint32 nativeScanCode) const override {
        const auto found = keyCodes.find(nativeScanCode);
        return found != keyCodes.end() ? std::optional(found->second) : std::nullopt;
    }

    std::map<quint32, quint32> keyCodes; ///< by native scan code
};

} // namespace quillora::test
