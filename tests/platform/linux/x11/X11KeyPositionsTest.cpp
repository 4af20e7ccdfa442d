#include "platform/linux/x11/X11KeyPositions.h"
#include "hotkey/AppHotKey.h"

#include <QSet>
#include <QTest>

#include <linux/input-event-codes.h>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::X11KeyPositions;

/// Every key that has a name is the same key on the keyboard, in both directions.
class X11KeyPositionsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aNamedKeyIsThatKeyInBothDirections_data() {
        QTest::addColumn<quint32>("keyCode");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("kernelCode");
        const auto row = [](quint32 keyCode, const char *name, int kernelCode) {
            QTest::newRow(name) << keyCode << QString::fromLatin1(name) << kernelCode;
        };
        row(0, "A", KEY_A), row(11, "B", KEY_B), row(8, "C", KEY_C), row(2, "D", KEY_D);
        row(14, "E", KEY_E), row(3, "F", KEY_F), row(5, "G", KEY_G), row(4, "H", KEY_H);
        row(34, "I", KEY_I), row(38, "J", KEY_J), row(40, "K", KEY_K), row(37, "L", KEY_L);
        row(46, "M", KEY_M), row(45, "N", KEY_N), row(31, "O", KEY_O), row(35, "P", KEY_P);
        row(12, "Q", KEY_Q), row(15, "R", KEY_R), row(1, "S", KEY_S), row(17, "T", KEY_T);
        row(32, "U", KEY_U), row(9, "V", KEY_V), row(13, "W", KEY_W), row(7, "X", KEY_X);
        row(16, "Y", KEY_Y), row(6, "Z", KEY_Z), row(29, "0", KEY_0), row(18, "1", KEY_1);
        row(19, "2", KEY_2), row(20, "3", KEY_3), row(21, "4", KEY_4), row(23, "5", KEY_5);
        row(22, "6", KEY_6), row(26, "7", KEY_7), row(28, "8", KEY_8), row(25, "9", KEY_9);
        row(27, "-", KEY_MINUS), row(24, "=", KEY_EQUAL);
        row(33, "[", KEY_LEFTBRACE), row(30, "]", KEY_RIGHTBRACE);
        row(42, "\\", KEY_BACKSLASH), row(41, ";", KEY_SEMICOLON);
        row(39, "'", KEY_APOSTROPHE), row(50, "`", KEY_GRAVE);
        row(43, ",", KEY_COMMA), row(47, ".", KEY_DOT), row(44, "/", KEY_SLASH);
        row(49, "Space", KEY_SPACE), row(36, "Return", KEY_ENTER), row(48, "Tab", KEY_TAB);
        row(51, "Delete", KEY_BACKSPACE), row(53, "Esc", KEY_ESC);
        row(126, "Up", KEY_UP), row(125, "Down", KEY_DOWN);
        row(123, "Left", KEY_LEFT), row(124, "Right", KEY_RIGHT);
        row(115, "Home", KEY_HOME), row(119, "End", KEY_END);
        row(116, "Page Up", KEY_PAGEUP), row(121, "Page Down", KEY_PAGEDOWN);
        row(122, "F1", KEY_F1), row(120, "F2", KEY_F2), row(99, "F3", KEY_F3), row(118, "F4", KEY_F4);
        row(96, "F5", KEY_F5), row(97, "F6", KEY_F6), row(98, "F7", KEY_F7), row(100, "F8", KEY_F8);
        row(101, "F9", KEY_F9), row(109, "F10", KEY_F10), row(103, "F11", KEY_F11), row(111, "F12", KEY_F12);
        row(105, "F13", KEY_F13), row(107, "F14", KEY_F14), row(113, "F15", KEY_F15);
        row(106, "F16", KEY_F16), row(64, "F17", KEY_F17), row(79, "F18", KEY_F18);
        row(80, "F19", KEY_F19), row(90, "F20", KEY_F20);
    }
    void aNamedKeyIsThatKeyInBothDirections() {
        QFETCH(quint32, keyCode);
        QFETCH(QString, name);
        QFETCH(int, kernelCode);
        const auto keycode = static_cast<quint32>(kernelCode) + 8;
        QCOMPARE((AppHotKey{keyCode, 0}).displayName(), name);
        QCOMPARE(X11KeyPositions::keycodeAt(keyCode), std::optional(static_cast<quint8>(keycode)));
        QCOMPARE(X11KeyPositions().keyCode(keycode), std::optional(keyCode));
    }

    void everyNamedKeyHasAPosition() {
        int named = 0;
        for (quint32 keyCode = 0; keyCode < 256; ++keyCode) {
            if ((AppHotKey{keyCode, 0}).displayName() == u"Key "_s + QString::number(keyCode))
                continue;
            ++named;
            QVERIFY2(X11KeyPositions::keycodeAt(keyCode), qPrintable((AppHotKey{keyCode, 0}).displayName()));
        }
        QCOMPARE(named, 80);
    }

    void noTwoPositionsShareAKey() {
        QSet<quint32> seen;
        for (quint32 keycode = 0; keycode < 256; ++keycode) {
            const auto keyCode = X11KeyPositions().keyCode(keycode);
            if (!keyCode)
                continue;
            QVERIFY(!seen.contains(*keyCode));
            seen.insert(*keyCode);
            QCOMPARE(X11KeyPositions::keycodeAt(*keyCode), std::optional(static_cast<quint8>(keycode)));
        }
    }

    void keysWithoutANameHavePositionsToo_data() {
        QTest::addColumn<quint32>("keyCode");
        QTest::addColumn<int>("kernelCode");
        QTest::newRow("forward delete") << 117u << KEY_DELETE;
        QTest::newRow("insert") << 114u << KEY_INSERT;
        QTest::newRow("beside the left shift key") << 10u << KEY_102ND;
        QTest::newRow("keypad 0") << 82u << KEY_KP0;
        QTest::newRow("keypad 9") << 92u << KEY_KP9;
        QTest::newRow("keypad enter") << 76u << KEY_KPENTER;
        QTest::newRow("keypad decimal") << 65u << KEY_KPDOT;
        QTest::newRow("yen") << 93u << KEY_YEN;
    }
    void keysWithoutANameHavePositionsToo() {
        QFETCH(quint32, keyCode);
        QFETCH(int, kernelCode);
        const auto keycode = static_cast<quint32>(kernelCode) + 8;
        QCOMPARE(X11KeyPositions::keycodeAt(keyCode), std::optional(static_cast<quint8>(keycode)));
        QCOMPARE(X11KeyPositions().keyCode(keycode), std::optional(keyCode));
    }

    void aNumberWithoutAKeyHasNoPosition() {
        constexpr quint32 louder = 72;
        QVERIFY(!X11KeyPositions::keycodeAt(louder));
        QVERIFY(!X11KeyPositions::keycodeAt(127));
        QVERIFY(!X11KeyPositions::keycodeAt(4294967295u));
    }

    void aKeyThatTheNumberingLacksHasNoCode() {
        QVERIFY(!X11KeyPositions().keyCode(0));
        QVERIFY(!X11KeyPositions().keyCode(KEY_PAUSE + 8));
        QVERIFY(!X11KeyPositions().keyCode(KEY_VOLUMEUP + 8));
        QVERIFY(!X11KeyPositions().keyCode(KEY_MUTE + 8));
        QVERIFY(!X11KeyPositions().keyCode(4294967295u));
    }
};

QTEST_GUILESS_MAIN(X11KeyPositionsTest)
#include "X11KeyPositionsTest.moc"
