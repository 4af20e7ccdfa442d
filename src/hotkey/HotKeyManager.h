#pragma once

#include "hotkey/AppHotKey.h"
#include "platform/HotKeys.h"

#include <functional>
#include <memory>

namespace quillora {

/// Makes one hotkey a system-wide shortcut and reports its presses and releases. At most one is registered at
/// a time. Main thread only.
class HotKeyManager {
public:
    enum class Event { pressed, released };
    using Handler = std::function<void(Event)>;
    using OutcomeHandler = std::function<void(const AppHotKey &, const platform::HotKeyOutcome &)>;

    /// Both are called on the main thread and must return quickly.
    ///
    /// The handler is called from the event loop, or, with the release of a hotkey that is down, from within
    /// the call that replaces or unregisters it; in that of a replacement it must neither register another
    /// nor end this object. The outcome handler is called from the event loop with what becomes of the
    /// registered hotkey after its registration, and may do either. One that is refused is no longer
    /// registered then; one that is lost still is, and may be had again.
    explicit HotKeyManager(
        Handler handler,
        OutcomeHandler outcomeHandler = [](const AppHotKey &, const platform::HotKeyOutcome &) {});
    ~HotKeyManager();
    HotKeyManager(const HotKeyManager &) = delete;
    HotKeyManager &operator=(const HotKeyManager &) = delete;

    /// Replaces whatever was registered. On failure nothing is registered any more.
    bool registerHotKey(const AppHotKey &hotKey);

    /// Safe to call when nothing is registered.
    void unregister();

private:
    platform::HotKeyListener listener(const AppHotKey &hotKey);

    Handler m_handler;
    OutcomeHandler m_outcomeHandler;
    std::unique_ptr<platform::TakenHotKey> m_hotKey;
};

} // namespace quillora
