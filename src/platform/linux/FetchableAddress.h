#pragma once

#include <QUrl>

namespace quillora::platform {

/// Whether it leads to a server that is asked over HTTPS, and holds no user's name or password.
inline bool isFetchable(const QUrl &url) {
    return url.isValid() && url.scheme() == u"https" && !url.host().isEmpty() && url.userInfo().isEmpty();
}

} // namespace quillora::platform
