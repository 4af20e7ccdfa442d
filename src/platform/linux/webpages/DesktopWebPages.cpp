#include "platform/linux/webpages/DesktopWebPages.h"

#include "platform/linux/FetchableAddress.h"

#include <QDesktopServices>

namespace quillora::platform {

/// What opens addresses opens files and starts programs, too: addresses come out of files that others write.
bool DesktopWebPages::open(const QUrl &address) {
    return isFetchable(address) && QDesktopServices::openUrl(address);
}

} // namespace quillora::platform
