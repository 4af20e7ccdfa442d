#pragma once

#include "fakes/CallLog.h"
#include "platform/Keystrokes.h"

#include <functional>

namespace quillora::test {

class FakeKeystrokes : public platform::Keystrokes {
public:
    explicit FakeKeystrokes(CallLog &log) : m_log(log) {}

    bool isTrusted() override { return isTrustGranted; }
    bool isTrustedWithPrompt() override {
        m_log.add(u"keystrokes.prompt"_qs);
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
        if (onPost)
            onPost(event);
    }

    bool isTrustGranted = true;
    bool canCreateSource = true;
    bool canCreateKeyDown = true;
    bool canCreateKeyUp = true;
    std::function<void(const platform::KeyEvent &)> onPost;

private:
    CallLog &m_log;
};

} // namespace quillora::test
