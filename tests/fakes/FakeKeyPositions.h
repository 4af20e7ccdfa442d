#pragma once

#include "platform/KeyPositions.h"

namespace quillora::test {

/// A keyboard whose scan codes are those of the key codes, moved up by 1000: no code can be mistaken for the
/// other.
class FakeKeyPositions : public platform::KeyPositions {
public:
    static constexpr quint32 scanCode(quint32 keyCode) { return keyCode + 1000; }

    std::optional<quint32> keyCode(quint32 nativeScanCode) const override {
        if (nativeScanCode < 1000 || nativeScanCode > 1127)
            return {};
        return nativeScanCode - 1000;
    }
};

} // namespace quillora::test
