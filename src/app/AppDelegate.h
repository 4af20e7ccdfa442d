#pragma once

#include "app/ModelsDesk.h"
#include "app/Popover.h"
#include "app/StatusIconSet.h"
#include "controller/AppController.h"
#include "hotkey/HotKeyManager.h"
#include "platform/MainQueue.h"
#include "platform/Start.h"
#include "platform/StatusItem.h"
#include "platform/UserDefaults.h"
#include "translation/TranslationHostView.h"

#include <QMenu>
#include <QObject>

#include <memory>
#include <optional>

namespace quillora {

/// Puts the program on the desktop: builds the controller, its icon, its panel and its hotkey, and connects
/// them. Everything that it hands out holds it weakly. Main thread only.
class AppDelegate : public QObject {
    Q_OBJECT

public:
    /// Nothing is built before `applicationDidFinishLaunching`.
    AppDelegate() = default;
    ~AppDelegate() override;

    /// The whole start-up. The platform must recognize at least one language. A start at login opens nothing,
    /// save for a hotkey that cannot be registered.
    void applicationDidFinishLaunching(platform::Start start = platform::Start::byUser);

    static constexpr bool applicationShouldTerminateAfterLastWindowClosed() { return false; }

    void togglePopover();
    /// For the user, who is welcomed there the first time.
    void showPopover();

    /// Another program presses the hotkey and lets it go, on behalf of a key of its own. A press that is
    /// still held changes nothing; one that nobody ends is over after ten minutes.
    void pressHotKey();
    void releaseHotKey();

    /// As the panel's button does.
    void toggleDictation();

    /// Gives the hotkey back at once and ends the event loop, as soon as a paste that is under way has given
    /// the pasteboard back; waits for that at most a second. What has not been pasted by now never is.
    /// Whatever asks the program to end comes here, the session manager, too, by way of the toolkit.
    void quit();

    // Each is none until `applicationDidFinishLaunching` has made it.
    AppController *controller() const { return m_controller.get(); }
    Popover *popover() const { return m_popover.get(); }
    platform::StatusItem *statusItem() const { return m_statusItem.get(); }
    ModelsDesk *modelsDesk() const { return m_modelsDesk.get(); }
    /// What the status item and the panel offer on a secondary click.
    QMenu *menu() const { return m_menu.get(); }
    /// The last hotkey that was registered successfully.
    const std::optional<AppHotKey> &registeredHotKey() const { return m_registeredHotKey; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void makeMenu();
    void makeStatusItem();
    void refreshDictationAction();
    void refreshLoginAction();
    void makePopover();
    bool openPopover();
    void showState();
    void refreshPopoverWindow();
    bool popoverStaysOpen() const;
    void handlePopoverClosed();

    /// How the panel comes up where there is no tray to open it from.
    enum class WayIn { openWindow, minimisedWindow };
    void followTray();
    void awaitTray(WayIn wayIn);
    void ensureWayIn(WayIn wayIn);

    void reportSettingsFailure(platform::UserDefaultsFailure failure);
    void saySettingsNotice();

    void configureHotKey();
    bool registerHotKey(const AppHotKey &hotKey);
    void handleHotKeyOutcome(const AppHotKey &hotKey, const platform::HotKeyOutcome &outcome);
    void refreshHotKeySuspension();
    void endRemotePress();
    void post(HotKeyManager::Event event);
    void handleHotKeyEvent(HotKeyManager::Event event);

    StatusIconSet m_icons;

    // In the order in which they are made: what is made later uses what was made before.
    std::unique_ptr<AppController> m_controller;
    std::unique_ptr<QMenu> m_menu;
    QAction *m_dictationAction = nullptr; ///< the menu's
    QAction *m_hotKeyAction = nullptr;    ///< the menu's; visible while the hotkey does not work
    QAction *m_loginAction = nullptr;     ///< the menu's
    std::unique_ptr<platform::StatusItem> m_statusItem;
    std::unique_ptr<Popover> m_popover;
    std::unique_ptr<ModelsDesk> m_modelsDesk;
    std::unique_ptr<TranslationHostView>
        m_translationWindow; ///< what hosts on-device translation; it needs no window here
    std::unique_ptr<HotKeyManager> m_hotKeyManager;
    std::optional<AppHotKey> m_registeredHotKey;
    std::unique_ptr<platform::HotKeySuspension> m_hotKeySuspension; ///< while a new hotkey is captured
    std::shared_ptr<platform::WorkItem> m_remotePressLimit; ///< while another program holds the hotkey
    bool m_isReleaseOwed = false;            ///< one came while a new hotkey was being captured
    std::optional<QString> m_settingsNotice; ///< still to be said
    bool m_isQuitting = false;
};

} // namespace quillora
