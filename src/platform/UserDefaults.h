#pragma once

#include <QString>

#include <optional>

namespace quillora::platform {

/// The user's settings, which outlive the run. Main thread only.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    /// Nothing if the key was never written.
    virtual std::optional<QString> string(const QString &key) const = 0;

    /// Takes effect at once for `string`; reaches the disk as a whole or not at all.
    virtual void setString(const QString &value, const QString &key) = 0;
};

} // namespace quillora::platform
