#include "platform/linux/x11/X11RunningApplication.h"

#include "platform/linux/x11/X11Windows.h"
#include "platform/linux/x11/X11Workspace.h"

#include <QTimer>

#include <algorithm>
#include <chrono>
#include <unistd.h>
#include <utility>

namespace quillora::platform {

namespace {

/// Says that the user asks for it, not the window's own program; window managers then do not refuse.
constexpr uint32_t sourceIsPager = 2;

/// A window that takes longer to come back does not get the keyboard any more: the user may be elsewhere.
constexpr std::chrono::milliseconds mappingPatience(1000);

void tellWindowManager(X11Connection &connection, xcb_window_t window, const QByteArray &request,
                       uint32_t argument, xcb_timestamp_t time) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = connection.atom(request);
    message.data.data32[0] = argument;
    message.data.data32[1] = time;
    xcb_send_event(connection.xcb(), 0, connection.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char *>(&message));
}

void askWindowManager(X11Connection &connection, xcb_window_t window) {
    const auto time = connection.serverTime().value_or(XCB_CURRENT_TIME);
    // Some window managers do not leave the desktop for a window that is to be activated.
    if (const auto desktop = X11Windows(connection).otherDesktop(window))
        tellWindowManager(connection, connection.root(), "_NET_CURRENT_DESKTOP", *desktop, time);
    tellWindowManager(connection, window, "_NET_ACTIVE_WINDOW", sourceIsPager, time);
}

void giveKeyboard(X11Connection &connection, xcb_window_t window) {
    xcb_set_input_focus(connection.xcb(), XCB_INPUT_FOCUS_PARENT, window,
                        connection.serverTime().value_or(XCB_CURRENT_TIME));
    connection.flush();
}

/// A selection takes the place of the one before, so each has what every handle on the window waits for: its
/// end.
void selectEvents(X11Connection &connection, xcb_window_t window, uint32_t more = XCB_EVENT_MASK_NO_EVENT) {
    const uint32_t eventMask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | more;
    xcb_change_window_attributes(connection.xcb(), window, XCB_CW_EVENT_MASK, &eventMask);
    connection.flush();
}

/// The server refuses the keyboard to a window that cannot be seen.
void giveKeyboardOnceItIsSeen(X11Events &events, xcb_window_t window) {
    auto &connection = events.connection();
    auto *waiting = new QObject(&events);
    const auto stopWaiting = [&connection, window, waiting] {
        selectEvents(connection, window);
        waiting->deleteLater(); // it may be what calls this
    };
    selectEvents(connection, window, XCB_EVENT_MASK_VISIBILITY_CHANGE);
    QObject::connect(&events, &X11Events::received, waiting, [=, &connection](const auto *event) {
        if (typeOf(*event) != XCB_VISIBILITY_NOTIFY ||
            as<xcb_visibility_notify_event_t>(*event).window != window)
            return;
        giveKeyboard(connection, window);
        stopWaiting();
    });
    QTimer::singleShot(mappingPatience, waiting, stopWaiting);
}

void bringForward(X11Events &events, xcb_window_t window) {
    auto &connection = events.connection();
    constexpr uint32_t onTop = XCB_STACK_MODE_ABOVE;
    const bool isSeen = X11Windows(connection).isSeen(window);
    if (!isSeen)
        giveKeyboardOnceItIsSeen(events, window);
    xcb_map_window(connection.xcb(), window);
    xcb_configure_window(connection.xcb(), window, XCB_CONFIG_WINDOW_STACK_MODE, &onTop);
    if (isSeen)
        giveKeyboard(connection, window);
}

/// Waits for a window to come to the front, tells whether it did, and goes.
class Arrival : public QObject {
public:
    Arrival(X11Events &events, xcb_window_t window, RunningApplication::Outcome outcome)
        : QObject(&events), m_connection(events.connection()), m_window(window),
          m_outcome(std::move(outcome)) {
        connect(&events, &X11Events::received, this, &Arrival::look);
        QTimer::singleShot(0, this, &Arrival::look); // it may be there already
        QTimer::singleShot(mappingPatience, this, [this] { tell(false); });
    }

private:
    void look() {
        if (X11Windows(m_connection).active() == m_window)
            tell(true);
    }

    void tell(bool isInFront) {
        const auto outcome = std::exchange(m_outcome, nullptr);
        if (!outcome)
            return;
        deleteLater();
        outcome(isInFront);
    }

    X11Connection &m_connection;
    xcb_window_t m_window;
    RunningApplication::Outcome m_outcome; ///< none once it was told
};

} // namespace

X11RunningApplication::X11RunningApplication(X11Events &events, xcb_window_t window)
    : m_events(&events), m_window(window), m_program(programOf(X11Windows(events.connection()), window)) {
    const bool isOwn = m_program.processId == static_cast<quint32>(::getpid());
    m_identifier = isOwn ? X11Workspace::ownIdentifier() : m_program.windowClass;
    watchForItsEnd();
}

/// The window's number may be another's afterwards, which says the same of its program if that runs in a
/// sandbox of the same kind.
void X11RunningApplication::watchForItsEnd() {
    if (m_window == m_events->connection().root())
        return;
    QObject::connect(m_events, &X11Events::received, &m_watch, [this](const auto *event) {
        if (typeOf(*event) == XCB_DESTROY_NOTIFY && as<xcb_destroy_notify_event_t>(*event).window == m_window)
            m_isDestroyed = true;
    });
    selectEvents(m_events->connection(), m_window);
}

void X11RunningApplication::activate(Outcome outcome) {
    const auto window = m_events ? presentWindow() : std::nullopt;
    if (!window) {
        if (outcome)
            outcome(false);
        return;
    }
    auto &connection = m_events->connection();
    if (X11Windows(connection).isActiveWindowManaged())
        askWindowManager(connection, *window);
    else
        bringForward(*m_events, *window);
    connection.flush();
    if (outcome)
        new Arrival(*m_events, *window, std::move(outcome));
}

X11RunningApplication::Program X11RunningApplication::programOf(const X11Windows &windows,
                                                                xcb_window_t window) {
    return {windows.windowClass(window), windows.machine(window), windows.processId(window)};
}

/// The number may have been another window's by the time that it was watched. Office programs change the
/// class of a window with what is in it.
bool X11RunningApplication::isStillOurs(const Program &program) const {
    if (!m_program.processId)
        return program == m_program;
    return program.processId == m_program.processId && program.machine == m_program.machine;
}

std::optional<xcb_window_t> X11RunningApplication::presentWindow() const {
    const X11Windows windows(m_events->connection());
    if (!m_isDestroyed && windows.isPresent(m_window) && isStillOurs(programOf(windows, m_window)))
        return m_window;
    if (!m_program.windowClass)
        return {}; // nothing tells it from others
    const auto all = windows.stacked();
    const auto other = std::ranges::find_if(all, [&](xcb_window_t window) {
        return window != m_window && windows.isPresent(window) && programOf(windows, window) == m_program;
    });
    if (other == all.end())
        return {};
    return *other;
}

} // namespace quillora::platform
