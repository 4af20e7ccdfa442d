#pragma once

#include "platform/HttpSession.h"

namespace quillora::test {

/// A request of the kind that the hosted engine makes, with the token "secret".
inline platform::HttpRequest authorizedPost(const QUrl &url, const QByteArray &body = "{\"text\":\"hi\"}") {
    return {.url = url,
            .method = "POST",
            .timeoutInterval = std::chrono::seconds(45),
            .headers = {{"Authorization", "Bearer secret"}, {"Content-Type", "application/json"}},
            .body = body};
}

} // namespace quillora::test
