#pragma once

#include "platform/Workspace.h"
#include "platform/linux/x11/X11Events.h"

#include <map>

namespace quillora::platform {

/// The programs of an X11 session, each known by the class of its windows.
///
/// Activations are reported by window managers that keep _NET_ACTIVE_WINDOW, which is nearly all of them;
/// without one, the frontmost application is still told from the keyboard focus.
class X11Workspace final : public QObject, public Workspace {
public:
    /// `events` must outlive this object, but not the application handles.
    explicit X11Workspace(X11Events &events);

    /// The class that this program's own windows bear.
    static QString ownIdentifier();

    std::optional<QString> mainBundleIdentifier() const override { return ownIdentifier(); }
    RunningApplicationHandle frontmostApplication() const override;
    void yieldFocus() override {}
    ObserverToken addActivationObserver(ActivationObserver observer) override;
    void removeActivationObserver(ObserverToken token) override;

private:
    void handle(const xcb_generic_event_t *event);
    void reportActivation();

    X11Events &m_events;
    X11Connection &m_connection;
    std::map<ObserverToken, ActivationObserver> m_observers;
    ObserverToken m_lastToken = 0;
    std::optional<xcb_window_t> m_reportedWindow;
};

} // namespace quillora::platform
