#pragma once

#include "platform/Workspace.h"
#include "platform/linux/x11/X11Events.h"

#include <QPointer>

namespace quillora::platform {

class X11Windows;

/// The program behind a top-level window, remembered as it was when the window was seen.
class X11RunningApplication final : public RunningApplication {
public:
    X11RunningApplication(X11Events &events, xcb_window_t window);

    /// The window's class; this program's own identifier for any window of this process.
    std::optional<QString> bundleIdentifier() const override { return m_identifier; }

    /// Raises the window, from an icon or another desktop too, and gives it the keyboard. A window that was
    /// closed is stood in for by the topmost other one of its program, be it that it is destroyed, that its
    /// program keeps it hidden, or that its number is another's now.
    void activate(Outcome outcome) override;

private:
    /// Tells programs from one another as well as windows do. The process alone would not: another sandbox or
    /// machine has one of that number too.
    struct Program {
        std::optional<QString> windowClass;
        QByteArray machine;
        std::optional<quint32> processId;

        bool operator==(const Program &) const = default;
    };

    void watchForItsEnd();
    static Program programOf(const X11Windows &windows, xcb_window_t window);
    bool isStillOurs(const Program &program) const;
    std::optional<xcb_window_t> presentWindow() const;

    QPointer<X11Events> m_events;
    xcb_window_t m_window;
    Program m_program;
    std::optional<QString> m_identifier;
    bool m_isDestroyed = false;
    QObject m_watch; ///< ends with this
};

} // namespace quillora::platform
