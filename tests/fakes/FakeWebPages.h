#pragma once

#include "platform/WebPages.h"

#include <QList>
#include <QUrl>

namespace quillora::test {

class FakeWebPages : public platform::WebPages {
public:
    bool open(const QUrl &address) override {
        const bool isShown = hasBrowser && address.scheme() == u"https" && !address.host().isEmpty() &&
                             address.userInfo().isEmpty();
        if (isShown)
            shown += address;
        return isShown;
    }

    bool hasBrowser = true;
    QList<QUrl> shown; ///< oldest first
};

} // namespace quillora::test
