#include "fakes/FakePlatform.h"
#include "insertion/PasteboardInserter.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/x11/X11Pasteboard.h"
#include "support/SelectionPeer.h"
#include "support/SelectionRequestor.h"
#include "support/VirtualDisplay.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace quillora::test {

using Answer = SelectionRequestor::Answer;

namespace {

/// A desktop of fakes, but for its clipboard and its time: clipboard managers live in it.
class DesktopWithClipboard : public FakePlatform {
public:
    explicit DesktopWithClipboard(const QByteArray &displayName)
        : x11(std::make_unique<platform::X11Pasteboard>(
              displayName, platform::X11Pasteboard::Patience{.withManagers = std::chrono::minutes(1)})) {}
    platform::Pasteboard &pasteboard() override { return *x11; }
    platform::MainQueue &mainQueue() override { return m_realTime; }

    std::unique_ptr<platform::X11Pasteboard> x11;

private:
    platform::LinuxMainQueue m_realTime;
};

} // namespace

/// The inserter beside real clipboard managers.
class X11ClipboardManagersTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        QFETCH(QStringList, command);
        m_display = std::make_unique<VirtualDisplay>();
        m_clipboard = std::make_unique<SelectionRequestor>(m_display->name(), "CLIPBOARD");
        m_manager = m_display->startDaemon(u"dbus-run-session"_s, QStringList(u"--"_s) + command);
        m_desktop = std::make_unique<DesktopWithClipboard>(m_display->name());
    }
    void cleanup() {
        m_desktop.reset();
        m_owner.reset();
        m_manager.reset();
        m_clipboard.reset();
        m_display.reset();
    }

    void aPasteGivesBackWhatStoodThere_data() { recorders(); }
    void aPasteGivesBackWhatStoodThere() {
        QVERIFY(awaitRecorder());
        QVERIFY(ChildProcess::waitUntil([&] {
            return isRecorded({{.target = "image/x-test", .data = "\x89not text"},
                               {.target = "UTF8_STRING", .data = "caption"}});
        }));
        paste(u"dictated"_s);
        const QByteArrayList before{"image/x-test", "UTF8_STRING"};
        QVERIFY(!happensSoon([&] { return m_clipboard->targets() != before; }));
        QCOMPARE(m_clipboard->ask("image/x-test")->data, "\x89not text");
        QCOMPARE(pasted(), "caption");
    }

    void theDictatedTextDoesNotStayWhereNothingStood_data() { recorders(); }
    void theDictatedTextDoesNotStayWhereNothingStood() {
        QVERIFY(awaitRecorder());
        m_desktop->x11->restore(nothing());
        QTRY_VERIFY(m_clipboard->targets().isEmpty());
        QVERIFY(!happensSoon([&] { return !m_clipboard->targets().isEmpty(); }));
        paste(u"dictated"_s);
        QVERIFY(!happensSoon([&] { return !m_clipboard->targets().isEmpty(); }));
    }

    void aCopyOutlivesTheProgram_data() { keepers(); }
    void aCopyOutlivesTheProgram() {
        QVERIFY(awaitKeeper());
        PasteboardInserter().copy(u"copied"_s);
        m_desktop->x11->handOver();
        m_desktop->x11.reset();
        QTRY_COMPARE(pasted(), "copied");
    }

    void restoredContentsOutliveTheProgram_data() { keepers(); }
    void restoredContentsOutliveTheProgram() {
        QVERIFY(awaitKeeper());
        const QByteArray image(2'000'000, 'p');
        put({{.target = "image/x-test", .data = image}, {.target = "UTF8_STRING", .data = "caption"}});
        paste(u"dictated"_s);
        m_desktop->x11->handOver();
        m_desktop->x11.reset();
        QTRY_COMPARE(pasted(), "caption");
        const auto kept = m_clipboard->ask("image/x-test");
        QVERIFY(kept.has_value());
        QVERIFY(kept->data == image);
    }

    void whatAPasteHasNotGivenBackYetOutlivesTheProgram_data() { keepers(); }
    void whatAPasteHasNotGivenBackYetOutlivesTheProgram() {
        QVERIFY(awaitKeeper());
        put({{.target = "UTF8_STRING", .data = "caption"}});
        QVERIFY(PasteboardInserter().paste(u"one"_s, nullptr));
        QVERIFY(PasteboardInserter().paste(u"two"_s, nullptr));
        QCOMPARE(pasted(), "two");
        m_desktop->x11->handOver();
        m_desktop.reset();
        QTRY_COMPARE(pasted(), "caption");
    }

    void aTextThatAPasteHasNotTakenAwayYetDoesNotOutliveTheProgram_data() { keepers(); }
    void aTextThatAPasteHasNotTakenAwayYetDoesNotOutliveTheProgram() {
        QVERIFY(awaitKeeper());
        QVERIFY(PasteboardInserter().paste(u"dictated"_s, nullptr));
        m_desktop->x11->handOver();
        m_desktop.reset();
        QVERIFY(!happensSoon([&] { return !m_clipboard->targets().isEmpty(); }));
    }

    void whatAnotherProgramHasCopiedMeanwhileStays_data() { keepers(); }
    void whatAnotherProgramHasCopiedMeanwhileStays() {
        QVERIFY(awaitKeeper());
        put({{.target = "UTF8_STRING", .data = "before"}});
        QVERIFY(PasteboardInserter().paste(u"dictated"_s, nullptr));
        put({{.target = "UTF8_STRING", .data = "meanwhile"}});
        QTRY_COMPARE(pasted(), "meanwhile");
        m_desktop->x11->handOver();
        m_desktop.reset();
        QCOMPARE(pasted(), "meanwhile");
    }

private:
    /// What was saved of a clipboard on which nothing stood.
    static platform::SavedPasteboardHandle nothing() {
        return std::make_shared<platform::X11Collection>(platform::X11SelectionContents());
    }

    /// Managers that record what they see.
    static void recorders() {
        QTest::addColumn<QStringList>("command");
        QTest::newRow("copyq") << QStringList{u"copyq"_s};
        QTest::newRow("clipman") << QStringList{u"xfce4-clipman"_s};
    }

    /// Managers that take the contents over from programs that end.
    static void keepers() {
        QTest::addColumn<QStringList>("command");
        QTest::newRow("xfsettingsd") << QStringList{u"xfsettingsd"_s, u"--disable-wm-check"_s};
    }

    /// Waits until the manager records what appears on the clipboard, and has done with what it does there
    /// when it starts.
    bool awaitRecorder() {
        return ChildProcess::waitUntil([&] {
            return isRecorded({{.target = "UTF8_STRING", .data = "probe"},
                               {.target = "x-test/probe", .data = "probe"}}) &&
                   !happensSoon([&] { return !m_clipboard->targets().contains("x-test/probe"); });
        });
    }

    /// Another program takes the clipboard, from the one before without a gap: clipman fills gaps, and does
    /// so even if a new owner is there by then.
    void put(std::vector<SelectionPeer::Offer> offers) {
        m_owner = std::make_unique<SelectionPeer>(m_display->name(), "CLIPBOARD", std::move(offers));
    }

    /// Whether the manager looks at what is put on the clipboard. Clipman lets a change pass now and then.
    bool isRecorded(const std::vector<SelectionPeer::Offer> &offers) {
        put(offers);
        return happensSoon([&] { return m_owner->requested().contains("UTF8_STRING"); });
    }

    bool awaitKeeper() const {
        SelectionRequestor keeper(m_display->name(), "CLIPBOARD_MANAGER");
        return ChildProcess::waitUntil([&] { return keeper.isOwned(); });
    }

    /// Whether a manager that reacts to a change does this.
    static bool happensSoon(const std::function<bool()> &condition) {
        return ChildProcess::waitUntil(condition, 1000);
    }

    QByteArray pasted() { return m_clipboard->ask("UTF8_STRING").value_or(Answer()).data; }

    /// Waits until the clipboard is given back.
    void paste(const QString &text) {
        QVERIFY(PasteboardInserter().paste(text, nullptr));
        QCOMPARE(pasted(), text.toUtf8());
        QVERIFY(ChildProcess::waitUntil([&] { return pasted() != text.toUtf8(); }));
        QCOMPARE(m_desktop->keystrokesFake.pasteCount(), 1);
    }

    std::unique_ptr<VirtualDisplay> m_display;
    std::unique_ptr<SelectionRequestor> m_clipboard;
    std::unique_ptr<Daemon> m_manager;
    std::unique_ptr<SelectionPeer> m_owner;
    std::unique_ptr<DesktopWithClipboard> m_desktop;
};

} // namespace quillora::test

QTEST_GUILESS_MAIN(quillora::test::X11ClipboardManagersTest)
#include "X11ClipboardManagersTest.moc"
