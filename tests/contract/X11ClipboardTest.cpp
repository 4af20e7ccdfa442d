#include "platform/linux/x11/X11Pasteboard.h"
#include "support/OwnTime.h"
#include "support/SelectionPeer.h"
#include "support/SelectionRequestor.h"
#include "support/VirtualDisplay.h"

#include <QElapsedTimer>
#include <QScopeGuard>
#include <QTest>

#include <csignal>
#include <cstring>

#include <xcb/xfixes.h>

namespace quillora::test {

using namespace std::chrono_literals;
using platform::PasteboardItem;
using platform::X11Pasteboard;
using platform::X11SelectionConnection;
using Offer = SelectionPeer::Offer;

namespace {

/// What an operation with a limit of 500 ms may take on a loaded machine, at most.
constexpr auto generously = 900;

QByteArray patterned(qsizetype size) {
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i * 7 + i / 251);
    return bytes;
}

QByteArray targetsOf(const std::vector<uint32_t> &units) {
    return {reinterpret_cast<const char *>(units.data()), static_cast<qsizetype>(units.size() * 4)};
}

} // namespace

using Operation = std::function<void(X11Pasteboard &)>;

class X11ClipboardTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_display = std::make_unique<VirtualDisplay>();
        m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name(), 300ms);
    }
    void cleanup() {
        m_pasteboard.reset();
        m_display.reset();
    }

    // Reading.

    void propertyTypeAndFormatComeBackAsTheyWere() {
        const std::vector<Offer> before{
            {.target = "text/uri-list", .data = "file:///a%20b\r\n"},
            {.target = "TEXT", .data = "\xe9t\xe9", .type = "STRING"},
            {.target = "_PRIVATE_SHORTS", .data = {"\1\0\2\0", 4}, .type = "INTEGER", .format = 16},
            {.target = "LENGTH", .data = targetsOf({7, 0xffffffff}), .type = "INTEGER", .format = 32},
            {.target = "odd name; \xe9/8", .data = "x", .type = "odd type/32"},
        };
        saveReplaceAndRestore(before);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QCOMPARE(requestor.targets().size(), 5);
        for (size_t i = 0; i < before.size(); ++i) {
            QCOMPARE(requestor.targets()[static_cast<qsizetype>(i)], before[i].target);
            QCOMPARE(requestor.ask(before[i].target),
                     (SelectionRequestor::Answer{before[i].type, before[i].format, before[i].data}));
        }
    }

    void fiftyMegabytesComeInPieces() {
        const auto image = patterned(50 * 1024 * 1024);
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "image/bmp", .data = image}},
                                  {.pieceSize = 1024 * 1024});
        const auto items = m_pasteboard->items();
        QCOMPARE(items.size(), 1U);
        QVERIFY(items.front()->data(u"image/bmp"_qs) == image);
    }

    void fiftyMegabytesComeBackAsTheyWere() {
        const auto image = patterned(50 * 1024 * 1024);
        {
            const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                      {{.target = "image/bmp", .data = image}}, {.pieceSize = 1024 * 1024});
            const auto saved = save();
            write(u"text"_qs);
            restore(saved);
        }
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        const auto answer = requestor.ask("image/bmp");
        QVERIFY(answer.has_value());
        QVERIFY(answer->data == image);
    }

    void severalLargeValuesComeSideBySide() {
        const auto first = patterned(3'000'001);
        const auto second = patterned(2'000'003);
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "image/png", .data = first},
                                   {.target = "text/html", .data = "<p>"},
                                   {.target = "image/tiff", .data = second}});
        const auto items = m_pasteboard->items();
        QCOMPARE(items.size(), 1U);
        QVERIFY(items.front()->data(u"image/png"_qs) == first);
        QVERIFY(items.front()->data(u"image/tiff"_qs) == second);
        QCOMPARE(items.front()->data(u"text/html"_qs), QByteArray("<p>"));
    }

    void aHungOwnerCostsTheDeadlineAndNoMore() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "image/png", .data = "png"}},
                                  {.isHung = true});
        const OwnTime clock;
        QVERIFY(m_pasteboard->items().empty());
        QVERIFY(clock.elapsed() < generously);
    }

    void aValueThatNeverComesHoldsNothingElseBack() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "text/html", .data = "html"},
                                   {.target = "image/png", .data = "png", .isAnswered = false},
                                   {.target = "text/rtf", .data = "rtf"}});
        const OwnTime clock;
        const auto items = m_pasteboard->items();
        QVERIFY(clock.elapsed() < generously);
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->types(), QStringList({u"text/html"_qs, u"text/rtf"_qs}));
    }

    void aValueThatNeverComesCostsNoOtherValueItsType() {
        const SelectionPeer owner(
            m_display->name(), "CLIPBOARD",
            {{.target = "LENGTH", .data = targetsOf({7}), .type = "INTEGER", .format = 32},
             {.target = "image/png", .data = "png", .isAnswered = false}});
        const auto items = m_pasteboard->items();
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->types(), QStringList(u"LENGTH\u2192INTEGER\u219232"_qs));
        QCOMPARE(items.front()->data(items.front()->types().front()), targetsOf({7}));
    }

    void aSlowOwnerGivesWhatItCanInTime() {
        std::vector<Offer> offers;
        for (int i = 0; i < 20; ++i)
            offers.push_back({.target = "format/" + QByteArray::number(i), .data = "x"});
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", offers, {.delay = 70ms});
        const OwnTime clock;
        const auto items = m_pasteboard->items();
        QVERIFY(clock.elapsed() < generously);
        QCOMPARE(items.size(), 1U);
        const auto types = items.front()->types();
        QVERIFY(!types.isEmpty());
        QVERIFY(types.size() < 20);
        for (qsizetype i = 0; i < types.size(); ++i)
            QCOMPARE(types[i], u"format/"_qs + QString::number(i));
    }

    void anOwnerThatTakesFourHundredMillisecondsIsWaitedFor() {
        // Half of it for what it offers, half for the value.
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "image/png", .data = "png"}},
                                  {.delay = 200ms});
        QElapsedTimer clock;
        clock.start();
        const auto items = m_pasteboard->items();
        QVERIFY(clock.elapsed() >= 400);
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->data(u"image/png"_qs), QByteArray("png"));
    }

    void anOwnerThatStallsInMidTransferLosesThatValueOnly() {
        const SelectionPeer owner(
            m_display->name(), "CLIPBOARD",
            {{.target = "image/png", .data = patterned(4'000'000)}, {.target = "text/html", .data = "html"}},
            {.stallsAfterPieces = 3});
        const OwnTime clock;
        const auto items = m_pasteboard->items();
        QVERIFY(clock.elapsed() < generously);
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->types(), QStringList(u"text/html"_qs));
    }

    void anOwnerThatDiesInMidTransferLosesThatValueOnly() {
        const SelectionPeer owner(
            m_display->name(), "CLIPBOARD",
            {{.target = "image/png", .data = patterned(4'000'000)}, {.target = "text/html", .data = "html"}},
            {.diesAfterPieces = 3});
        const auto items = m_pasteboard->items();
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->types(), QStringList(u"text/html"_qs));
    }

    void anOwnerThatIsGoneIsNotWaitedFor() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "image/png", .data = patterned(4'000'000)}},
                                  {.diesAfterPieces = 0});
        platform::X11SelectionReader reader(m_display->name());
        const QDeadlineTimer deadline(60s);
        QVERIFY(reader.read("CLIPBOARD", deadline).values.empty());
        QVERIFY(!deadline.hasExpired());
    }

    void theNextReadAfterAHungOwnerIsWhole() {
        {
            const SelectionPeer hung(m_display->name(), "CLIPBOARD", {}, {.isHung = true});
            QVERIFY(m_pasteboard->items().empty());
        }
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "image/png", .data = "png"}});
        QCOMPARE(m_pasteboard->items().size(), 1U);
    }

    void aStoppedProgramSurvivesItsLateAnswer() {
        ChildProcess xclip(u"xclip"_qs, {u"-quiet"_qs, u"-selection"_qs, u"clipboard"_qs, u"-i"_qs},
                           {displaySetting()});
        xclip.process().write("still here");
        xclip.process().closeWriteChannel();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QVERIFY(ChildProcess::waitUntil([&] { return requestor.isOwned(); }));
        xclip.signal(SIGSTOP);
        QVERIFY(m_pasteboard->items().empty());
        xclip.signal(SIGCONT);
        const auto answer = requestor.ask("UTF8_STRING");
        QVERIFY(answer.has_value());
        QCOMPARE(answer->data, "still here");
        QVERIFY(xclip.isRunning());
    }

    void targetsThatDoSomethingAreNeverAskedFor() {
        std::vector<Offer> offers{{.target = "text/html", .data = "html"}};
        for (const auto *target :
             {"DELETE", "INSERT_PROPERTY", "INSERT_SELECTION", "MULTIPLE", "SAVE_TARGETS", "TIMESTAMP"})
            offers.push_back({.target = target, .data = "bad"});
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", offers);
        QCOMPARE(m_pasteboard->items().size(), 1U);
        QCOMPARE(owner.requested(), QByteArrayList({"TARGETS", "text/html"}));
    }

    void resourcesOfTheOwnerAreLeftOut() {
        const SelectionPeer owner(
            m_display->name(), "CLIPBOARD",
            {{.target = "PIXMAP", .data = targetsOf({42}), .type = "PIXMAP", .format = 32},
             {.target = "image/png", .data = "png"}});
        const auto items = m_pasteboard->items();
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->types(), QStringList(u"image/png"_qs));
    }

    void anOwnerThatDoesNotTellItsTargetsGivesItsText() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "STRING", .data = "plain"}},
                                  {.knowsTargets = false});
        const auto items = m_pasteboard->items();
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->string(u"STRING"_qs), u"plain"_qs);
    }

    void anOwnerThatVanishesAfterTheSaveLosesNothing() {
        std::vector<PasteboardItem> saved;
        {
            const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                      {{.target = "image/png", .data = patterned(1'000'000)}});
            saved = save();
            write(u"text"_qs);
        }
        restore(saved);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        const auto answer = requestor.ask("image/png");
        QVERIFY(answer.has_value());
        QVERIFY(answer->data == patterned(1'000'000));
    }

    void anImageOfAnotherProgramComesBackByteForByte() {
        const auto image = patterned(700'001);
        ChildProcess xclip(
            u"xclip"_qs,
            {u"-quiet"_qs, u"-selection"_qs, u"clipboard"_qs, u"-t"_qs, u"image/png"_qs, u"-i"_qs},
            {displaySetting()});
        xclip.process().write(image);
        xclip.process().closeWriteChannel();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QVERIFY(ChildProcess::waitUntil([&] { return requestor.isOwned(); }));
        const auto saved = save();
        write(u"text"_qs);
        restore(saved);

        ChildProcess reader(u"xclip"_qs,
                            {u"-selection"_qs, u"clipboard"_qs, u"-t"_qs, u"image/png"_qs, u"-o"_qs},
                            {displaySetting()});
        QVERIFY(ChildProcess::waitUntil([&] { return !reader.isRunning(); }));
        QVERIFY(reader.process().readAllStandardOutput() == image);
    }

    void savesLeaveNoWindowsBehind() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "image/png", .data = patterned(1'000'000)},
                                   {.target = "text/html", .data = "html"},
                                   {.target = "text/rtf", .data = "", .isRefused = true}});
        save();
        const auto before = windowCount();
        for (int i = 0; i < 100; ++i)
            save();
        QCOMPARE(windowCount(), before);
    }

    // Owning.

    void aTextIsOfferedUnderEveryTargetThatCanCarryIt() {
        m_pasteboard->setString(u"été"_qs);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QCOMPARE(requestor.targets(), QByteArrayList({"UTF8_STRING", "text/plain;charset=utf-8", "text/plain",
                                                      "STRING", "TEXT", "COMPOUND_TEXT"}));
        using Answer = SelectionRequestor::Answer;
        QCOMPARE(requestor.ask("UTF8_STRING"), (Answer{"UTF8_STRING", 8, "\xc3\xa9t\xc3\xa9"}));
        QCOMPARE(requestor.ask("text/plain"), (Answer{"text/plain", 8, "\xc3\xa9t\xc3\xa9"}));
        QCOMPARE(requestor.ask("STRING"), (Answer{"STRING", 8, "\xe9t\xe9"}));
        QCOMPARE(requestor.ask("TEXT"), (Answer{"STRING", 8, "\xe9t\xe9"}));
        QCOMPARE(requestor.ask("COMPOUND_TEXT"), (Answer{"COMPOUND_TEXT", 8, "\xe9t\xe9"}));
    }

    void aTextBeyondLatin1IsOfferedAsUnicodeOnly() {
        m_pasteboard->setString(u"駅"_qs);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QCOMPARE(requestor.targets(),
                 QByteArrayList({"UTF8_STRING", "text/plain;charset=utf-8", "text/plain", "TEXT"}));
        QCOMPARE(requestor.ask("TEXT"), (SelectionRequestor::Answer{"UTF8_STRING", 8, "\xe9\xa7\x85"}));
        QCOMPARE(requestor.ask("STRING"), std::nullopt);
    }

    void theTargetsOfEveryOwnerAreAnswered() {
        m_pasteboard->setString(u"text"_qs);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        const auto targets = requestor.ask("TARGETS");
        QVERIFY(targets.has_value());
        QCOMPARE(targets->type, "ATOM");
        QCOMPARE(targets->format, 32);
        QCOMPARE(targets->data.size(), 4 * (4 + 6));
        const auto timestamp = requestor.ask("TIMESTAMP");
        QVERIFY(timestamp.has_value());
        QCOMPARE(timestamp->type, "INTEGER");
        QCOMPARE(timestamp->format, 32);
        QVERIFY(timestamp->data != targetsOf({0}));
        QCOMPARE(requestor.ask("SAVE_TARGETS"), (SelectionRequestor::Answer{"NULL", 32, ""}));
    }

    void severalTargetsAreAnsweredAtOnce() {
        m_pasteboard->setString(u"text"_qs);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        const auto answers = requestor.askMultiple({"UTF8_STRING", "image/png", "STRING"});
        QCOMPARE(answers.size(), 3U);
        QCOMPARE(answers[0], (SelectionRequestor::Answer{"UTF8_STRING", 8, "text"}));
        QCOMPARE(answers[1], std::nullopt);
        QCOMPARE(answers[2], (SelectionRequestor::Answer{"STRING", 8, "text"}));
    }

    void aRequestOlderThanOurTextIsRefused() {
        m_pasteboard->setString(u"text"_qs);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        xcb_timestamp_t since = 0;
        const auto timestamp = requestor.ask("TIMESTAMP");
        QVERIFY(timestamp.has_value());
        std::memcpy(&since, timestamp->data.constData(), sizeof since);
        requestor.setTime(since - 1);
        QCOMPARE(requestor.ask("UTF8_STRING"), std::nullopt);
        requestor.setTime(since);
        QVERIFY(requestor.ask("UTF8_STRING").has_value());
    }

    void aLargeValueGoesToSeveralRequestorsAtOnce() {
        const auto image = patterned(5'000'001);
        writeData(image, u"image/png"_qs);
        SelectionRequestor first(m_display->name(), "CLIPBOARD");
        SelectionRequestor second(m_display->name(), "CLIPBOARD");
        QVERIFY(first.begin("image/png"));
        QVERIFY(second.begin("image/png"));
        const auto secondAnswer = second.takeRest(5s);
        const auto firstAnswer = first.takeRest(5s);
        QVERIFY(firstAnswer.has_value());
        QVERIFY(secondAnswer.has_value());
        QVERIFY(firstAnswer->data == image);
        QVERIFY(secondAnswer->data == image);
    }

    void aLargeValueOfWideUnitsGoesOutWhole() {
        const auto units = patterned(4 * 300'001);
        writeData(units, u"_WIDE\u2192INTEGER\u219232"_qs);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        const auto answer = requestor.ask("_WIDE");
        QVERIFY(answer.has_value());
        QCOMPARE(answer->type, "INTEGER");
        QCOMPARE(answer->format, 32);
        QVERIFY(answer->data == units);
    }

    void aRequestorThatDiesInMidTransferIsForgotten() {
        m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name(), std::chrono::hours(1));
        auto image = patterned(3'000'000);
        writeData(image, u"image/png"_qs);
        {
            SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
            QVERIFY(requestor.begin("image/png"));
        }
        m_pasteboard->setString(u"text"_qs);
        QTRY_VERIFY(image.isDetached());
    }

    void aRequestorThatHangsInMidTransferIsGivenUp() {
        auto image = patterned(3'000'000);
        writeData(image, u"image/png"_qs);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QVERIFY(requestor.begin("image/png"));
        m_pasteboard->setString(u"text"_qs);
        QVERIFY(!image.isDetached());
        QTRY_VERIFY(image.isDetached());
        QCOMPARE(requestor.takeRest(300ms), std::nullopt);
    }

    void aRunningTransferOutlivesTheLossOfTheClipboard() {
        const auto image = patterned(3'000'000);
        writeData(image, u"image/png"_qs);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QVERIFY(requestor.begin("image/png"));
        const SelectionPeer other(m_display->name(), "CLIPBOARD", {{.target = "STRING", .data = "other"}});
        const auto answer = requestor.takeRest(5s);
        QVERIFY(answer.has_value());
        QVERIFY(answer->data == image);
    }

    void beingReplacedForgetsOurData() {
        auto image = patterned(1000);
        writeData(image, u"image/png"_qs);
        QVERIFY(!image.isDetached());
        const SelectionPeer other(m_display->name(), "CLIPBOARD", {});
        QTRY_VERIFY(image.isDetached());
    }

    void aBusyMainThreadKeepsNobodyWaiting() {
        m_pasteboard->setString(u"text"_qs);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        // Asking turns no event loop: the main thread is as busy as can be.
        QVERIFY(requestor.ask("UTF8_STRING").has_value());
    }

    void ourOwnContentsAreReadFromMemory() {
        const auto image = patterned(60'000'000);
        writeData(image, u"image/png"_qs);
        const auto items = m_pasteboard->items();
        QCOMPARE(items.size(), 1U);
        const auto data = items.front()->data(u"image/png"_qs);
        QVERIFY(data.has_value());
        QCOMPARE(data->constData(), image.constData());
    }

    void replacingOneTextByAnotherNeverLeavesTheClipboardWithoutAnOwner() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "STRING", .data = "before"}});
        X11SelectionConnection watcher(m_display->name());
        watchOwnersOf("CLIPBOARD", watcher);
        const auto saved = save();
        write(u"text"_qs);
        restore(saved);
        QCOMPARE(ownerChanges(watcher), (std::vector<bool>{true, true}));
        m_pasteboard->clearContents();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_VERIFY(!requestor.isOwned());
        QCOMPARE(ownerChanges(watcher), (std::vector<bool>{false}));
    }

    void aTextThatWillBeTakenAwayIsMarkedAsASecret() {
        save();
        write(u"transcript"_qs);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QCOMPARE(requestor.ask("x-kde-passwordManagerHint"),
                 (SelectionRequestor::Answer{"x-kde-passwordManagerHint", 8, "secret"}));
    }

    void aTextThatStaysIsNoSecret() {
        save();
        write(u"transcript"_qs);
        write(u"copied"_qs);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QCOMPARE(requestor.ask("x-kde-passwordManagerHint"), std::nullopt);
    }

    void ofSeveralItemsTheFirstValueOfATargetStands() {
        PasteboardItem first;
        first.setData("1", u"text/html"_qs);
        PasteboardItem second;
        second.setData("2", u"text/html"_qs);
        second.setData("3", u"image/png"_qs);
        m_pasteboard->writeItems({first, second});
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QCOMPARE(requestor.targets(), QByteArrayList({"text/html", "image/png"}));
        QCOMPARE(requestor.ask("text/html")->data, "1");
    }

    // The primary selection.

    void thePrimarySelectionIsLentAndGivenBack() {
        const SelectionPeer user(
            m_display->name(), "PRIMARY",
            {{.target = "UTF8_STRING", .data = "marked"}, {.target = "text/html", .data = "<b>marked</b>"}});
        save();
        write(u"dictated"_qs);
        m_pasteboard->lendToPrimary();
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "dictated");
        PasteboardItem before;
        before.setData("before", u"UTF8_STRING"_qs);
        restore({before});
        QCOMPARE(primary.targets(), QByteArrayList({"UTF8_STRING", "text/html"}));
        QCOMPARE(primary.ask("UTF8_STRING")->data, "marked");
        QCOMPARE(primary.ask("text/html")->data, "<b>marked</b>");
    }

    void anEmptyPrimarySelectionIsEmptyAgain() {
        write(u"dictated"_qs);
        m_pasteboard->lendToPrimary();
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QVERIFY(primary.isOwned());
        m_pasteboard->clearContents();
        QTRY_VERIFY(!primary.isOwned());
    }

    void aSecondLoanKeepsWhatTheFirstSaved() {
        const SelectionPeer user(m_display->name(), "PRIMARY", {{.target = "UTF8_STRING", .data = "marked"}});
        write(u"first"_qs);
        m_pasteboard->lendToPrimary();
        const auto saved = save();
        write(u"second"_qs);
        m_pasteboard->lendToPrimary();
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "second");
        restore(saved);
        QCOMPARE(primary.ask("UTF8_STRING")->data, "marked");
    }

    void whatTheUserSelectsMeanwhileStays() {
        write(u"dictated"_qs);
        m_pasteboard->lendToPrimary();
        const SelectionPeer user(m_display->name(), "PRIMARY", {{.target = "UTF8_STRING", .data = "newer"}});
        m_pasteboard->clearContents();
        SelectionRequestor clipboard(m_display->name(), "CLIPBOARD");
        QTRY_VERIFY(!clipboard.isOwned());
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "newer");
    }

    void aPasteElsewhereLeavesThePrimarySelectionAlone() {
        const SelectionPeer user(m_display->name(), "PRIMARY", {{.target = "UTF8_STRING", .data = "marked"}});
        X11SelectionConnection watcher(m_display->name());
        watchOwnersOf("PRIMARY", watcher);
        save();
        write(u"dictated"_qs);
        m_pasteboard->clearContents();
        SelectionRequestor clipboard(m_display->name(), "CLIPBOARD");
        QTRY_VERIFY(!clipboard.isOwned());
        QCOMPARE(user.requested(), QByteArrayList());
        QCOMPARE(ownerChanges(watcher), std::vector<bool>());
    }

    void aHungOwnerOfThePrimarySelectionDoesNotHoldTheLoanBack() {
        const SelectionPeer user(m_display->name(), "PRIMARY", {}, {.isHung = true});
        write(u"dictated"_qs);
        const OwnTime clock;
        m_pasteboard->lendToPrimary();
        QVERIFY(clock.elapsed() < generously);
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "dictated");
    }

    void nothingOfOursIsNothingToLend() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "STRING", .data = "theirs"}});
        m_pasteboard->lendToPrimary();
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QVERIFY(!primary.isOwned());
    }

    // The end.

    void withoutAClipboardManagerThereIsNothingToWaitFor() {
        platform::X11SelectionOwner owner(m_display->name());
        QVERIFY(owner.own("CLIPBOARD", platform::X11SelectionContents::ofText(u"text"_qs)));
        const QDeadlineTimer deadline(60s);
        QVERIFY(!owner.handOver(60s));
        QVERIFY(!deadline.hasExpired());
    }

    void theClipboardManagerIsAskedToKeepWhatWeOffer() {
        const SelectionPeer manager(m_display->name(), "CLIPBOARD_MANAGER",
                                    {{.target = "SAVE_TARGETS", .data = "", .type = "NULL"}});
        m_pasteboard->setString(u"text"_qs);
        m_pasteboard->handOver();
        QCOMPARE(manager.requested(), QByteArrayList({"SAVE_TARGETS"}));
    }

    void whereAManagerRunsAClearedClipboardOffersNothing() {
        const SelectionPeer manager(m_display->name(), "CLIPBOARD_MANAGER", {});
        m_pasteboard->setString(u"text"_qs);
        m_pasteboard->clearContents();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_VERIFY(requestor.targets().isEmpty());
        QVERIFY(requestor.isOwned());
        QVERIFY(m_pasteboard->items().empty());
        m_pasteboard->handOver();
        QCOMPARE(manager.requested(), QByteArrayList());
    }

    void nothingOfOursIsNotHandedOver() {
        const SelectionPeer manager(m_display->name(), "CLIPBOARD_MANAGER",
                                    {{.target = "SAVE_TARGETS", .data = "", .type = "NULL"}});
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "STRING", .data = "theirs"}});
        m_pasteboard->handOver();
        QCOMPARE(manager.requested(), QByteArrayList());
    }

    void aHungClipboardManagerHoldsTheEndBackNoLongerThanItsLimit() {
        const SelectionPeer manager(m_display->name(), "CLIPBOARD_MANAGER", {}, {.isHung = true});
        m_pasteboard->setString(u"text"_qs);
        const OwnTime clock;
        m_pasteboard->handOver();
        QVERIFY(clock.elapsed() < generously);
    }

    void aClearedClipboardIsClearedEvenAtTheEnd() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "STRING", .data = "theirs"}});
        m_pasteboard->clearContents();
        m_pasteboard.reset();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QVERIFY(!requestor.isOwned());
    }

    void withoutAServerNothingHappens() {
        m_pasteboard = std::make_unique<X11Pasteboard>(":not-a-display");
        useEverything();
    }

    void aServerThatGoesAwayIsSurvived() {
        const auto before = std::signal(SIGPIPE, SIG_DFL);
        const auto restored = qScopeGuard([before] { std::signal(SIGPIPE, before); });
        m_pasteboard->setString(u"text"_qs);
        m_display->server().signal(SIGKILL);
        QVERIFY(ChildProcess::waitUntil([&] { return !m_display->server().isRunning(); }));
        useEverything();
    }

    void aServerThatHangsCostsEachOperationItsLimit_data() {
        QTest::addColumn<Operation>("operation");
        QTest::addColumn<bool>("isLent");
        for (const bool isLent : {false, true}) {
            const auto addRow = [isLent](const char *name, const Operation &operation) {
                QTest::addRow("%s%s", name, isLent ? ", the primary selection lent" : "")
                    << operation << isLent;
            };
            addRow("read", [](X11Pasteboard &pasteboard) { pasteboard.items(); });
            addRow("clear", [](X11Pasteboard &pasteboard) {
                pasteboard.clearContents();
                QCoreApplication::processEvents();
            });
            addRow("write", [](X11Pasteboard &pasteboard) { pasteboard.setString(u"other"_qs); });
            addRow("restore", [](X11Pasteboard &pasteboard) {
                PasteboardItem item;
                item.setData("x", u"a/b"_qs);
                pasteboard.writeItems({item});
            });
            addRow("lend", [](X11Pasteboard &pasteboard) { pasteboard.lendToPrimary(); });
            addRow("hand over", [](X11Pasteboard &pasteboard) { pasteboard.handOver(); });
            addRow("hand over while clearing", [](X11Pasteboard &pasteboard) {
                pasteboard.clearContents();
                pasteboard.handOver();
            });
        }
    }
    void aServerThatHangsCostsEachOperationItsLimit() {
        QFETCH(Operation, operation);
        QFETCH(bool, isLent);
        m_pasteboard->setString(u"text"_qs);
        if (isLent)
            m_pasteboard->lendToPrimary();
        m_display->server().signal(SIGSTOP);
        const OwnTime clock;
        operation(*m_pasteboard);
        const auto elapsed = clock.elapsed();
        m_display->server().signal(SIGCONT);
        QVERIFY2(elapsed < generously, QByteArray::number(elapsed).constData());
    }

    void aServerThatHungChangesNothing() {
        m_pasteboard->setString(u"text"_qs);
        m_display->server().signal(SIGSTOP);
        QVERIFY(m_pasteboard->items().empty());
        m_display->server().signal(SIGCONT);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QCOMPARE(requestor.ask("UTF8_STRING")->data, "text");
    }

private:
    QString displaySetting() const { return u"DISPLAY="_qs + QString::fromLatin1(m_display->name()); }

    std::vector<PasteboardItem> save() {
        std::vector<PasteboardItem> saved;
        for (const auto &entry : m_pasteboard->items()) {
            auto &item = saved.emplace_back();
            for (const QString &type : entry->types()) {
                if (const auto data = entry->data(type))
                    item.setData(*data, type);
            }
        }
        return saved;
    }
    void write(const QString &text) {
        m_pasteboard->clearContents();
        m_pasteboard->setString(text);
    }
    void writeData(const QByteArray &data, const QString &type) {
        PasteboardItem item;
        item.setData(data, type);
        restore({item});
    }
    void restore(const std::vector<PasteboardItem> &items) {
        m_pasteboard->clearContents();
        m_pasteboard->writeItems(items);
    }
    void saveReplaceAndRestore(const std::vector<Offer> &offers) {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", offers);
        const auto saved = save();
        write(u"text"_qs);
        restore(saved);
    }

    void useEverything() {
        QVERIFY(m_pasteboard->items().empty());
        m_pasteboard->clearContents();
        m_pasteboard->setString(u"text"_qs);
        m_pasteboard->lendToPrimary();
        writeData("x", u"a/b"_qs);
        m_pasteboard->handOver();
        m_pasteboard->clearContents();
        QCoreApplication::processEvents();
    }

    int windowCount() {
        X11SelectionConnection connection(m_display->name());
        const auto root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
        const auto tree =
            connection.reply<xcb_query_tree_reply_t>(xcb_query_tree(connection, root), QDeadlineTimer(10000));
        return tree ? xcb_query_tree_children_length(tree.get()) : -1;
    }

    static void watchOwnersOf(const QByteArray &selection, X11SelectionConnection &watcher) {
        const QDeadlineTimer patience(10000);
        watcher.reply<xcb_xfixes_query_version_reply_t>(xcb_xfixes_query_version(watcher, 5, 0), patience);
        xcb_xfixes_select_selection_input(watcher, watcher.createWindow(),
                                          watcher.atoms({selection}, patience)->front(),
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
        watcher.reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus(watcher), patience);
    }

    /// For every change of owner since the last call, whether there was one then.
    static std::vector<bool> ownerChanges(X11SelectionConnection &watcher) {
        watcher.reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus(watcher), QDeadlineTimer(10000));
        const int first = xcb_get_extension_data(watcher, &xcb_xfixes_id)->first_event;
        std::vector<bool> owned;
        while (const auto event = watcher.arrivedEvent()) {
            if ((event->response_type & 0x7f) == first + XCB_XFIXES_SELECTION_NOTIFY)
                owned.push_back(
                    reinterpret_cast<const xcb_xfixes_selection_notify_event_t *>(event.get())->owner !=
                    XCB_NONE);
        }
        return owned;
    }

    std::unique_ptr<VirtualDisplay> m_display;
    std::unique_ptr<X11Pasteboard> m_pasteboard;
};

} // namespace quillora::test

QTEST_GUILESS_MAIN(quillora::test::X11ClipboardTest)
#include "X11ClipboardTest.moc"
