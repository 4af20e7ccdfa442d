#pragma once

#include "platform/HotKeys.h"
#include "platform/Keystrokes.h"
#include "platform/OwnWindows.h"
#include "platform/Workspace.h"
#include "platform/linux/DesktopSession.h"
#include "platform/linux/plain/FocusedPasteboard.h"

namespace quillora::platform {

/// A desktop that lets programs do nothing beyond their own windows: no hotkey can be had, no keystroke is
/// synthesised, no other program is known of, and a text is copied only where the user is at work in a window
/// of ours.
class PlainSession final : public DesktopSession {
public:
    HotKeys &hotKeys() override { return m_hotKeys; }
    Keystrokes &keystrokes() override { return m_keystrokes; }
    OwnWindows &ownWindows() override { return m_ownWindows; }
    Pasteboard &pasteboard() override { return m_pasteboard; }
    Workspace &workspace() override { return m_workspace; }
    void leave() override {}
    const char *lossReason() override { return "the desktop has closed a connection"; }

private:
    class NoHotKeys final : public HotKeys {
    public:
        std::unique_ptr<TakenHotKey> take(const KeyCombination &, HotKeyListener) override { return nullptr; }
        std::unique_ptr<HotKeySuspension> suspend() override { return std::make_unique<HotKeySuspension>(); }
    };

    class NoKeystrokes final : public Keystrokes {
    public:
        bool isTrusted() override { return false; }
        bool isTrustedWithPrompt() override { return false; }
        void setTrustObserver(TrustObserver) override {}
        void postPasteChord(const Condition &, Outcome outcome) override { outcome(false); }
    };

    class PlainOwnWindows final : public OwnWindows {
    public:
        bool canPlace() const override { return false; }
        void keepOutOfTaskBars(QWindow &) override {}
        std::unique_ptr<PointerWatch> watchPointer(std::function<void()>) override {
            return std::make_unique<PointerWatch>();
        }
    };

    class NoWorkspace final : public Workspace {
    public:
        std::optional<QString> mainBundleIdentifier() const override { return {}; }
        RunningApplicationHandle frontmostApplication() const override { return nullptr; }
        void yieldFocus() override {}
        ObserverToken addActivationObserver(ActivationObserver) override { return ++m_lastToken; }
        void removeActivationObserver(ObserverToken) override {}

    private:
        ObserverToken m_lastToken = 0;
    };

    NoHotKeys m_hotKeys;
    NoKeystrokes m_keystrokes;
    PlainOwnWindows m_ownWindows;
    FocusedPasteboard m_pasteboard;
    NoWorkspace m_workspace;
};

} // namespace quillora::platform
