#pragma once

#include "platform/WebPages.h"

namespace quillora::platform {

/// Hands addresses to what the desktop has for them (xdg-open).
class DesktopWebPages final : public WebPages {
public:
    bool open(const QUrl &address) override;
};

} // namespace quillora::platform
