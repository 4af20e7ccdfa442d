#include "app/AppDelegate.h"

#include "platform/ApplicationIdentity.h"
#include "platform/Detached.h"
#include "platform/HotKeys.h"
#include "platform/LoginItem.h"
#include "platform/Platform.h"
#include "platform/Tray.h"
#include "ui/ContentView.h"

#include <QApplication>
#include <QEvent>
#include <QPointer>

#include <utility>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::Platform;
using namespace std::chrono_literals;

namespace {

/// At login the tray comes up at about the same time as we do, and one that goes may be restarting.
constexpr auto trayGracePeriod = 3s;

/// A program that presses the hotkey and ends must not leave the microphone open for good.
constexpr auto longestRemotePress = 10min;

/// Longest time that quitting takes for a pasteboard that is still to be restored.
constexpr auto quitPatience = 1000ms;

QString windowTitle(DictationState state) {
    switch (state) {
    case DictationState::idle:
        return applicationName;
    case DictationState::recording:
        return u"Recording - "_s + applicationName;
    case DictationState::processing:
        return u"Processing - "_s + applicationName;
    }
    Q_UNREACHABLE();
}

QString settingsNotice(platform::UserDefaultsFailure failure) {
    switch (failure) {
    case platform::UserDefaultsFailure::unreadable:
        return u"The settings could not be read. Changes last until you quit."_s;
    case platform::UserDefaultsFailure::setAside:
        return u"The settings could not be understood. The old file is kept beside the new one."_s;
    case platform::UserDefaultsFailure::unwritable:
        return u"The settings could not be saved. Changes last until you quit."_s;
    }
    Q_UNREACHABLE();
}

} // namespace

AppDelegate::~AppDelegate() {
    if (m_controller)
        Platform::current().userDefaults().setFailureObserver({});
}

void AppDelegate::applicationDidFinishLaunching(platform::Start start) {
    qApp->installEventFilter(this);
    const QPointer<AppDelegate> self(this);
    m_controller = std::make_unique<AppController>();
    m_controller->onStateChanged = [self] {
        if (self)
            self->showState();
    };
    connect(m_controller.get(), &AppController::isRecordingChanged, this, [this] {
        if (!m_controller->isRecording())
            releaseHotKey(); // a dictation that ended otherwise leaves no press behind to end the next one
    });
    // A start at login disturbs nobody with more than what needs attention.
    m_controller->onNeedsAttention = [self, start] {
        if (!self)
            return;
        if (start == platform::Start::byUser)
            self->showPopover();
        else
            self->openPopover();
    };

    makeMenu();
    makeStatusItem();
    showState();

    makePopover();
    m_translationWindow = std::make_unique<TranslationHostView>(m_controller->translationBridge());
    configureHotKey();
    m_controller->requestAccessibilityIfNeeded();

    awaitTray(start == platform::Start::byUser ? WayIn::openWindow : WayIn::minimisedWindow);
    Platform::current().userDefaults().setFailureObserver([self](platform::UserDefaultsFailure failure) {
        if (self)
            self->reportSettingsFailure(failure);
    });
}

void AppDelegate::makeMenu() {
    m_menu = std::make_unique<QMenu>();
    m_menu->addAction(u"Show Quillora"_s, this, &AppDelegate::showPopover);
    m_dictationAction = m_menu->addAction(QString(), this, &AppDelegate::toggleDictation);
    m_menu->addAction(u"Models…"_s, this, [this] { m_modelsDesk->showWindow(); });
    m_hotKeyAction = m_menu->addAction(u"Register the hotkey again"_s, this,
                                       [this] { m_controller->setRecordedHotKey(m_controller->hotKey()); });
    m_hotKeyAction->setVisible(false);
    m_menu->addSeparator();
    m_loginAction = m_menu->addAction(u"Start at login"_s);
    m_loginAction->setCheckable(true);
    connect(m_loginAction, &QAction::triggered, this, [this](bool isChecked) {
        Platform::current().loginItem().setEnabled(isChecked);
        refreshLoginAction();
    });
    m_menu->addSeparator();
    m_menu->addAction(u"Quit"_s, this, &AppDelegate::quit);

    connect(m_menu.get(), &QMenu::aboutToShow, this, &AppDelegate::refreshLoginAction);
    refreshDictationAction();
    refreshLoginAction();
}

void AppDelegate::makeStatusItem() {
    m_statusItem = Platform::current().tray().makeItem(
        {.activated = [this] { togglePopover(); }, .hostChanged = [this] { followTray(); }});
    m_statusItem->setMenu(m_menu.get());
}

void AppDelegate::refreshDictationAction() {
    const auto state = m_controller->dictationState();
    m_dictationAction->setText(state == DictationState::recording ? u"Stop dictation"_s
                                                                  : u"Start dictation"_s);
    m_dictationAction->setEnabled(state != DictationState::processing);
}

/// The user may have changed it elsewhere.
void AppDelegate::refreshLoginAction() {
    m_loginAction->setChecked(Platform::current().loginItem().isEnabled());
}

void AppDelegate::makePopover() {
    auto ownedContent = std::make_unique<ContentView>(*m_controller);
    auto *content = ownedContent.get();
    m_popover = std::make_unique<Popover>(std::move(ownedContent));
    m_popover->staysOpen = [self = QPointer<AppDelegate>(this)] { return self && self->popoverStaysOpen(); };
    m_popover->isOnlyWayIn = [self = QPointer<AppDelegate>(this)] {
        return self && !self->m_isQuitting && !self->m_statusItem->isHosted();
    };
    m_popover->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_popover.get(), &QWidget::customContextMenuRequested, content,
            [this, content](const QPoint &position) {
                // It is the tray's menu, too, and nobody's child that would inherit that.
                m_menu->setPalette(content->palette());
                m_menu->popup(m_popover->mapToGlobal(position));
            });
    connect(content, &ContentView::closeRequested, m_popover.get(), &Popover::performClose);
    connect(content, &ContentView::quitRequested, this, &AppDelegate::quit);
    connect(m_popover.get(), &Popover::closed, this, &AppDelegate::handlePopoverClosed);
    connect(m_controller.get(), &AppController::keychainDialogExpected, m_popover.get(),
            &Popover::expectSystemDialog);
    refreshPopoverWindow();
    m_modelsDesk = std::make_unique<ModelsDesk>(*m_controller, *m_popover, *content);
}

void AppDelegate::handlePopoverClosed() {
    // Nothing can be captured through a panel that is gone, and while it is to be, the hotkey is dead.
    if (m_controller->isRecordingHotKey())
        m_controller->cancelHotKeyRecording();
    // The tray may have gone while the panel was open.
    if (!m_statusItem->isHosted())
        awaitTray(WayIn::minimisedWindow);
    saySettingsNotice();
}

void AppDelegate::togglePopover() {
    if (m_popover->isShown())
        m_popover->performClose();
    else
        showPopover();
}

void AppDelegate::showPopover() {
    if (openPopover())
        m_modelsDesk->welcome();
}

bool AppDelegate::openPopover() {
    if (!m_popover || m_isQuitting)
        return false;
    if (m_statusItem->isHosted())
        m_popover->showAttached(m_statusItem->anchor());
    else
        m_popover->showAsWindow();
    m_modelsDesk->showMarks();
    return true;
}

void AppDelegate::showState() {
    refreshDictationAction();
    if (m_statusItem) {
        const auto state = m_controller->dictationState();
        m_statusItem->setIcon(StatusIcon(state).name(), m_icons.icon(state), applicationName);
    }
    if (m_popover)
        refreshPopoverWindow();
}

/// Without a tray, the window's title and icon are what shows the state in a task bar.
void AppDelegate::refreshPopoverWindow() {
    const auto state = m_controller->dictationState();
    m_popover->setWindowTitle(windowTitle(state));
    m_popover->setWindowIcon(state == DictationState::idle ? QApplication::windowIcon()
                                                           : m_icons.icon(state));
}

/// A grabbed key takes the focus away for as long as it is down, while the panel stays the active window.
bool AppDelegate::popoverStaysOpen() const {
    if (m_controller->isRecordingHotKey() || m_modelsDesk->isInFront())
        return true;
    const auto &workspace = Platform::current().workspace();
    const auto frontmost = workspace.frontmostApplication();
    const auto identifier = frontmost ? frontmost->bundleIdentifier() : std::nullopt;
    return identifier && identifier == workspace.mainBundleIdentifier();
}

void AppDelegate::followTray() {
    if (!m_statusItem->isHosted())
        awaitTray(WayIn::minimisedWindow);
    else if (m_popover->isMinimized())
        m_popover->performClose(); // the icon has taken its place
}

void AppDelegate::awaitTray(WayIn wayIn) {
    Platform::current().mainQueue().asyncAfter(trayGracePeriod, [self = QPointer<AppDelegate>(this), wayIn] {
        if (self)
            self->ensureWayIn(wayIn);
    });
}

/// Where no tray has the icon, the panel's window is the only way to reach the program.
void AppDelegate::ensureWayIn(WayIn wayIn) {
    if (m_isQuitting || m_statusItem->isHosted() || m_popover->isVisible())
        return;
    switch (wayIn) {
    case WayIn::openWindow:
        showPopover();
        break;
    case WayIn::minimisedWindow:
        m_popover->showAsMinimisedWindow();
        break;
    }
}

void AppDelegate::reportSettingsFailure(platform::UserDefaultsFailure failure) {
    m_settingsNotice = settingsNotice(failure);
    // Whoever was told at launch that there is no hotkey has to see that first, and then close the panel.
    if (m_registeredHotKey)
        saySettingsNotice();
}

/// In the status line only, and never in place of what a workflow says there.
void AppDelegate::saySettingsNotice() {
    const bool isAtRest =
        m_controller->dictationState() == DictationState::idle && !m_controller->isRecordingHotKey();
    if (m_settingsNotice && isAtRest)
        m_controller->setStatusText(*std::exchange(m_settingsNotice, std::nullopt));
}

void AppDelegate::configureHotKey() {
    const QPointer<AppDelegate> self(this);
    m_hotKeyManager = std::make_unique<HotKeyManager>(
        [self](HotKeyManager::Event event) {
            if (self)
                self->post(event);
        },
        [self](const AppHotKey &hotKey, const platform::HotKeyOutcome &outcome) {
            if (self)
                self->handleHotKeyOutcome(hotKey, outcome);
        });
    m_controller->onHotKeyChangeRequested = [self](const AppHotKey &hotKey) {
        return self && self->registerHotKey(hotKey);
    };
    if (!registerHotKey(m_controller->hotKey()))
        m_controller->onNeedsAttention();
    connect(m_controller.get(), &AppController::isRecordingHotKeyChanged, this,
            &AppDelegate::refreshHotKeySuspension);
}

/// The registered combination must reach the recorder, or it could not be chosen again.
void AppDelegate::refreshHotKeySuspension() {
    const bool isSuspended = m_hotKeySuspension != nullptr;
    if (isSuspended == m_controller->isRecordingHotKey())
        return;
    if (!isSuspended) {
        m_hotKeySuspension = Platform::current().hotKeys().suspend();
        return;
    }
    m_hotKeySuspension.reset();
    if (std::exchange(m_isReleaseOwed, false))
        post(HotKeyManager::Event::released);
}

void AppDelegate::pressHotKey() {
    if (m_remotePressLimit)
        return;
    m_remotePressLimit =
        Platform::current().mainQueue().asyncAfter(longestRemotePress, [self = QPointer<AppDelegate>(this)] {
            if (self)
                self->endRemotePress();
        });
    post(HotKeyManager::Event::pressed);
}

void AppDelegate::releaseHotKey() {
    if (!m_remotePressLimit)
        return;
    m_remotePressLimit->cancel();
    endRemotePress();
}

void AppDelegate::endRemotePress() {
    m_remotePressLimit.reset();
    post(HotKeyManager::Event::released);
}

void AppDelegate::toggleDictation() {
    if (!m_isQuitting)
        platform::detach(m_controller->toggleRecording());
}

void AppDelegate::post(HotKeyManager::Event event) {
    Platform::current().mainQueue().async([self = QPointer<AppDelegate>(this), event] {
        if (self)
            self->handleHotKeyEvent(event);
    });
}

/// A release may come while its press is still waiting inside the controller, which sorts that out.
void AppDelegate::handleHotKeyEvent(HotKeyManager::Event event) {
    if (m_isQuitting)
        return;
    if (m_controller->isRecordingHotKey()) {
        // The press may have been taken before; without its release the microphone would stay open.
        m_isReleaseOwed |= event == HotKeyManager::Event::released;
        return;
    }
    switch (event) {
    case HotKeyManager::Event::released:
        platform::detach(m_controller->hotKeyReleased());
        break;
    case HotKeyManager::Event::pressed:
        platform::detach(m_controller->hotKeyPressed());
        break;
    }
}

bool AppDelegate::registerHotKey(const AppHotKey &hotKey) {
    const auto previous = m_registeredHotKey;
    const bool isRegistered = m_hotKeyManager->registerHotKey(hotKey);
    if (isRegistered) {
        m_registeredHotKey = hotKey;
        m_hotKeyAction->setVisible(false);
    } else {
        m_hotKeyAction->setVisible(!previous || !m_hotKeyManager->registerHotKey(*previous));
        m_controller->setStatusText(u"Could not register "_s + hotKey.displayName() + u'.');
    }
    return isRegistered;
}

void AppDelegate::handleHotKeyOutcome(const AppHotKey &hotKey, const platform::HotKeyOutcome &outcome) {
    using Kind = platform::HotKeyOutcome::Kind;
    m_hotKeyAction->setVisible(outcome.kind == Kind::refused || outcome.kind == Kind::lost);
    if (outcome.kind == Kind::refused)
        m_registeredHotKey.reset(); // so that nothing goes back to it
    m_controller->noteHotKeyOutcome(hotKey, outcome);
}

void AppDelegate::quit() {
    if (m_isQuitting)
        return;
    m_isQuitting = true;
    if (m_hotKeyManager)
        m_hotKeyManager->unregister();
    if (m_controller)
        m_controller->prepareToEnd();
    if (m_popover)
        m_popover->performClose();
    if (m_modelsDesk)
        m_modelsDesk->close();
    const auto isDone = [this] { return !m_controller || !m_controller->hasPendingPasteboardRestore(); };
    const auto end = [] { QCoreApplication::exit(); };
    if (isDone()) {
        end();
        return;
    }
    connect(m_controller.get(), &AppController::pasteboardRestored, this, [isDone, end] {
        if (isDone())
            end();
    });
    Platform::current().mainQueue().asyncAfter(quitPatience, end);
}

/// By itself the toolkit would close the windows and end the event loop, or give up if one of them stays.
bool AppDelegate::eventFilter(QObject *watched, QEvent *event) {
    if (watched != qApp || event->type() != QEvent::Quit)
        return QObject::eventFilter(watched, event);
    quit();
    return true;
}

} // namespace quillora
