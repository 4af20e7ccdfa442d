#pragma once

#include "hotkey/AppHotKey.h"
#include "platform/HotKeyEvents.h"

#include <functional>
#include <memory>
#include <optional>

namespace quillora {

/// Makes one hotkey a system-wide shortcut and reports its presses and releases. At most one is registered at
/// a time. Main thread only.
class HotKeyManager {
public:
    enum class Event { pressed, released };
    using Handler = std::function<void(Event)>;

    /// The handler is called on the main thread and must return quickly: from the event loop, or, with the
    /// release of a hotkey that is down, from within the call that replaces or unregisters it; in that of a
    /// replacement it must neither register another nor end this object.
    explicit HotKeyManager(Handler handler);
    ~HotKeyManager();
    HotKeyManager(const HotKeyManager &) = delete;
    HotKeyManager &operator=(const HotKeyManager &) = delete;

    /// Replaces whatever was registered. On failure nothing is registered any more.
    bool registerHotKey(const AppHotKey &hotKey);

    /// Safe to call when nothing is registered.
    void unregister();

private:
    static platform::HotKeyEvents::Status handle(const std::shared_ptr<Handler> &handler,
                                                 const platform::HotKeyEvent *event);

    std::shared_ptr<Handler> m_handler; ///< shared, so that it survives a callback that ends this object
    std::optional<platform::EventHandlerReference> m_eventHandlerReference;
    std::optional<platform::HotKeyReference> m_hotKeyReference;
};

} // namespace quillora
