#include "platform/linux/x11/X11Events.h"

#include <utility>

namespace quillora::platform {

namespace {
constexpr uint8_t errorType = 0;
}

X11Events::X11Events(X11Connection &connection) : m_connection(connection) {
    if (!connection.isUsable())
        return;
    connection.setReadObserver([this] { dispatchLater(); });
    m_notifier.emplace(connection.fileDescriptor(), QSocketNotifier::Read);
    connect(&*m_notifier, &QSocketNotifier::activated, this, &X11Events::dispatch);
    dispatchLater(); // what has been read before
}

X11Events::~X11Events() { m_connection.setReadObserver({}); }

void X11Events::selectRootEvents(uint32_t eventMask) {
    m_rootEventMask |= eventMask;
    xcb_change_window_attributes(m_connection.xcb(), m_connection.root(), XCB_CW_EVENT_MASK,
                                 &m_rootEventMask);
    m_connection.flush();
}

void X11Events::dispatch() {
    m_isDispatchPending = false;
    while (const auto event = m_connection.arrivedEvent()) {
        if (event->response_type != errorType)
            Q_EMIT received(event.get());
    }
    if (!m_connection.isUsable() && m_notifier->isEnabled()) {
        m_notifier->setEnabled(false); // a closed socket stays readable for ever
        Q_EMIT lost();
    }
}

void X11Events::dispatchLater() {
    if (std::exchange(m_isDispatchPending, true))
        return;
    QMetaObject::invokeMethod(this, &X11Events::dispatch, Qt::QueuedConnection);
}

} // namespace quillora::platform
