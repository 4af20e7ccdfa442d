#pragma once

#include "platform/linux/models/Checksum.h"
#include "platform/linux/models/ModelFault.h"

#include <QString>

namespace quillora::platform {

/// What may come out of a file. It is a stranger's, and says of itself what it likes.
struct UnpackingLimits {
    qint64 mostBytes = qint64{8} << 30;
    int mostEntries = 1000;
    qint64 mostTimesItsSize = 200; ///< beyond the first MiB
};

/// Unpacks a tar or zip archive, compressed or not, below an empty folder: files and folders, nothing else.
/// Every file is on the disk when it returns the checksums of what it wrote. Throws a ModelFault at the first
/// entry that is anything else, leads out of the folder, or whose name some file system takes for another's,
/// and where a limit is passed; what has come out until then lies in the folder, and is to be thrown away
/// with it.
Checksums unpackArchive(const QString &archive, const QString &folder, const UnpackingLimits &limits,
                        const IsUnwanted &isUnwanted);

/// Unpacks a single gzip file to a file that is not there yet, in the same way, and returns its checksum.
QByteArray unpackGzip(const QString &packed, const QString &target, const UnpackingLimits &limits,
                      const IsUnwanted &isUnwanted);

} // namespace quillora::platform
