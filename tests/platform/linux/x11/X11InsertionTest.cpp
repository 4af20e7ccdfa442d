#include "fakes/FakePlatform.h"
#include "insertion/PasteboardInserter.h"
#include "platform/linux/x11/X11Pasteboard.h"
#include "support/PromptOwners.h"
#include "support/SelectionPeer.h"
#include "support/SelectionRequestor.h"
#include "support/VirtualDisplay.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace quillora::test {

using namespace std::chrono_literals;
using Answer = SelectionRequestor::Answer;

namespace {

/// A desktop of fakes, but for its clipboard.
class DesktopWithClipboard : public FakePlatform {
public:
    explicit DesktopWithClipboard(const QByteArray &displayName) {
        x11.emplace(displayName, promptOwnersAndReaders);
    }
    platform::Pasteboard &pasteboard() override { return *x11; }

    std::optional<platform::X11Pasteboard> x11;
};

QByteArray image() {
    QByteArray bytes("\x89PNG\r\n\x1a\n", 8);
    for (int i = 0; i < 600'000; ++i)
        bytes += static_cast<char>(i * 31 + i / 255);
    return bytes;
}

} // namespace

/// The inserter on a real clipboard.
class X11InsertionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_display = std::make_unique<VirtualDisplay>();
        m_desktop = std::make_unique<DesktopWithClipboard>(m_display->name());
        m_clipboard = std::make_unique<SelectionRequestor>(m_display->name(), "CLIPBOARD");
        m_desktop->keystrokesFake.onPaste = [this] { m_pasted += QString::fromUtf8(textOn(*m_clipboard)); };
        m_pasted.clear();
    }
    void cleanup() {
        m_clipboard.reset();
        m_desktop.reset();
        m_display.reset();
    }

    void anImageOnTheClipboardComesBackByteForByte() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "image/png", .data = image()},
                                   {.target = "text/html", .data = "<img>"},
                                   {.target = "TEXT", .data = "caption", .type = "STRING"}});
        QVERIFY(m_inserter.paste(u"hola"_s, nullptr));
        m_desktop->queue.advance(150ms);
        QCOMPARE(m_pasted, QStringList(u"hola"_s));
        m_desktop->queue.advance(800ms);
        QTRY_COMPARE(m_clipboard->targets(), QByteArrayList({"image/png", "text/html", "TEXT"}));
        QVERIFY(m_clipboard->ask("image/png") == (Answer{"image/png", 8, image()}));
        QCOMPARE(m_clipboard->ask("text/html"), (Answer{"text/html", 8, "<img>"}));
        QCOMPARE(m_clipboard->ask("TEXT"), (Answer{"STRING", 8, "caption"}));
    }

    void anEmptyClipboardIsEmptyAgain() {
        m_inserter.paste(u"hola"_s, nullptr);
        m_desktop->queue.advance(150ms);
        QCOMPARE(m_pasted, QStringList(u"hola"_s));
        m_desktop->queue.advance(800ms);
        QTRY_VERIFY(!m_clipboard->isOwned());
    }

    void theSecondOfTwoQuickPastesGivesTheFirstTextBack() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "UTF8_STRING", .data = "before"}});
        m_inserter.paste(u"first"_s, nullptr);
        m_desktop->queue.advance(400ms);
        m_inserter.paste(u"second"_s, nullptr);
        m_desktop->queue.advance(150ms);
        QCOMPARE(m_pasted, QStringList({u"first"_s, u"second"_s}));
        m_desktop->queue.advance(400ms);
        QTRY_COMPARE(textOn(*m_clipboard), "before");
        m_desktop->queue.advance(400ms);
        QCOMPARE(textOn(*m_clipboard), "first");
    }

    void anOwnerThatHangsForAWhileGetsTheTextPastedAndLosesNothing() {
        m_desktop->x11.emplace(m_display->name());
        SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "UTF8_STRING", .data = "before"}},
                            {.isLate = true});
        m_inserter.paste(u"hola"_s, nullptr);
        m_desktop->queue.advance(150ms);
        QCOMPARE(m_pasted, QStringList(u"hola"_s));
        m_desktop->queue.advance(800ms);
        QCOMPARE(m_clipboard->targets(), QByteArrayList());
        owner.giveLate();
        QTRY_COMPARE(textOn(*m_clipboard), "before");
    }

    void nothingIsPastedIfAnotherProgramHasTakenTheClipboard() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "UTF8_STRING", .data = "before"}});
        int timesTaken = 0;
        m_inserter.paste(u"hola"_s, nullptr, [&] { ++timesTaken; });
        const SelectionPeer other(m_display->name(), "CLIPBOARD",
                                  {{.target = "UTF8_STRING", .data = "a password"}});
        m_desktop->queue.advance(150ms);
        QCOMPARE(m_pasted, QStringList());
        QCOMPARE(timesTaken, 1);
        m_desktop->queue.advance(800ms);
        QTRY_COMPARE(textOn(*m_clipboard), "before");
    }

    void nothingIsPastedIfThatProgramHangs() {
        m_desktop->x11.emplace(m_display->name());
        m_inserter.paste(u"hola"_s, nullptr);
        const SelectionPeer other(m_display->name(), "CLIPBOARD", {}, {.isHung = true});
        m_desktop->queue.advance(150ms);
        QCOMPARE(m_desktop->keystrokesFake.pasteCount(), 0);
    }

    void theTextIsPastedIfAnotherProgramHandsItOn() {
        m_inserter.paste(u"größer 駅"_s, nullptr);
        const auto handsOn = m_display->start(u"xclip"_s, {u"-quiet"_s, u"-selection"_s, u"clipboard"_s});
        handsOn->process().write(u"größer 駅"_s.toUtf8());
        handsOn->process().closeWriteChannel();
        QVERIFY(ChildProcess::waitUntil([&] { return m_clipboard->targets().size() == 1; })); // only xclip's
        QVERIFY(ChildProcess::waitUntil([&] { return m_desktop->x11->gives(u"größer 駅"_s); }));
        m_desktop->queue.advance(150ms);
        QCOMPARE(m_pasted, QStringList(u"größer 駅"_s));
    }

    void theRestoreWinsOverWhatWasCopiedMeanwhile() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "UTF8_STRING", .data = "before"}});
        m_inserter.paste(u"hola"_s, nullptr);
        m_desktop->queue.advance(500ms);
        const SelectionPeer other(m_display->name(), "CLIPBOARD",
                                  {{.target = "UTF8_STRING", .data = "meanwhile"}});
        m_desktop->queue.advance(450ms);
        QTRY_COMPARE(textOn(*m_clipboard), "before");
    }

    void withoutTrustTheClipboardIsNotTouched() {
        m_desktop->keystrokesFake.isTrustGranted = false;
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "image/png", .data = "png"}});
        QVERIFY(!m_inserter.paste(u"hola"_s, nullptr));
        m_desktop->queue.advance(10s);
        QCOMPARE(owner.requested(), QByteArrayList());
        QCOMPARE(m_clipboard->ask("image/png")->data, "png");
    }

    void aCopyStays() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "image/png", .data = "png"}});
        m_inserter.copy(u"hola"_s);
        m_desktop->queue.advance(10s);
        QCoreApplication::processEvents();
        QCOMPARE(m_clipboard->ask("UTF8_STRING")->data, "hola");
        QCOMPARE(m_clipboard->ask("image/png"), std::nullopt);
    }

    void aTerminalFindsTheTextOnThePrimarySelection() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "image/png", .data = "png"}});
        const SelectionPeer user(m_display->name(), "PRIMARY", {{.target = "UTF8_STRING", .data = "marked"}});
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QByteArray pasted;
        m_desktop->keystrokesFake.onPaste = [&] {
            m_desktop->x11->lendToPrimary();
            pasted = primary.ask("UTF8_STRING").value_or(Answer()).data;
        };
        m_inserter.paste(u"hola"_s, nullptr);
        m_desktop->queue.advance(150ms);
        QCOMPARE(pasted, "hola");
        m_desktop->queue.advance(800ms);
        QTRY_COMPARE(textOn(primary), "marked");
        QTRY_COMPARE(m_clipboard->targets(), QByteArrayList({"image/png"}));
        QCOMPARE(m_clipboard->ask("image/png")->data, "png");
    }

private:
    static QByteArray textOn(SelectionRequestor &selection) {
        return selection.ask("UTF8_STRING").value_or(Answer()).data;
    }

    std::unique_ptr<VirtualDisplay> m_display;
    std::unique_ptr<DesktopWithClipboard> m_desktop;
    std::unique_ptr<SelectionRequestor> m_clipboard;
    PasteboardInserter m_inserter;
    QStringList m_pasted;
};

} // namespace quillora::test

QTEST_GUILESS_MAIN(quillora::test::X11InsertionTest)
#include "X11InsertionTest.moc"
