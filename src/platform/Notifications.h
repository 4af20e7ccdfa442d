#pragma once

#include <QString>

namespace quillora::platform {

/// Plain text. The desktop may log it, and show it while the screen is locked, so it holds nothing that was
/// said or typed.
struct Notification {
    QString summary; ///< a few words
    QString body;    ///< a sentence or two

    bool operator==(const Notification &) const = default;
};

/// What the desktop shows to whoever does not look at the program. Main thread only.
class Notifications {
public:
    virtual ~Notifications() = default;

    /// Returns at once. Where the desktop shows no notifications, nothing happens.
    virtual void show(const Notification &notification) = 0;
};

} // namespace quillora::platform
