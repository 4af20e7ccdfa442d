#pragma once

#include "platform/ModelSpace.h"

#include <QString>

#include <utility>

namespace quillora::platform {

/// The room below a folder, as the disk tells.
class DiskModelSpace : public ModelSpace {
public:
    /// The folder need not be there.
    explicit DiskModelSpace(QString folder) : m_folder(std::move(folder)) {}

    qint64 used() const override;
    std::optional<qint64> free() const override;

private:
    const QString m_folder;
};

} // namespace quillora::platform
