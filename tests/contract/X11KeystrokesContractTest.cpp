#include "contract/KeystrokesContract.h"
#include "platform/linux/x11/X11HotKeys.h"
#include "platform/linux/x11/X11Keystrokes.h"
#include "support/TestKeyboard.h"
#include "support/TestWindow.h"
#include "support/VirtualDisplay.h"

using namespace quillora;

namespace {

class X11Harness : public test::KeystrokesHarness {
public:
    explicit X11Harness(const QByteArray &displayName)
        : m_connection(displayName), m_window(displayName, {}), m_keyboard(displayName) {
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
    int keysDown() override { return static_cast<int>(m_keyboard.keysDown().size()); }
    void settle() override { m_connection.sync(); }

private:
    platform::X11Connection m_connection;
    platform::X11HotKeys m_hotKeys{m_connection};
    platform::X11Keystrokes m_keystrokes{m_connection, m_hotKeys};
    test::TestWindow m_window;
    test::TestKeyboard m_keyboard;
    int m_pasteCount = 0;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const test::VirtualDisplay display;
    test::KeystrokesContract contract([&] { return std::make_unique<X11Harness>(display.name()); });
    return QTest::qExec(&contract, argc, argv);
}
