#include "app/QuilloraApp.h"

#include "app/desktop/RunningInstance.h"
#include "app/desktop/TerminationSignals.h"
#include "platform/ApplicationIdentity.h"
#include "platform/LoginItem.h"
#include "platform/Platform.h"
#include "translation/LanguageCatalog.h"

#include <QDBusConnection>
#include <QFile>
#include <QIcon>
#include <QMessageBox>

namespace quillora {

using platform::Platform;

namespace {

constexpr int noLanguageStatus = 1;

/// Where there is no session bus, the bus library would start one that outlives the program and that nobody
/// else is on.
void forgoMissingSessionBus() {
    const bool hasBus = qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
                        (qEnvironmentVariableIsSet("XDG_RUNTIME_DIR") &&
                         QFile::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/bus"_qs));
    if (!hasBus)
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
}

/// What has to do with the environment, while there are no other threads.
QByteArray readStartupId() {
    forgoMissingSessionBus();
    return qgetenv("DESKTOP_STARTUP_ID");
}

void tellThatNothingCanBeRecognized() {
    QMessageBox message(QMessageBox::Critical, applicationName,
                        u"Quillora cannot recognize any language on this computer."_qs, QMessageBox::Close);
    message.setInformativeText(
        u"Install a speech recognition model, for example the packages pocketsphinx and pocketsphinx-en-us "
        "for English, and start Quillora again."_qs);
    message.exec();
}

} // namespace

QuilloraApp::QuilloraApp(int &argc, char **argv) : m_startupId(readStartupId()), m_application(argc, argv) {
    QApplication::setApplicationName(applicationName);
    QApplication::setApplicationDisplayName(applicationName);
    QApplication::setOrganizationName(applicationName);
    QApplication::setDesktopFileName(applicationIdentifier);
    QApplication::setWindowIcon(QIcon::fromTheme(
        applicationIdentifier, QIcon(u":/quillora/application/%1.svg"_qs.arg(applicationIdentifier))));
    QApplication::setQuitOnLastWindowClosed(AppDelegate::applicationShouldTerminateAfterLastWindowClosed());
}

QuilloraApp::~QuilloraApp() = default;

int QuilloraApp::run(const PlatformFactory &makePlatform, const StartEnd &endStart) {
    const Start start = QCoreApplication::arguments().contains(platform::LoginItem::startArgument)
                            ? Start::atLogin
                            : Start::byUser;
    RunningInstance instance(QDBusConnection::sessionBus());
    if (instance.claim(start) == RunningInstance::Claim::handedOver) {
        endStart(m_startupId);
        return 0;
    }

    const std::unique_ptr<Platform> platform = makePlatform();
    const Platform::Scope scope(*platform);
    if (LanguageCatalog::spokenOptions().isEmpty()) {
        tellThatNothingCanBeRecognized();
        return noLanguageStatus;
    }

    const TerminationSignals terminationSignals;
    m_appDelegate = std::make_unique<AppDelegate>();
    auto *delegate = m_appDelegate.get();
    QObject::connect(&instance, &RunningInstance::activated, delegate, &AppDelegate::showPopover);
    QObject::connect(&instance, &RunningInstance::replaced, delegate, &AppDelegate::quit);
    QObject::connect(&instance, &RunningInstance::pressRequested, delegate, &AppDelegate::pressHotKey);
    QObject::connect(&instance, &RunningInstance::releaseRequested, delegate, &AppDelegate::releaseHotKey);
    QObject::connect(&instance, &RunningInstance::toggleRequested, delegate, &AppDelegate::toggleDictation);
    QObject::connect(&terminationSignals, &TerminationSignals::received, delegate, &AppDelegate::quit);

    delegate->applicationDidFinishLaunching(start);
    endStart(m_startupId);
    const int status = QApplication::exec();
    m_appDelegate.reset();
    // Whatever waited for something has been told that it is over, and comes to its end here.
    QCoreApplication::sendPostedEvents();
    return status;
}

} // namespace quillora
