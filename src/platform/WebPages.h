#pragma once

class QUrl;

namespace quillora::platform {

/// Pages of the web, as the user's own browser shows them. Main thread only.
class WebPages {
public:
    virtual ~WebPages() = default;

    /// Has the desktop show the page, and waits neither for a browser nor for the network. False, and nothing
    /// is done, if the address is not one of HTTPS without a password, or nothing here shows pages.
    [[nodiscard]] virtual bool open(const QUrl &address) = 0;
};

} // namespace quillora::platform
