#pragma once

#include <QtGlobal>

#include <optional>

namespace quillora::platform {

/// The room that models take. Main thread only.
class ModelSpace {
public:
    virtual ~ModelSpace() = default;

    /// Bytes of the user's own models on disk, with what has been downloaded of others.
    virtual qint64 used() const = 0;

    /// Bytes that are free where they lie; none if that cannot be told.
    virtual std::optional<qint64> free() const = 0;
};

} // namespace quillora::platform
