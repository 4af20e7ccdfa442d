#pragma once

#include "fakes/CallLog.h"
#include "platform/Keystrokes.h"

#include <functional>

namespace quillora::test {

/// A keyboard that nobody else types on: like the real one it presses a whole chord at once and holds
/// nothing.
class FakeKeystrokes : public platform::Keystrokes {
public:
    explicit FakeKeystrokes(CallLog &log) : m_log(log) {}

    bool isTrusted() override { return isTrustGranted; }
    bool isTrustedWithPrompt() override {
        m_log.add(u"keystrokes.prompt"_qs);
        isTrustGranted |= isTrustGrantedWhenAsked;
        return isTrustGranted;
    }
    std::unique_ptr<platform::KeyEventSource> createSource(platform::KeyEventSourceState) override {
        return canCreateSource ? std::make_unique<platform::KeyEventSource>() : nullptr;
    }
    std::optional<platform::KeyEvent> createKeyboardEvent(platform::KeyEventSource *, quint16 keyCode,
                                                          bool isDown) override {
        if (isDown ? !canCreateKeyDown : !canCreateKeyUp)
            return {};
        return platform::KeyEvent{keyCode, isDown, 0};
    }
    void post(platform::KeyEventTap tap, const platform::KeyEvent &event) override {
        m_log.add(u"keystrokes.post %1 %2 flags=0x%3 tap=%4"_qs.arg(event.isDown ? u"down"_qs : u"up"_qs)
                      .arg(event.keyCode)
                      .arg(event.flags, 0, 16)
                      .arg(static_cast<quint32>(tap)));
        if (!event.isDown || event.keyCode != ansiVKeyCode || event.flags != platform::commandKeyFlag)
            return;
        ++m_pasteCount;
        if (onPaste)
            onPaste();
    }

    /// How often the program in front has been asked to paste.
    int pasteCount() const { return m_pasteCount; }

    bool isTrustGranted = true;
    bool isTrustGrantedWhenAsked = false; ///< by the user, at the prompt
    bool canCreateSource = true;
    bool canCreateKeyDown = true;
    bool canCreateKeyUp = true;
    std::function<void()> onPaste; ///< what the program in front does

private:
    static constexpr quint16 ansiVKeyCode = 9;

    CallLog &m_log;
    int m_pasteCount = 0;
};

} // namespace quillora::test
