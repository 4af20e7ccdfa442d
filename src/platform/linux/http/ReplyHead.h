#pragma once

#include <QNetworkReply>
#include <QUrl>

namespace quillora::platform {

/// Zero while no server has answered.
inline int statusOf(const QNetworkReply &reply) {
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

/// Where the answer to a request for that address says to look instead; empty if it says nothing, or what is
/// no address to the letter.
inline QUrl locationOf(const QNetworkReply &reply, const QUrl &address) {
    const auto location = QUrl::fromEncoded(reply.rawHeader("Location"), QUrl::StrictMode);
    return location.isValid() ? address.resolved(location) : QUrl();
}

} // namespace quillora::platform
