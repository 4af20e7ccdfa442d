#include "fakes/FakePlatform.h"
#include "insertion/PasteboardInserter.h"
#include "platform/linux/x11/X11HotKeys.h"
#include "platform/linux/x11/X11Keystrokes.h"
#include "platform/linux/x11/X11Pasteboard.h"
#include "platform/linux/x11/X11Windows.h"
#include "support/PromptOwners.h"
#include "support/SelectionPeer.h"
#include "support/SelectionRequestor.h"
#include "support/TestKeyboard.h"
#include "support/VirtualDisplay.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace quillora::test {

namespace {

/// A desktop of fakes, but for what a paste is made of.
class PastingDesktop : public FakePlatform {
public:
    explicit PastingDesktop(const QByteArray &displayName)
        : x11(displayName, promptOwners), m_connection(displayName) {}

    platform::Pasteboard &pasteboard() override { return x11; }
    platform::Keystrokes &keystrokes() override { return m_keystrokes; }
    platform::X11Connection &connection() { return m_connection; }

    platform::X11Pasteboard x11;
    std::function<void()> onLent = [] {}; ///< what happens right after the primary selection was lent

private:
    platform::X11Connection m_connection;
    platform::X11Events m_events{m_connection};
    platform::X11HotKeys m_hotKeys{m_events};
    platform::X11Keystrokes m_keystrokes{m_events, m_hotKeys, [this] {
                                             x11.lendToPrimary();
                                             onLent();
                                         }};
};

} // namespace

/// A paste into real programs that have a way of their own to take one.
class X11TerminalPasteTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() {
        m_desktop.onLent = [] {};
        m_program.reset();
        QFile::remove(path());
    }

    void theTextArrivesAndBothSelectionsComeBack_data() {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("windowClass");
        QTest::newRow("xterm") << u"xterm"_s << u"XTerm"_s;
        QTest::newRow("urxvt") << u"urxvt"_s << u"URxvt"_s;
        QTest::newRow("st") << u"stterm"_s << u"st-256color"_s;
    }
    void theTextArrivesAndBothSelectionsComeBack() {
        QFETCH(QString, program);
        QFETCH(QString, windowClass);
        QVERIFY(run(program, windowClass));
        const SelectionPeer owner(m_display.name(), "CLIPBOARD",
                                  {{.target = "image/png", .data = "\x89PNG"}});
        const SelectionPeer user(m_display.name(), "PRIMARY", {{.target = "UTF8_STRING", .data = "marked"}});

        QVERIFY(PasteboardInserter().paste(u"größer 駅"_s, nullptr));
        m_desktop.queue.advance(150ms);
        QVERIFY(ChildProcess::waitUntil([this] { return content().endsWith(u"größer 駅"_s.toUtf8()); }));
        m_desktop.queue.advance(800ms); // however long the terminal took
        SelectionRequestor clipboard(m_display.name(), "CLIPBOARD");
        QVERIFY(
            ChildProcess::waitUntil([&] { return clipboard.targets() == QByteArrayList({"image/png"}); }));
        QCOMPARE(clipboard.ask("image/png")->data, "\x89PNG");
        SelectionRequestor primary(m_display.name(), "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "marked");
    }

    void nothingIsPastedIfThePrimarySelectionIsNotOurs() {
        QVERIFY(run(u"xterm"_s, u"XTerm"_s));
        const SelectionPeer owner(m_display.name(), "CLIPBOARD",
                                  {{.target = "image/png", .data = "\x89PNG"}});
        std::optional<SelectionPeer> other;
        m_desktop.onLent = [&] {
            other.emplace(m_display.name(), "PRIMARY",
                          std::vector<SelectionPeer::Offer>{{.target = "UTF8_STRING", .data = "a password"}});
        };
        int timesTaken = 0;
        const PasteboardInserter inserter;
        QVERIFY(inserter.paste(u"hola"_s, nullptr, [&] { ++timesTaken; }));
        m_desktop.queue.advance(150ms);
        m_desktop.queue.advance(800ms);
        QVERIFY(!inserter.hasPendingRestore());

        TestKeyboard(m_display.name()).tap(keyOfB);
        QVERIFY(ChildProcess::waitUntil([this] { return content().endsWith('b'); }));
        QCOMPARE(content().replace('a', ""), "b");
        QCOMPARE(timesTaken, 1);
        SelectionRequestor clipboard(m_display.name(), "CLIPBOARD");
        QTRY_COMPARE(clipboard.targets(), QByteArrayList({"image/png"}));
        SelectionRequestor primary(m_display.name(), "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "a password");
    }

private:
    static constexpr xcb_keycode_t keyOfA = 38;
    static constexpr xcb_keycode_t keyOfB = 56;

    /// Starts a terminal that writes down what it is given.
    bool run(const QString &program, const QString &windowClass) {
        m_program =
            m_display.start(program, {u"-e"_s, u"sh"_s, u"-c"_s, u"stty raw -echo; cat > "_s + path()});
        return isInFront(windowClass) && takesKeys();
    }

    bool isInFront(const QString &windowClass) {
        const platform::X11Windows windows(m_desktop.connection());
        return ChildProcess::waitUntil([&] {
            const auto window = windows.active();
            return window && windows.windowClass(*window) == windowClass;
        });
    }

    /// A window that is up need not listen to the keyboard yet.
    bool takesKeys() {
        TestKeyboard keyboard(m_display.name());
        return ChildProcess::waitUntil([&] {
            keyboard.tap(keyOfA);
            return ChildProcess::waitUntil([this] { return !content().isEmpty(); }, 500);
        });
    }

    QString path() const { return m_display.folder() + u"/text"_s; }

    QByteArray content() const {
        QFile file(path());
        return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
    }

    const VirtualDisplay m_display{VirtualDisplay::WindowManager::openbox};
    PastingDesktop m_desktop{m_display.name()};
    std::unique_ptr<ChildProcess> m_program;
};

} // namespace quillora::test

QTEST_GUILESS_MAIN(quillora::test::X11TerminalPasteTest)
#include "X11TerminalPasteTest.moc"
