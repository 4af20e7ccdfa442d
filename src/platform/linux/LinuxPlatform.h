#pragma once

#include "platform/ModelRoutes.h"
#include "platform/Platform.h"

#include <memory>

namespace quillora::platform {

/// The Linux desktop: its session, PulseAudio or PipeWire, the Secret Service, PocketSphinx, Apertium and
/// models.
///
/// It opens its connections at construction, on the main thread, and in the background loads the recognizer's
/// model. Whatever is missing counts as absent until it comes. The application object must exist already.
class LinuxPlatform : public Platform {
public:
    LinuxPlatform();
    /// Leaves the desktop in good order, as `ProgramEnd` does when the desktop goes away.
    ~LinuxPlatform() override;

    MainQueue &mainQueue() override;
    UserDefaults &userDefaults() override;
    Keychain &keychain() override;
    KeychainAvailability &keychainAvailability() override;
    LocaleServices &localeServices() override;
    Workspace &workspace() override;
    OwnWindows &ownWindows() override;
    Pasteboard &pasteboard() override;
    Keystrokes &keystrokes() override;
    HotKeys &hotKeys() override;
    KeyPositions &keyPositions() override;
    Appearance &appearance() override;
    Notifications &notifications() override;
    LoginItem &loginItem() override;
    Tray &tray() override;
    SpeechPermissions &speechPermissions() override;
    Microphone &microphone() override;
    SpeechRecognizers &speechRecognizers() override;
    Translators &translators() override;
    HttpSession &httpSession() override;
    ModelStore &modelStore() override;
    ModelRoutes &modelRoutes() override;
    ModelConsent &modelConsent() override;
    ModelSpace &modelSpace() override;
    FirstStart &firstStart() override;
    WebPages &webPages() override;

private:
    struct Facilities;
    std::unique_ptr<Facilities> m_facilities;
};

} // namespace quillora::platform
