#pragma once

#include <QStringView>

namespace quillora::platform {

/// Whether the desktop starts this program at login. It is the desktop that remembers, and the user may say
/// otherwise there at any time, so it is asked anew each time. Main thread only.
class LoginItem {
public:
    /// What a start at login adds to the program's arguments.
    static constexpr QStringView startArgument = u"--at-login";

    virtual ~LoginItem() = default;

    virtual bool isEnabled() const = 0;

    /// Takes effect at once for `isEnabled`, which says so where the desktop does not let it.
    virtual void setEnabled(bool isEnabled) = 0;
};

} // namespace quillora::platform
