#include "platform/linux/x11/X11Workspace.h"

#include "platform/linux/x11/X11RunningApplication.h"
#include "platform/linux/x11/X11Windows.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

X11Workspace::X11Workspace(X11Events &events) : m_events(events), m_connection(events.connection()) {
    connect(&events, &X11Events::received, this, &X11Workspace::handle);
    events.selectRootEvents(XCB_EVENT_MASK_PROPERTY_CHANGE);
}

QString X11Workspace::ownIdentifier() { return u"Quillora"_s; }

RunningApplicationHandle X11Workspace::frontmostApplication() const {
    const auto window = X11Windows(m_connection).active();
    if (!window)
        return {};
    return std::make_shared<X11RunningApplication>(m_events, *window);
}

Workspace::ObserverToken X11Workspace::addActivationObserver(ActivationObserver observer) {
    m_observers.emplace(++m_lastToken, std::move(observer));
    return m_lastToken;
}

void X11Workspace::removeActivationObserver(ObserverToken token) { m_observers.erase(token); }

void X11Workspace::handle(const xcb_generic_event_t *event) {
    if (typeOf(*event) != XCB_PROPERTY_NOTIFY)
        return;
    const auto &change = as<xcb_property_notify_event_t>(*event);
    if (change.window == m_connection.root() && change.atom == m_connection.atom("_NET_ACTIVE_WINDOW"))
        reportActivation();
}

void X11Workspace::reportActivation() {
    // Window managers change the property several times on the way from one window to the next.
    const auto window = X11Windows(m_connection).active();
    if (std::exchange(m_reportedWindow, window) == window || !window)
        return;
    const auto application = std::make_shared<X11RunningApplication>(m_events, *window);
    const auto observers = m_observers; // an observer may add or remove some
    for (const auto &[token, observer] : observers) {
        if (m_observers.contains(token))
            observer(application);
    }
}

} // namespace quillora::platform
