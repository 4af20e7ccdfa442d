#include "insertion/PasteboardInserter.h"
#include "fakes/FakePlatform.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::PasteboardItem;
using namespace std::chrono_literals;

namespace {

const QString plain = test::FakePasteboard::plainStringType;
const QString chord = u"keystrokes.paste"_s;

PasteboardItem textItem(const QString &text) {
    PasteboardItem item;
    item.setString(text, plain);
    return item;
}

} // namespace

class PasteboardInserterTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<test::FakePlatform>();
        m_inserter = {};
        m_editor = m_platform->workspaceFake.launch(u"editor"_s);
    }
    void cleanup() {
        m_timesTaken = 0;
        m_editor.reset();
        m_platform.reset();
    }

    void aPasteGoesThroughItsStepsInOrder() {
        contents() = {textItem(u"before"_s)};
        QVERIFY(m_inserter.paste(u"hola"_s, m_editor));
        QCOMPARE(take(),
                 (QStringList{u"pasteboard.save"_s, u"pasteboard.write hola"_s, u"activate editor"_s}));
        m_platform->queue.advance(149ms);
        QCOMPARE(take(), QStringList());
        m_platform->queue.advance(1ms);
        QCOMPARE(take(), QStringList{chord});
        QCOMPARE(m_platform->pasteboardFake.plainText(), u"hola"_s);
        m_platform->queue.advance(799ms);
        QCOMPARE(take(), QStringList());
        m_platform->queue.advance(1ms);
        QCOMPARE(take(), QStringList{u"pasteboard.restore 1"_s});
        QCOMPARE(contents(), (std::vector{textItem(u"before"_s)}));
    }

    void withoutTrustNothingIsDoneAtAll() {
        m_platform->keystrokesFake.isTrustGranted = false;
        contents() = {textItem(u"before"_s)};
        QVERIFY(!m_inserter.paste(u"hola"_s, m_editor));
        m_platform->queue.advance(10s);
        QCOMPARE(take(), QStringList());
        QCOMPARE(contents(), (std::vector{textItem(u"before"_s)}));
    }

    void anEmptyPasteboardIsEmptyAgainAfterwards() {
        QVERIFY(m_inserter.paste(u"hola"_s, m_editor));
        m_platform->queue.advance(950ms);
        QVERIFY(contents().empty());
        QCOMPARE(m_platform->log.calls().last(), u"pasteboard.restore 0"_s);
    }

    void anItemWithTextAndImageComesBackWithBoth() {
        PasteboardItem item;
        item.setString(u"caption"_s, plain);
        item.setData(QByteArray("\x89PNG\0\x01", 6), u"image/png"_s);
        contents() = {item};
        m_inserter.paste(u"hola"_s, m_editor);
        m_platform->queue.advance(950ms);
        QCOMPARE(contents(), std::vector{item});
    }

    void itemsAndTypesKeepTheirOrder() {
        PasteboardItem first;
        first.setData("1", u"z"_s);
        first.setData("2", u"a"_s);
        contents() = {first, textItem(u"second"_s)};
        const auto before = contents();
        m_inserter.paste(u"hola"_s, m_editor);
        m_platform->queue.advance(950ms);
        QCOMPARE(contents(), before);
    }

    void aTypeThatCannotBeReadIsDropped() {
        PasteboardItem item;
        item.setData("lost", u"private"_s);
        item.setData("kept", u"text/html"_s);
        contents() = {item};
        m_platform->pasteboardFake.unreadableTypes = {u"private"_s};
        m_inserter.paste(u"hola"_s, m_editor);
        m_platform->queue.advance(950ms);
        PasteboardItem kept;
        kept.setData("kept", u"text/html"_s);
        QCOMPARE(contents(), std::vector{kept});
    }

    void withoutATargetNothingIsActivated() {
        QVERIFY(m_inserter.paste(u"hola"_s, nullptr));
        m_platform->queue.advance(150ms);
        QCOMPARE(take(), (QStringList{u"pasteboard.save"_s, u"pasteboard.write hola"_s, chord}));
    }

    void withoutATargetOurOwnWindowsGiveTheFocusUp() {
        QVERIFY(m_inserter.paste(u"hola"_s, nullptr));
        QCOMPARE(m_platform->workspaceFake.yieldCount, 1);
    }

    void withATargetTheyHaveNoneToGiveUp() {
        QVERIFY(m_inserter.paste(u"hola"_s, m_editor));
        QCOMPARE(m_platform->workspaceFake.yieldCount, 0);
    }

    void aTargetThatHasEndedDoesNotStopThePaste() {
        m_editor->hasEnded = true;
        QVERIFY(m_inserter.paste(u"hola"_s, m_editor));
        m_platform->queue.advance(150ms);
        QVERIFY(take().endsWith(chord));
    }

    void aChordThatIsRefusedIsSkippedAndTheRestoreStillHappens() {
        m_platform->keystrokesFake.refusesChords = true;
        contents() = {textItem(u"before"_s)};
        QVERIFY(pasteAndNote(u"hola"_s));
        take();
        m_platform->queue.advance(150ms);
        QCOMPARE(take(), QStringList());
        QCOMPARE(m_timesTaken, 0);
        m_platform->queue.advance(800ms);
        QCOMPARE(contents(), (std::vector{textItem(u"before"_s)}));
    }

    void theRestoreIsMeasuredFromTheOutcomeOfTheChord_data() {
        QTest::addColumn<bool>("isPosted");
        QTest::newRow("posted") << true;
        QTest::newRow("refused") << false;
    }
    void theRestoreIsMeasuredFromTheOutcomeOfTheChord() {
        QFETCH(bool, isPosted);
        m_platform->keystrokesFake.outcomesComeLater = true;
        contents() = {textItem(u"before"_s)};
        m_inserter.paste(u"hola"_s, nullptr);
        m_platform->queue.advance(300ms);
        m_platform->keystrokesFake.tellOutcome(isPosted);
        m_platform->queue.advance(799ms);
        QCOMPARE(m_platform->pasteboardFake.plainText(), u"hola"_s);
        QVERIFY(m_inserter.hasPendingRestore());
        m_platform->queue.advance(1ms);
        QCOMPARE(contents(), (std::vector{textItem(u"before"_s)}));
        QVERIFY(!m_inserter.hasPendingRestore());
    }

    void nothingIsPostedIfThePasteboardIsTakenBeforeTheChord() {
        contents() = {textItem(u"before"_s)};
        QVERIFY(pasteAndNote(u"hola"_s));
        take();
        m_platform->queue.advance(149ms);
        contents() = {textItem(u"a password"_s)};
        m_platform->queue.advance(1ms);
        QCOMPARE(take(), QStringList());
        QCOMPARE(m_timesTaken, 1);
        m_platform->queue.advance(799ms);
        QCOMPARE(m_platform->pasteboardFake.plainText(), u"a password"_s);
        m_platform->queue.advance(1ms);
        QCOMPARE(take(), QStringList{u"pasteboard.restore 1"_s});
        QCOMPARE(contents(), (std::vector{textItem(u"before"_s)}));
        QCOMPARE(m_timesTaken, 1);
    }

    void nothingIsPostedIfThePasteboardIsTakenWhileTheChordIsPrepared() {
        contents() = {textItem(u"before"_s)};
        m_platform->keystrokesFake.onPrepare = [this] { contents() = {textItem(u"a password"_s)}; };
        QVERIFY(pasteAndNote(u"hola"_s));
        m_platform->queue.advance(150ms);
        QCOMPARE(m_platform->keystrokesFake.pasteCount(), 0);
        QCOMPARE(m_timesTaken, 1);
        m_platform->queue.advance(800ms);
        QCOMPARE(contents(), (std::vector{textItem(u"before"_s)}));
    }

    void nothingIsPostedIfThePasteboardWasNeverOurs() {
        m_platform->pasteboardFake.refusesWrites = true;
        contents() = {textItem(u"hola"_s)};
        QVERIFY(pasteAndNote(u"hola"_s));
        take();
        m_platform->queue.advance(150ms);
        QCOMPARE(take(), QStringList());
        QCOMPARE(m_timesTaken, 1);
    }

    void theChordIsPostedIfAnotherProgramHandsOurTextOn() {
        QVERIFY(pasteAndNote(u"hola"_s));
        take();
        PasteboardItem handedOn;
        handedOn.setData("<b>hola</b>", u"text/html"_s);
        handedOn.setData("hola", plain);
        contents() = {handedOn};
        m_platform->queue.advance(150ms);
        QCOMPARE(take(), QStringList{chord});
        QCOMPARE(m_timesTaken, 0);
    }

    void whatIsCopiedAfterTheChordIsNoMatterOfThePaste() {
        QVERIFY(pasteAndNote(u"hola"_s));
        m_platform->queue.advance(150ms);
        contents() = {textItem(u"copied meanwhile"_s)};
        m_platform->queue.advance(800ms);
        QCOMPARE(m_timesTaken, 0);
    }

    void theSecondOfTwoTextsAtOnceIsPastedOnce() {
        QVERIFY(pasteAndNote(u"one"_s));
        QVERIFY(pasteAndNote(u"two"_s));
        m_platform->queue.advance(150ms);
        QCOMPARE(m_platform->keystrokesFake.pasteCount(), 1);
        QCOMPARE(m_timesTaken, 1);
    }

    void whateverWasCopiedMeanwhileIsOverwritten() {
        contents() = {textItem(u"before"_s)};
        m_inserter.paste(u"hola"_s, nullptr);
        m_platform->queue.advance(500ms);
        contents() = {textItem(u"copied meanwhile"_s)};
        m_platform->queue.advance(450ms);
        QCOMPARE(m_platform->pasteboardFake.plainText(), u"before"_s);
    }

    void twoPastesCloseTogetherInterleave() {
        contents() = {textItem(u"before"_s)};
        m_inserter.paste(u"one"_s, nullptr);
        m_platform->queue.advance(500ms);
        m_inserter.paste(u"two"_s, nullptr);
        m_platform->queue.advance(450ms); // the first restores
        QCOMPARE(m_platform->pasteboardFake.plainText(), u"before"_s);
        m_platform->queue.advance(500ms); // the second saved a pasteboard that held the first text
        QCOMPARE(m_platform->pasteboardFake.plainText(), u"one"_s);
    }

    void aCopyStaysForGood() {
        contents() = {textItem(u"before"_s)};
        m_inserter.copy(u"hola"_s);
        m_platform->queue.advance(1h);
        QCOMPARE(take(), QStringList{u"pasteboard.write hola"_s});
        QCOMPARE(m_platform->pasteboardFake.plainText(), u"hola"_s);
    }

    void aRestoreIsPendingUntilTheLastPasteHasGivenThePasteboardBack() {
        QVERIFY(!m_inserter.hasPendingRestore());
        QVERIFY(m_inserter.paste(u"hola"_s, m_editor));
        QVERIFY(m_inserter.hasPendingRestore());
        m_platform->queue.advance(500ms);
        QVERIFY(m_inserter.paste(u"adios"_s, m_editor));
        m_platform->queue.advance(949ms);
        QVERIFY(m_inserter.hasPendingRestore());
        m_platform->queue.advance(1ms);
        QVERIFY(!m_inserter.hasPendingRestore());
    }

    void everyRestoreIsTold() {
        QList<bool> stillPending;
        m_inserter.setRestoreObserver([&] { stillPending += m_inserter.hasPendingRestore(); });
        m_inserter.paste(u"one"_s, m_editor);
        m_platform->queue.advance(500ms);
        m_inserter.paste(u"two"_s, m_editor);
        m_platform->queue.advance(449ms);
        QCOMPARE(stillPending, QList<bool>());
        m_platform->queue.advance(1ms);
        QCOMPARE(stillPending, QList{true});
        m_platform->queue.advance(500ms);
        QCOMPARE(stillPending, (QList{true, false}));
    }

    void aRestoreAfterTheEndOfTheInserterIsToldToo() {
        bool isRestored = false;
        auto inserter = std::make_unique<PasteboardInserter>();
        inserter->setRestoreObserver([&] { isRestored = true; });
        inserter->paste(u"one"_s, m_editor);
        inserter.reset();
        m_platform->queue.advance(950ms);
        QVERIFY(isRestored);
    }

    void aTextThatWasOnlyCopiedLeavesNothingPending() {
        m_inserter.copy(u"hola"_s);
        QVERIFY(!m_inserter.hasPendingRestore());
    }

    void askingForTrustThatIsGivenShowsNoPrompt() {
        QVERIFY(m_inserter.requestAccessibilityAccess());
        QCOMPARE(take(), QStringList());
    }

    void trustThatIsGivenAtThePromptIsThereAtOnce() {
        m_platform->keystrokesFake.isTrustGranted = false;
        m_platform->keystrokesFake.isTrustGrantedWhenAsked = true;
        QVERIFY(m_inserter.requestAccessibilityAccess());
        QCOMPARE(take(), QStringList{u"keystrokes.prompt"_s});
    }

    void askingForTrustThatIsMissingPrompts() {
        m_platform->keystrokesFake.isTrustGranted = false;
        QVERIFY(!m_inserter.hasAccessibilityAccess());
        QCOMPARE(take(), QStringList());
        QVERIFY(!m_inserter.requestAccessibilityAccess());
        QCOMPARE(take(), QStringList{u"keystrokes.prompt"_s});
    }

private:
    std::vector<PasteboardItem> &contents() { return m_platform->pasteboardFake.contents; }
    QStringList take() { return m_platform->log.take(); }

    bool pasteAndNote(const QString &text) {
        return m_inserter.paste(text, nullptr, [this] { ++m_timesTaken; });
    }

    std::unique_ptr<test::FakePlatform> m_platform;
    std::shared_ptr<test::FakeRunningApplication> m_editor;
    PasteboardInserter m_inserter;
    int m_timesTaken = 0;
};

QTEST_GUILESS_MAIN(PasteboardInserterTest)
#include "PasteboardInserterTest.moc"
