#include "platform/linux/LinuxPlatform.h"

#include "platform/linux/DesktopSessions.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/ProgramEnd.h"
#include "platform/linux/appearance/PortalAppearance.h"
#include "platform/linux/autostart/AutostartEntry.h"
#include "platform/linux/http/QtHttpSession.h"
#include "platform/linux/keyring/SecretServiceAvailability.h"
#include "platform/linux/keyring/SecretServiceKeychain.h"
#include "platform/linux/locale/IcuLocaleServices.h"
#include "platform/linux/models/DiskModelSpace.h"
#include "platform/linux/models/LinuxModelStore.h"
#include "platform/linux/notifications/DesktopNotifications.h"
#include "platform/linux/recognition/OnDeviceRecognizers.h"
#include "platform/linux/recognition/PocketSphinxRecognizers.h"
#include "platform/linux/recognition/SherpaModel.h"
#include "platform/linux/routing/EngineRoutes.h"
#include "platform/linux/routing/RememberedConsent.h"
#include "platform/linux/settings/SettingsUserDefaults.h"
#include "platform/linux/settings/StateFirstStart.h"
#include "platform/linux/sound/DesktopSpeechPermissions.h"
#include "platform/linux/sound/PulseMicrophone.h"
#include "platform/linux/translation/NeuralEngine.h"
#include "platform/linux/translation/OnDeviceTranslators.h"
#include "platform/linux/translation/apertium/ApertiumEngine.h"
#include "platform/linux/tray/DesktopTray.h"
#include "platform/linux/webpages/DesktopWebPages.h"
#include "platform/linux/x11/X11KeyPositions.h"

#include <QCoreApplication>

#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// Those that read models, as far as their libraries are there.
QStringList modelEngines() {
    QStringList engines{u"neural"_s};
    if (hasSherpaLibrary(RecognizerProcess::installedProgram()))
        engines += sherpaEngine;
    return engines;
}

/// By an engine and data out of the distribution's packages.
bool comesWithSystem(const ModelTask &task, const PocketSphinxRecognizers &recognizers) {
    if (task.kind == ModelKind::translation)
        return ApertiumEngine::isInstalledFor(task.languages.first(), task.languages.last());
    return task.kind == ModelKind::speech && recognizers.hears(task.languages.first());
}

/// The best first.
std::vector<std::unique_ptr<OnDeviceEngine>> onDeviceEngines(const ModelRoutes &routes, ModelStore &store,
                                                             ModelConsent &consent, MainQueue &mainQueue) {
    std::vector<std::unique_ptr<OnDeviceEngine>> engines;
    engines.push_back(std::make_unique<NeuralEngine>(routes, store, consent, mainQueue));
    engines.push_back(std::make_unique<ApertiumEngine>(mainQueue));
    return engines;
}

} // namespace

/// In the order in which they depend on one another.
struct LinuxPlatform::Facilities {
    LinuxMainQueue mainQueue;
    SettingsUserDefaults userDefaults;
    SecretServiceKeychain keychain;
    SecretServiceAvailability keychainAvailability{keychain, mainQueue};
    IcuLocaleServices localeServices;
    PortalAppearance appearance;
    DesktopNotifications notifications;
    AutostartEntry loginItem{QCoreApplication::applicationFilePath()};
    DesktopTray tray;
    DesktopWebPages webPages;

    X11KeyPositions keyPositions; // the toolkit's scan codes are X11's on every desktop

    const std::shared_ptr<PulseConnection> sound = std::make_shared<PulseConnection>();
    DesktopSpeechPermissions speechPermissions{sound, mainQueue};
    PulseMicrophone microphone{sound, mainQueue};
    PocketSphinxRecognizers systemRecognizers{sound->drain(), RecognizerProcess::installedProgram()};
    const QStringList engines = modelEngines();
    LinuxModelStore modelStore{mainQueue, engines};
    EngineRoutes modelRoutes{
        modelStore, engines,
        [this](const ModelTask &task) { return comesWithSystem(task, systemRecognizers); },
        Computer::thisOne(), EngineRoutes::standardFile()};
    OnDeviceRecognizers speechRecognizers{
        sound->drain(),
        RecognizerProcess::installedProgram(),
        modelStore,
        modelRoutes,
        {systemRecognizers, [this](const QString &locale) { return systemRecognizers.models(locale); }},
        mainQueue};
    RememberedConsent modelConsent{mainQueue, RememberedConsent::standardFile()};
    std::optional<OnDeviceTranslators> translators{
        std::in_place, onDeviceEngines(modelRoutes, modelStore, modelConsent, mainQueue)};
    QtHttpSession httpSession{mainQueue};
    DiskModelSpace modelSpace{ModelFolders::standard().own()};
    StateFirstStart firstStart{StateFirstStart::standardFile()};

    std::unique_ptr<DesktopSession> session = openDesktopSession([this] { end.endForLoss(); });

    // Last, so that an end that somebody asks for begins with it. The translators' processes would outlive
    // us.
    ProgramEnd end{{[this] { session->leave(); }, [this] { translators.reset(); }},
                   [this] { return session->lossReason(); }};
};

LinuxPlatform::LinuxPlatform() : m_facilities(std::make_unique<Facilities>()) {}

LinuxPlatform::~LinuxPlatform() = default;

MainQueue &LinuxPlatform::mainQueue() { return m_facilities->mainQueue; }
UserDefaults &LinuxPlatform::userDefaults() { return m_facilities->userDefaults; }
Keychain &LinuxPlatform::keychain() { return m_facilities->keychain; }
KeychainAvailability &LinuxPlatform::keychainAvailability() { return m_facilities->keychainAvailability; }
LocaleServices &LinuxPlatform::localeServices() { return m_facilities->localeServices; }
Workspace &LinuxPlatform::workspace() { return m_facilities->session->workspace(); }
OwnWindows &LinuxPlatform::ownWindows() { return m_facilities->session->ownWindows(); }
Pasteboard &LinuxPlatform::pasteboard() { return m_facilities->session->pasteboard(); }
Keystrokes &LinuxPlatform::keystrokes() { return m_facilities->session->keystrokes(); }
HotKeys &LinuxPlatform::hotKeys() { return m_facilities->session->hotKeys(); }
KeyPositions &LinuxPlatform::keyPositions() { return m_facilities->keyPositions; }
Appearance &LinuxPlatform::appearance() { return m_facilities->appearance; }
Notifications &LinuxPlatform::notifications() { return m_facilities->notifications; }
LoginItem &LinuxPlatform::loginItem() { return m_facilities->loginItem; }
Tray &LinuxPlatform::tray() { return m_facilities->tray; }
SpeechPermissions &LinuxPlatform::speechPermissions() { return m_facilities->speechPermissions; }
Microphone &LinuxPlatform::microphone() { return m_facilities->microphone; }
SpeechRecognizers &LinuxPlatform::speechRecognizers() { return m_facilities->speechRecognizers; }
Translators &LinuxPlatform::translators() { return *m_facilities->translators; }
HttpSession &LinuxPlatform::httpSession() { return m_facilities->httpSession; }
ModelStore &LinuxPlatform::modelStore() { return m_facilities->modelStore; }
ModelRoutes &LinuxPlatform::modelRoutes() { return m_facilities->modelRoutes; }
ModelConsent &LinuxPlatform::modelConsent() { return m_facilities->modelConsent; }
ModelSpace &LinuxPlatform::modelSpace() { return m_facilities->modelSpace; }
FirstStart &LinuxPlatform::firstStart() { return m_facilities->firstStart; }
WebPages &LinuxPlatform::webPages() { return m_facilities->webPages; }

} // namespace quillora::platform
