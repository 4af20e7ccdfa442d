#include "contract/KeystrokesContract.h"
#include "fakes/FakeKeystrokes.h"
#include "platform/linux/x11/X11HotKeys.h"
#include "platform/linux/x11/X11Keystrokes.h"
#include "support/TestWindow.h"
#include "support/VirtualDisplay.h"

#include <QCoreApplication>
#include <QTest>

using namespace quillora;

namespace {

class FakeHarness : public test::KeystrokesHarness {
public:
    platform::Keystrokes &keystrokes() override { return m_keystrokes; }
    int pasteCount() override { return m_keystrokes.pasteCount(); }
    void withdrawTrust() override { m_keystrokes.setTrust(false); }
    void settle() override {}

private:
    test::CallLog m_log;
    test::FakeKeystrokes m_keystrokes{m_log};
};

class X11Harness : public test::KeystrokesHarness {
public:
    X11Harness() {
        m_window.show();
        m_window.takeFocus();
    }

    platform::Keystrokes &keystrokes() override { return m_keystrokes; }
    int pasteCount() override {
        constexpr xcb_keycode_t keyOfV = 55;
        for (const auto &key : m_window.takeKeys())
            m_pasteCount += key == test::TestWindow::Key{keyOfV, true, XCB_MOD_MASK_CONTROL};
        return m_pasteCount;
    }
    void withdrawTrust() override { m_display.server().stop(); }
    void settle() override { m_connection.sync(); }

private:
    test::VirtualDisplay m_display;
    platform::X11Connection m_connection{m_display.name()};
    platform::X11Events m_events{m_connection};
    platform::X11HotKeys m_hotKeys{m_events};
    platform::X11Keystrokes m_keystrokes{m_events, m_hotKeys};
    test::TestWindow m_window{m_display.name(), {}};
    int m_pasteCount = 0;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::KeystrokesContract contract({{"fake", [] { return std::make_unique<FakeHarness>(); }},
                                       {"X11Keystrokes", [] { return std::make_unique<X11Harness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
