#include "platform/linux/x11/X11Pasteboard.h"
#include "platform/linux/x11/X11Windows.h"
#include "support/SelectionRequestor.h"
#include "support/TestKeyboard.h"
#include "support/VirtualDisplay.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quillora::test {

/// What real programs have copied comes back whole, though it is still on its way when they lose the
/// clipboard.
class X11LargeClipboardTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { m_program.reset(); }

    void aLargeTextComesBackWhole_data() {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<QString>("windowClass");
        QTest::newRow("GTK editor") << QStringList{u"mousepad"_s, u"--disable-server"_s} << u"Mousepad"_s;
        QTest::newRow("Qt editor") << QStringList{u"featherpad"_s, u"--standalone"_s} << u"FeatherPad"_s;
    }
    void aLargeTextComesBackWhole() {
        QFETCH(QStringList, command);
        QFETCH(QString, windowClass);
        QFile file(m_display.folder() + u"/text"_s);
        QVERIFY(file.open(QFile::WriteOnly | QFile::Truncate));
        for (int line = 0; line < 60'000; ++line)
            file.write("line " + QByteArray::number(line) + " of a large text\n");
        const auto size = file.size();
        file.close();
        m_program = m_display.start(command.first(), command.mid(1) + QStringList{file.fileName()});
        QVERIFY(isInFront(windowClass));

        SelectionRequestor clipboard(m_display.name(), "CLIPBOARD");
        QVERIFY(copiesEverything(clipboard, size));
        platform::X11Pasteboard pasteboard(m_display.name());
        const auto saved = pasteboard.save();
        QVERIFY(pasteboard.write(u"dictated"_s, saved));
        QCOMPARE(clipboard.ask("UTF8_STRING")->data, "dictated");
        pasteboard.restore(saved);
        QVERIFY(ChildProcess::waitUntil([&] { return clipboard.targets().contains("UTF8_STRING"); }));
        const auto text = clipboard.ask("UTF8_STRING");
        QVERIFY(text.has_value());
        QVERIFY(text->data.startsWith("line 0 of"));
        QVERIFY(text->data.size() >= size - 1);
    }

private:
    bool isInFront(const QString &windowClass) {
        const platform::X11Windows windows(m_connection);
        return ChildProcess::waitUntil([&] {
            const auto window = windows.active();
            return window && windows.windowClass(*window) == windowClass;
        });
    }

    /// A window that is up need not listen to the keyboard yet.
    bool copiesEverything(SelectionRequestor &clipboard, qsizetype size) {
        TestKeyboard keyboard(m_display.name());
        constexpr auto keyOfA = 38;
        constexpr auto keyOfC = 54;
        return ChildProcess::waitUntil([&] {
            keyboard.tapWith({TestKeyboard::control}, keyOfA);
            keyboard.tapWith({TestKeyboard::control}, keyOfC);
            return ChildProcess::waitUntil(
                [&] {
                    const auto text = clipboard.isOwned() ? clipboard.ask("UTF8_STRING") : std::nullopt;
                    return text && text->data.size() >= size - 1;
                },
                1000);
        });
    }

    const VirtualDisplay m_display{VirtualDisplay::WindowManager::openbox};
    platform::X11Connection m_connection{m_display.name()};
    std::unique_ptr<ChildProcess> m_program;
};

} // namespace quillora::test

QTEST_GUILESS_MAIN(quillora::test::X11LargeClipboardTest)
#include "X11LargeClipboardTest.moc"
