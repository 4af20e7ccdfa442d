// The whole program, from its entry point on, on a desktop of fakes: what it does with a real display, a real
// bus and a real tray is then its own doing.

#include "app/QuilloraApp.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/instance/LaunchEnvironment.h"
#include "platform/linux/instance/SessionInstance.h"
#include "platform/linux/tray/DesktopTray.h"
#include "platform/linux/x11/X11KeyPositions.h"
#include "platform/linux/x11/X11OwnWindows.h"
#include "platform/linux/x11/X11Workspace.h"

#include <QTimer>

#include <csignal>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;

namespace {

/// Can give a tray that is there all the time that a busy machine needs to take the icon.
class PatientQueue : public platform::LinuxMainQueue {
public:
    std::shared_ptr<platform::WorkItem> asyncAfter(std::chrono::milliseconds delay,
                                                   std::function<void()> work) override {
        const bool isForTray = isTraySure && delay == 3s; // the first such delay
        isTraySure &= !isForTray;
        return LinuxMainQueue::asyncAfter(isForTray ? 60s : delay, std::move(work));
    }

    bool isTraySure = false;
};

/// Fakes in real time, under a real keyboard, among the real windows of the display and in a real tray.
class LivePlatform : public test::FakePlatform {
public:
    LivePlatform() {
        m_pump.callOnTimeout([this] { run(); });
        m_pump.start(5ms);
    }

    platform::MainQueue &mainQueue() override { return m_mainQueue; }
    platform::KeyPositions &keyPositions() override { return m_keyPositions; }
    platform::OwnWindows &ownWindows() override { return m_ownWindows; }
    platform::Workspace &workspace() override { return m_workspace; }
    platform::Tray &tray() override { return m_tray; }

    ~LivePlatform() override {
        if (isAskedToEndTwice)
            ::raise(SIGTERM);
    }

    void relyOnTray() { m_mainQueue.isTraySure = true; }

    bool isAskedToEndTwice = false;

private:
    PatientQueue m_mainQueue;
    platform::X11KeyPositions m_keyPositions;
    platform::X11Connection m_x11;
    platform::X11OwnWindows m_ownWindows{m_x11};
    platform::X11Events m_x11Events{m_x11};
    platform::X11Workspace m_workspace{m_x11Events};
    platform::DesktopTray m_tray;
    QTimer m_pump; ///< the fakes answer through their own queue
};

} // namespace

/// `--no-languages`: nothing can be recognized. `--no-microphone`: nothing can be recorded. `--taken`:
/// another program has the hotkey. `--tray`: one is there, and the program waits for it. `--impatient`: while
/// it ends somebody asks for the end once more.
int main(int argc, char **argv) {
    const QByteArray startupId = platform::readLaunchEnvironment();
    QuilloraApp app(argc, argv);
    platform::SessionInstance instance(startupId);
    return app.run(instance, [] {
        auto platform = std::make_unique<LivePlatform>();
        const QStringList options = QCoreApplication::arguments();
        if (options.contains(u"--no-languages"_s))
            platform->speech.locales.clear();
        if (options.contains(u"--no-microphone"_s))
            platform->permissions.isMicrophoneGranted = false;
        platform->isAskedToEndTwice = options.contains(u"--impatient"_s);
        if (options.contains(u"--tray"_s))
            platform->relyOnTray();
        if (options.contains(u"--taken"_s))
            platform->hotKeysFake.takenElsewhere.insert(
                {AppHotKey::defaultValue.keyCode, AppHotKey::defaultValue.modifiers});
        return platform;
    });
}
