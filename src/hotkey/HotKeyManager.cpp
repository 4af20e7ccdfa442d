#include "hotkey/HotKeyManager.h"

#include "platform/Platform.h"

#include <utility>

namespace quillora {

// The mask is handed on as it stands, so both sides must read it alike.
static_assert(AppHotKey::controlKey == platform::controlModifier &&
              AppHotKey::optionKey == platform::optionModifier &&
              AppHotKey::shiftKey == platform::shiftModifier &&
              AppHotKey::cmdKey == platform::commandModifier);

HotKeyManager::HotKeyManager(Handler handler, OutcomeHandler outcomeHandler)
    : m_handler(std::move(handler)), m_outcomeHandler(std::move(outcomeHandler)) {}

HotKeyManager::~HotKeyManager() { unregister(); }

bool HotKeyManager::registerHotKey(const AppHotKey &hotKey) {
    unregister();
    m_hotKey =
        platform::Platform::current().hotKeys().take({hotKey.keyCode, hotKey.modifiers}, listener(hotKey));
    return m_hotKey != nullptr;
}

void HotKeyManager::unregister() {
    // It may call the handler, which may end this object.
    const auto givenBack = std::exchange(m_hotKey, nullptr);
}

/// With handlers of their own, since each may end this object.
platform::HotKeyListener HotKeyManager::listener(const AppHotKey &hotKey) {
    return {.pressed = [handler = m_handler] { handler(Event::pressed); },
            .released = [handler = m_handler] { handler(Event::released); },
            .outcome =
                [this, handler = m_outcomeHandler, hotKey](const platform::HotKeyOutcome &outcome) {
                    if (outcome.kind == platform::HotKeyOutcome::Kind::refused)
                        unregister();
                    handler(hotKey, outcome);
                }};
}

} // namespace quillora
