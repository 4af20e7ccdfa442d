#pragma once

#include "fakes/FakeAppearance.h"
#include "fakes/FakeFirstStart.h"
#include "fakes/FakeHotKeys.h"
#include "fakes/FakeHttpSession.h"
#include "fakes/FakeKeyPositions.h"
#include "fakes/FakeKeychain.h"
#include "fakes/FakeKeychainAvailability.h"
#include "fakes/FakeKeystrokes.h"
#include "fakes/FakeLocaleServices.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/FakeMainQueue.h"
#include "fakes/FakeMicrophone.h"
#include "fakes/FakeModelConsent.h"
#include "fakes/FakeModelRoutes.h"
#include "fakes/FakeModelSpace.h"
#include "fakes/FakeModelStore.h"
#include "fakes/FakeNotifications.h"
#include "fakes/FakeOwnWindows.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeSpeechPermissions.h"
#include "fakes/FakeSpeechRecognizers.h"
#include "fakes/FakeTranslators.h"
#include "fakes/FakeTray.h"
#include "fakes/FakeUserDefaults.h"
#include "fakes/FakeWebPages.h"
#include "fakes/FakeWorkspace.h"
#include "platform/Platform.h"

namespace quillora::test {

/// A whole desktop made of fakes, installed for as long as it lives.
class FakePlatform : public platform::Platform {
public:
    CallLog log;
    FakeMainQueue queue;
    FakeUserDefaults defaults{log};
    FakeKeychain keychainFake{log};
    FakeKeychainAvailability keychainAvailabilityFake{keychainFake};
    FakeLocaleServices locale;
    FakeWorkspace workspaceFake{log};
    FakeOwnWindows ownWindowsFake;
    FakePasteboard pasteboardFake{log};
    FakeKeystrokes keystrokesFake{log};
    FakeHotKeys hotKeysFake{log, queue};
    FakeSpeechPermissions permissions{log, queue};
    FakeMicrophone microphoneFake{log, queue};
    FakeSpeechRecognizers speech{log};
    FakeModelConsent consent{log, queue};
    FakeTranslators translation{log, queue};
    FakeHttpSession http{log, queue};
    FakeModelStore models{log, queue};
    FakeModelRoutes routes{models};
    FakeModelSpace space;
    FakeFirstStart firstStartFake;
    FakeKeyPositions positions;
    FakeAppearance appearanceFake;
    FakeNotifications notificationsFake{log};
    FakeLoginItem loginItemFake;
    FakeTray trayFake;
    FakeWebPages webPagesFake;

    platform::MainQueue &mainQueue() override { return queue; }
    platform::UserDefaults &userDefaults() override { return defaults; }
    platform::Keychain &keychain() override { return keychainFake; }
    platform::KeychainAvailability &keychainAvailability() override { return keychainAvailabilityFake; }
    platform::LocaleServices &localeServices() override { return locale; }
    platform::Workspace &workspace() override { return workspaceFake; }
    platform::OwnWindows &ownWindows() override { return ownWindowsFake; }
    platform::Pasteboard &pasteboard() override { return pasteboardFake; }
    platform::Keystrokes &keystrokes() override { return keystrokesFake; }
    platform::HotKeys &hotKeys() override { return hotKeysFake; }
    platform::SpeechPermissions &speechPermissions() override { return permissions; }
    platform::Microphone &microphone() override { return microphoneFake; }
    platform::SpeechRecognizers &speechRecognizers() override { return speech; }
    platform::Translators &translators() override { return translation; }
    platform::ModelConsent &modelConsent() override { return consent; }
    platform::HttpSession &httpSession() override { return http; }
    platform::ModelStore &modelStore() override { return models; }
    platform::ModelRoutes &modelRoutes() override { return routes; }
    platform::ModelSpace &modelSpace() override { return space; }
    platform::FirstStart &firstStart() override { return firstStartFake; }
    platform::KeyPositions &keyPositions() override { return positions; }
    platform::Appearance &appearance() override { return appearanceFake; }
    platform::Notifications &notifications() override { return notificationsFake; }
    platform::LoginItem &loginItem() override { return loginItemFake; }
    platform::Tray &tray() override { return trayFake; }
    platform::WebPages &webPages() override { return webPagesFake; }

    /// Runs everything that is posted.
    void run() { queue.run(); }

private:
    Scope m_scope{*this};
};

} // namespace quillora::test
