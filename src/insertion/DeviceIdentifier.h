#pragma once

#include <QString>

namespace quillora {

/// What tells this installation from others to the hosted backend: random, and the same for as long as the
/// keychain keeps it.
class DeviceIdentifier {
public:
    DeviceIdentifier() = delete;

    /// The stored identifier, made and stored at the first call: two UUIDs in upper case, joined by a hyphen.
    static QString current();
};

} // namespace quillora
