#include "contract/HotKeysContract.h"
#include "fakes/FakeHotKeys.h"
#include "platform/linux/x11/X11HotKeys.h"
#include "platform/linux/x11/X11KeyPositions.h"
#include "support/TestKeyboard.h"
#include "support/VirtualDisplay.h"

#include <QCoreApplication>

using namespace quillora;
using test::TestKeyboard;

namespace {

class FakeHarness : public test::HotKeysHarness {
public:
    platform::HotKeys &hotKeys() override { return m_hotKeys; }
    void keyDown(const AppHotKey &combination) override {
        m_hotKeys.keyDown(combination.keyCode, combination.modifiers);
    }
    void keyUp(const AppHotKey &combination) override { m_hotKeys.keyUp(combination.keyCode); }
    void takeElsewhere(const AppHotKey &combination) override {
        m_hotKeys.takenElsewhere.insert({combination.keyCode, combination.modifiers});
    }
    void giveBackElsewhere(const AppHotKey &combination) override {
        m_hotKeys.takenElsewhere.remove({combination.keyCode, combination.modifiers});
    }
    void settle() override { m_queue.run(); }

private:
    test::CallLog m_log;
    test::FakeMainQueue m_queue;
    test::FakeHotKeys m_hotKeys{m_log, m_queue};
};

std::vector<xcb_keycode_t> modifierKeys(quint32 modifiers) {
    std::vector<xcb_keycode_t> keys;
    if (modifiers & AppHotKey::controlKey)
        keys.push_back(TestKeyboard::control);
    if (modifiers & AppHotKey::optionKey)
        keys.push_back(TestKeyboard::alt);
    if (modifiers & AppHotKey::shiftKey)
        keys.push_back(TestKeyboard::shift);
    if (modifiers & AppHotKey::cmdKey)
        keys.push_back(TestKeyboard::super);
    return keys;
}

class X11Harness : public test::HotKeysHarness {
public:
    explicit X11Harness(const QByteArray &displayName)
        : m_connection(displayName), m_hotKeys(m_events), m_keyboard(displayName),
          m_otherProgram(displayName) {}
    ~X11Harness() override {
        xcb_ungrab_key(m_otherProgram.xcb(), XCB_GRAB_ANY, m_otherProgram.root(), XCB_MOD_MASK_ANY);
        m_otherProgram.sync();
    }

    platform::HotKeys &hotKeys() override { return m_hotKeys; }
    void keyDown(const AppHotKey &combination) override {
        for (const auto modifier : modifierKeys(combination.modifiers))
            m_keyboard.press(modifier);
        m_keyboard.press(platform::X11KeyPositions::keycodeAt(combination.keyCode).value());
    }
    void keyUp(const AppHotKey &combination) override {
        m_keyboard.release(platform::X11KeyPositions::keycodeAt(combination.keyCode).value());
        m_keyboard.releaseAll();
    }
    void takeElsewhere(const AppHotKey &combination) override {
        xcb_grab_key(m_otherProgram.xcb(), 0, m_otherProgram.root(), modifierMask(combination),
                     platform::X11KeyPositions::keycodeAt(combination.keyCode).value(), XCB_GRAB_MODE_ASYNC,
                     XCB_GRAB_MODE_ASYNC);
        m_otherProgram.sync();
    }
    void giveBackElsewhere(const AppHotKey &combination) override {
        xcb_ungrab_key(m_otherProgram.xcb(),
                       platform::X11KeyPositions::keycodeAt(combination.keyCode).value(),
                       m_otherProgram.root(), modifierMask(combination));
        m_otherProgram.sync();
    }
    void settle() override {
        // What the server has sent before it answers is with the connection, and posted events deliver it.
        m_connection.serverTime();
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
    }

private:
    static uint16_t modifierMask(const AppHotKey &combination) {
        unsigned mask = 0;
        mask |= combination.modifiers & AppHotKey::cmdKey ? unsigned{XCB_MOD_MASK_4} : 0u;
        mask |= combination.modifiers & AppHotKey::optionKey ? unsigned{XCB_MOD_MASK_1} : 0u;
        return static_cast<uint16_t>(mask);
    }

    platform::X11Connection m_connection;
    platform::X11Events m_events{m_connection};
    platform::X11HotKeys m_hotKeys;
    TestKeyboard m_keyboard;
    test::XcbClient m_otherProgram;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const test::VirtualDisplay display;
    test::HotKeysContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"X11HotKeys", [&] { return std::make_unique<X11Harness>(display.name()); }}});
    return QTest::qExec(&contract, argc, argv);
}
