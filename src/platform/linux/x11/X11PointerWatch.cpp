#include "platform/linux/x11/X11PointerWatch.h"

#include "platform/linux/X11ToolkitConnection.h"

#include <QCoreApplication>

#include <utility>
#include <xcb/xinput.h>

namespace quillora::platform {

namespace {

constexpr uint32_t firstWheelButton = 4;
constexpr uint32_t lastWheelButton = 7;

/// The number that the server has given to the extension; 0 if it has none.
uint8_t inputExtension() {
    auto *connection = toolkitConnection();
    const auto *extension = connection ? xcb_get_extension_data(connection, &xcb_input_id) : nullptr;
    return extension && extension->present ? extension->major_opcode : uint8_t{0};
}

/// Raw events go to everybody who wants them, also while somebody has grabbed the pointer.
void selectRawPresses(uint32_t events) {
    if (!inputExtension()) // the request would end the connection
        return;
    auto *connection = toolkitConnection();
    struct {
        xcb_input_event_mask_t head;
        uint32_t events;
    } const mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, events};
    xcb_input_xi_select_events(connection, toolkitScreen()->root, 1, &mask.head);
    xcb_flush(connection);
}

bool isRawPress(const xcb_generic_event_t &event) {
    if ((event.response_type & 0x7f) != XCB_GE_GENERIC)
        return false;
    const auto &generic = reinterpret_cast<const xcb_ge_generic_event_t &>(event);
    return generic.extension == inputExtension() && generic.event_type == XCB_INPUT_RAW_BUTTON_PRESS;
}

} // namespace

X11PointerWatch::X11PointerWatch(std::function<void()> pressed) : m_pressed(std::move(pressed)) {
    qApp->installNativeEventFilter(this);
    selectRawPresses(XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS);
}

X11PointerWatch::~X11PointerWatch() { selectRawPresses(0); }

bool X11PointerWatch::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *) {
    if (eventType != "xcb_generic_event_t" || !message)
        return false;
    const auto &event = *static_cast<const xcb_generic_event_t *>(message);
    if (!isRawPress(event))
        return false;
    const uint32_t button = reinterpret_cast<const xcb_input_raw_button_press_event_t &>(event).detail;
    if (button < firstWheelButton || button > lastWheelButton) {
        const auto pressed = m_pressed; // which may end this watch
        pressed();
    }
    return true;
}

} // namespace quillora::platform
