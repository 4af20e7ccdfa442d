#pragma once

#include <QNetworkRequest>

namespace quillora::platform {

/// A request that tells nothing of the user, the computer or the installation, keeps nothing and follows no
/// redirect by itself. Every request of the program begins as one.
QNetworkRequest anonymousRequest(const QUrl &url);

} // namespace quillora::platform
