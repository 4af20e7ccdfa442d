#include "hotkey/HotKeyManager.h"

#include "platform/Platform.h"

#include <utility>

namespace quillora {

using platform::HotKeyEvents;
using platform::HotKeyIdentifier;

namespace {
constexpr quint32 hotKeyNumber = 1;
constexpr quint32 noOptions = 0;

// The mask is handed on as it stands, so both sides must read it alike.
static_assert(AppHotKey::controlKey == platform::controlModifier &&
              AppHotKey::optionKey == platform::optionModifier &&
              AppHotKey::shiftKey == platform::shiftModifier &&
              AppHotKey::cmdKey == platform::commandModifier);
} // namespace

HotKeyManager::HotKeyManager(Handler handler) : m_handler(std::make_shared<Handler>(std::move(handler))) {}

HotKeyManager::~HotKeyManager() { unregister(); }

bool HotKeyManager::registerHotKey(const AppHotKey &hotKey) {
    unregister();

    auto &events = platform::Platform::current().hotKeyEvents();
    const auto installed = events.installEventHandler(
        [handler = m_handler](const platform::HotKeyEvent *event) { return handle(handler, event); },
        {{platform::keyboardEventClass, platform::hotKeyPressedKind},
         {platform::keyboardEventClass, platform::hotKeyReleasedKind}},
        m_eventHandlerReference);
    if (installed != HotKeyEvents::noError)
        return false;

    constexpr HotKeyIdentifier identifier{platform::fourCharacterCode("QLRA"), hotKeyNumber};
    const auto registered = events.registerEventHotKey(hotKey.keyCode, hotKey.modifiers, identifier,
                                                       noOptions, m_hotKeyReference);
    if (registered != HotKeyEvents::noError) {
        unregister();
        return false;
    }
    return true;
}

void HotKeyManager::unregister() {
    auto &events = platform::Platform::current().hotKeyEvents();
    const auto hotKey = std::exchange(m_hotKeyReference, std::nullopt);
    const auto handler = std::exchange(m_eventHandlerReference, std::nullopt);
    if (hotKey)
        events.unregisterEventHotKey(*hotKey); // which may call the handler, which may end this object
    if (handler)
        events.removeEventHandler(*handler);
}

HotKeyEvents::Status HotKeyManager::handle(const std::shared_ptr<Handler> &handler,
                                           const platform::HotKeyEvent *event) {
    if (!event)
        return HotKeyEvents::noError;
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the callback may end what `handler` is in.
    const auto alive = handler;
    const HotKeyIdentifier identifier = event->directObject.value_or(HotKeyIdentifier{});
    if (identifier.number != hotKeyNumber)
        return HotKeyEvents::noError;
    if (event->kind == platform::hotKeyPressedKind)
        (*alive)(Event::pressed);
    else if (event->kind == platform::hotKeyReleasedKind)
        (*alive)(Event::released);
    return HotKeyEvents::noError;
}

} // namespace quillora
