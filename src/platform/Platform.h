#pragma once

namespace quillora::platform {

class Appearance;
class FirstStart;
class HotKeys;
class HttpSession;
class KeyPositions;
class Keychain;
class KeychainAvailability;
class Keystrokes;
class LocaleServices;
class LoginItem;
class MainQueue;
class Microphone;
class ModelConsent;
class ModelRoutes;
class ModelSpace;
class ModelStore;
class Notifications;
class OwnWindows;
class Pasteboard;
class SpeechPermissions;
class SpeechRecognizers;
class Translators;
class Tray;
class UserDefaults;
class WebPages;
class Workspace;

/// Everything the program asks of the desktop, in one place. Main thread only, but for `mainQueue`.
///
/// This is the program's only global: the stateless namespaces need to reach it. `main` installs the real
/// one, a test installs its own.
class Platform {
public:
    virtual ~Platform();

    /// The installed platform; there must be one.
    static Platform &current();

    /// Installs a platform for as long as it lives; what was installed before comes back after it.
    class Scope {
    public:
        explicit Scope(Platform &platform);
        ~Scope();
        Scope(const Scope &) = delete;
        Scope &operator=(const Scope &) = delete;

    private:
        Platform *m_previous;
    };

    virtual MainQueue &mainQueue() = 0;
    virtual UserDefaults &userDefaults() = 0;
    virtual Keychain &keychain() = 0;
    virtual KeychainAvailability &keychainAvailability() = 0;
    virtual LocaleServices &localeServices() = 0;
    virtual Workspace &workspace() = 0;
    virtual OwnWindows &ownWindows() = 0;
    virtual Pasteboard &pasteboard() = 0;
    virtual Keystrokes &keystrokes() = 0;
    virtual HotKeys &hotKeys() = 0;
    virtual KeyPositions &keyPositions() = 0;
    virtual Appearance &appearance() = 0;
    virtual Notifications &notifications() = 0;
    virtual LoginItem &loginItem() = 0;
    virtual Tray &tray() = 0;
    virtual SpeechPermissions &speechPermissions() = 0;
    virtual Microphone &microphone() = 0;
    virtual SpeechRecognizers &speechRecognizers() = 0;
    virtual Translators &translators() = 0;
    virtual HttpSession &httpSession() = 0;
    virtual ModelStore &modelStore() = 0;
    virtual ModelRoutes &modelRoutes() = 0;
    virtual ModelConsent &modelConsent() = 0;
    virtual ModelSpace &modelSpace() = 0;
    virtual FirstStart &firstStart() = 0;
    virtual WebPages &webPages() = 0;
};

} // namespace quillora::platform
