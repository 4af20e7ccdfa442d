#include "app/QuilloraApp.h"

#include "app/BringToFront.h"
#include "platform/ApplicationIdentity.h"
#include "platform/LoginItem.h"
#include "platform/Platform.h"
#include "platform/RunningInstance.h"
#include "translation/LanguageCatalog.h"

#include <QDebug>
#include <QIcon>
#include <QMessageBox>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::Platform;
using platform::RunningInstance;
using platform::Start;

namespace {

constexpr int noLanguageStatus = 1;

/// Shown until it is closed. Whoever starts the program once more meanwhile finds it in front again.
void show(QMessageBox &message, RunningInstance &instance) {
    const auto nothing = [] {};
    instance.setListener({{.activated = [&message] { bringToFront(message); },
                           .endRequested = [&message] { message.reject(); },
                           .hotKeyPressed = nothing,
                           .hotKeyReleased = nothing,
                           .dictationToggled = nothing}});
    instance.endStart();
    message.exec();
    instance.setListener({});
}

/// Nobody who only logs in is disturbed with a window: it stands in the session's log.
void tellThatNothingCanBeRecognized(RunningInstance &instance, Start start) {
    const QString what = u"Quillora cannot recognize any language on this computer."_s;
    const QString advice =
        u"Install a speech recognition model, for example the packages pocketsphinx and pocketsphinx-en-us "
        "for English, and start Quillora again."_s;
    if (start == Start::atLogin) {
        qCritical().noquote() << what << advice;
        return;
    }
    QMessageBox message(QMessageBox::Critical, applicationName, what, QMessageBox::Close);
    message.setInformativeText(advice);
    show(message, instance);
}

} // namespace

QuilloraApp::QuilloraApp(int &argc, char **argv) : m_application(argc, argv) {
    QApplication::setApplicationName(applicationName);
    QApplication::setApplicationDisplayName(applicationName);
    QApplication::setOrganizationName(applicationName);
    QApplication::setDesktopFileName(applicationIdentifier);
    QApplication::setWindowIcon(QIcon::fromTheme(
        applicationIdentifier, QIcon(u":/quillora/application/%1.svg"_s.arg(applicationIdentifier))));
    QApplication::setQuitOnLastWindowClosed(AppDelegate::applicationShouldTerminateAfterLastWindowClosed());
}

QuilloraApp::~QuilloraApp() = default;

int QuilloraApp::run(RunningInstance &instance, const PlatformFactory &makePlatform) {
    const Start start = QCoreApplication::arguments().contains(platform::LoginItem::startArgument)
                            ? Start::atLogin
                            : Start::byUser;
    if (instance.claim(start) == RunningInstance::Claim::handedOver) {
        instance.endStart();
        return 0;
    }

    const int status = runOn(*makePlatform(), instance, start);
    // Not before the platform has gone: whoever asks for the end once more must not cut short what it gives
    // back.
    instance.setListener({});
    return status;
}

int QuilloraApp::runOn(Platform &platform, RunningInstance &instance, Start start) {
    const Platform::Scope scope(platform);
    if (LanguageCatalog::spokenOptions().isEmpty()) {
        tellThatNothingCanBeRecognized(instance, start);
        return noLanguageStatus;
    }

    m_appDelegate = std::make_unique<AppDelegate>();
    const auto delegates = [delegate = QPointer(m_appDelegate.get())](void (AppDelegate::*reaction)()) {
        return [delegate, reaction] {
            if (delegate)
                (delegate->*reaction)();
        };
    };
    instance.setListener({{.activated = delegates(&AppDelegate::showPopover),
                           .endRequested = delegates(&AppDelegate::quit),
                           .hotKeyPressed = delegates(&AppDelegate::pressHotKey),
                           .hotKeyReleased = delegates(&AppDelegate::releaseHotKey),
                           .dictationToggled = delegates(&AppDelegate::toggleDictation)}});

    m_appDelegate->applicationDidFinishLaunching(start);
    instance.endStart();
    const int status = QApplication::exec();
    m_appDelegate.reset();
    // Whatever waited for something has been told that it is over, and comes to its end here.
    QCoreApplication::sendPostedEvents();
    return status;
}

} // namespace quillora
