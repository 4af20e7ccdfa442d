#include "platform/linux/x11/PasteConditions.h"
#include "platform/linux/x11/X11HotKeys.h"
#include "platform/linux/x11/X11Keystrokes.h"
#include "platform/linux/x11/X11Windows.h"
#include "support/TestSelection.h"

#include <QFile>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::ChildProcess;
using test::TestKeyboard;

namespace {

/// A program that people dictate into.
struct Target {
    QByteArray name;
    QByteArray windowClass;
    QString program;
    QStringList arguments; ///< %1 stands for the file that the text ends up in
    bool savesOnDemand;    ///< by Ctrl+S; the others write what they get at once

    static QList<Target> all() {
        const QStringList keepInput{u"sh"_s, u"-c"_s, u"stty raw -echo; cat > %1"_s};
        return {
            {"GTK editor", "Mousepad", u"mousepad"_s, {u"--disable-server"_s, u"%1"_s}, true},
            {"Qt editor", "FeatherPad", u"featherpad"_s, {u"--standalone"_s, u"%1"_s}, true},
            {"xterm", "XTerm", u"xterm"_s, QStringList{u"-e"_s} + keepInput, false},
            {"VTE terminal", "Xfce4-terminal", u"xfce4-terminal"_s,
             QStringList{u"--disable-server"_s, u"-x"_s} + keepInput, false},
        };
    }
};

} // namespace

Q_DECLARE_METATYPE(Target)

/// The text arrives in real programs, whole and alone, whatever is held and whatever the layout.
class X11PasteTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanupTestCase() { m_program.reset(); }

    void theTextArrives_data() {
        QTest::addColumn<Target>("target");
        QTest::addColumn<test::Layout>("layout");
        QTest::addColumn<test::Held>("held");
        for (const Target &target : Target::all()) {
            for (const auto &layout : test::Layout::all()) {
                for (const auto &held : test::Held::all())
                    QTest::newRow((target.name + ", " + layout.name + ", " + held.name).constData())
                        << target << layout << held;
            }
        }
    }
    void theTextArrives() {
        QFETCH(Target, target);
        QFETCH(test::Layout, layout);
        QFETCH(test::Held, held);
        run(target);
        use(layout);
        const QByteArray text = "dictated " + QByteArray::number(++m_pasteCount) + ";";
        m_clipboard.setText(text);

        if (held.isCapsLockOn)
            m_keyboard.tap(TestKeyboard::capsLock);
        for (const auto key : held.keys)
            m_keyboard.press(key);
        m_textForPrimary = text;
        paste();
        const bool wasRead =
            ChildProcess::waitUntil([&] { return m_clipboard.readCount() + m_primary.readCount() > 0; });
        m_keyboard.releaseAll();
        if (held.isCapsLockOn)
            m_keyboard.tap(TestKeyboard::capsLock);
        QVERIFY(wasRead);

        m_pasted += text;
        const bool arrived = isSaved(target, layout, [this] { return content().endsWith(m_pasted); });
        if (!arrived)
            std::exchange(m_pasted, {}); // the rows that follow can still be judged on their own
        QVERIFY2(arrived, content().right(40).constData());
    }

private:
    void run(const Target &target) {
        if (m_running == target.name)
            return;
        m_program.reset();
        m_running = target.name;
        m_pasted.clear();
        use(test::Layout::all().first());
        QFile file(path());
        QVERIFY(file.open(QFile::WriteOnly | QFile::Truncate));
        file.close();

        QStringList arguments;
        for (const QString &argument : target.arguments)
            arguments += QString(argument).replace(u"%1"_s, path());
        m_program = m_display.start(target.program, arguments);
        const platform::X11Windows windows(m_connection);
        const bool isInFront = ChildProcess::waitUntil([&] {
            const auto window = windows.active();
            return window && windows.windowClass(*window) == QString::fromLatin1(target.windowClass);
        });
        QVERIFY(isInFront);
        QVERIFY(takesKeys(target));
    }

    /// A window that is up need not listen to the keyboard yet.
    bool takesKeys(const Target &target) {
        const auto layout = test::Layout::all().first();
        for (int attempt = 0; attempt < 20; ++attempt) {
            m_keyboard.tap(layout.keyOfA);
            save(target, layout);
            if (ChildProcess::waitUntil([this] { return !content().isEmpty(); }, 500))
                return true;
        }
        return false;
    }

    /// Saves until that is so: what is saved at once need not hold yet what is on its way to the program.
    bool isSaved(const Target &target, const test::Layout &layout, const std::function<bool()> &condition) {
        for (int attempt = 0; attempt < 60; ++attempt) {
            save(target, layout);
            if (ChildProcess::waitUntil(condition, 500))
                return true;
        }
        return false;
    }

    void use(const test::Layout &layout) {
        if (m_layout == layout.name)
            return;
        layout.apply(m_display, m_keyboard);
        m_layout = layout.name;
    }

    void paste() {
        m_keystrokes.postPasteChord([] { return true; }, [](bool) {});
    }

    void save(const Target &target, const test::Layout &layout) {
        if (target.savesOnDemand)
            m_keyboard.tapWith({TestKeyboard::control}, layout.keyOfS);
    }

    QString path() const { return m_display.folder() + u"/text"_s; }

    QByteArray content() const {
        QFile file(path());
        if (!file.open(QFile::ReadOnly))
            return {};
        return file.readAll().replace('\n', ""); // editors end a file with one, some the text too
    }

    const test::VirtualDisplay m_display{test::VirtualDisplay::WindowManager::openbox};
    platform::X11Connection m_connection{m_display.name()};
    platform::X11Events m_events{m_connection};
    platform::X11HotKeys m_hotKeys{m_events};
    test::TestSelection m_clipboard{m_display.name(), "CLIPBOARD"};
    test::TestSelection m_primary{m_display.name(), "PRIMARY"};
    platform::X11Keystrokes m_keystrokes{m_events, m_hotKeys,
                                         [this] { m_primary.setText(m_textForPrimary); }};
    TestKeyboard m_keyboard{m_display.name()};
    std::unique_ptr<ChildProcess> m_program;
    QByteArray m_running;
    QByteArray m_layout;
    QByteArray m_textForPrimary;
    QByteArray m_pasted;
    int m_pasteCount = 0;
};

QTEST_GUILESS_MAIN(X11PasteTest)
#include "X11PasteTest.moc"
