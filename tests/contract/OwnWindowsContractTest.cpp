#include "contract/OwnWindowsContract.h"
#include "fakes/FakeOwnWindows.h"
#include "platform/linux/x11/X11OwnWindows.h"
#include "support/VirtualDisplay.h"
#include "support/XcbClient.h"

#include <QGuiApplication>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace quillora;

namespace {

class FakeHarness : public test::OwnWindowsHarness {
public:
    platform::OwnWindows &ownWindows() override { return m_windows; }
    void press() override { m_windows.press(); }
    void turnTheWheel() override {}
    void holdThePointerElsewhere() override {}
    void letThePointerGoElsewhere() override {}
    bool isInTaskBars(const QWindow &) override { return m_windows.timesKeptOutOfTaskBars == 0; }

private:
    test::FakeOwnWindows m_windows;
};

class X11Harness : public test::OwnWindowsHarness {
public:
    explicit X11Harness(const test::VirtualDisplay &display)
        : m_display(display), m_connection(display.name()), m_otherProgram(display.name()) {}

    platform::OwnWindows &ownWindows() override { return m_windows; }
    void press() override { click(u"1"_s); }
    void turnTheWheel() override {
        for (const QString &direction : {u"4"_s, u"5"_s, u"6"_s, u"7"_s})
            click(direction);
    }
    void holdThePointerElsewhere() override {
        xcb_grab_pointer(m_otherProgram.xcb(), 0, m_otherProgram.root(), XCB_EVENT_MASK_BUTTON_PRESS,
                         XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, XCB_CURRENT_TIME);
        m_otherProgram.sync();
    }
    void letThePointerGoElsewhere() override {
        xcb_ungrab_pointer(m_otherProgram.xcb(), XCB_CURRENT_TIME);
        m_otherProgram.sync();
    }
    bool isInTaskBars(const QWindow &window) override {
        const auto states =
            m_otherProgram.numbers(static_cast<xcb_window_t>(window.winId()), "_NET_WM_STATE");
        const auto has = [&](const QByteArray &state) {
            return std::ranges::find(states, m_otherProgram.atom(state)) != states.end();
        };
        return !has("_NET_WM_STATE_SKIP_TASKBAR") || !has("_NET_WM_STATE_SKIP_PAGER");
    }

private:
    void click(const QString &button) const { m_display.run(u"xdotool"_s, {u"click"_s, button}); }

    const test::VirtualDisplay &m_display;
    platform::X11Connection m_connection;
    platform::X11OwnWindows m_windows{m_connection};
    test::XcbClient m_otherProgram;
};

} // namespace

int main(int argc, char **argv) {
    std::optional<test::VirtualDisplay> display;
    {
        QCoreApplication starting(argc, argv);
        display.emplace();
    }
    qputenv("DISPLAY", display->name());
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication application(argc, argv);
    test::OwnWindowsContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"X11OwnWindows", [&] { return std::make_unique<X11Harness>(*display); }}});
    return QTest::qExec(&contract, argc, argv);
}
