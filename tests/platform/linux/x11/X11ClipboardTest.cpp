#include "platform/linux/x11/X11Pasteboard.h"
#include "support/OwnTime.h"
#include "support/PromptOwners.h"
#include "support/SelectionPeer.h"
#include "support/SelectionRequestor.h"
#include "support/VirtualDisplay.h"

#include <QScopeGuard>
#include <QTest>

#include <csignal>
#include <cstring>
#include <future>
#include <stdexcept>

#include <xcb/xfixes.h>

using namespace Qt::StringLiterals;

namespace quillora::test {

using namespace std::chrono_literals;
using platform::SavedPasteboard;
using platform::X11Connection;
using platform::X11Pasteboard;
using platform::X11SelectionContents;
using platform::X11SelectionOwner;
using platform::X11SelectionType;
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
        m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name(), promptOwnersAndReaders);
        m_owner = std::make_unique<X11SelectionOwner>(
            m_display->name(),
            X11SelectionOwner::Patience{.withOthers = {.withRequestors = 300ms, .withReaders = 300ms}});
    }
    void cleanup() {
        m_owner.reset();
        m_pasteboard.reset();
        m_display.reset();
    }

    // Saving.

    void propertyTypeAndFormatComeBackAsTheyWere() {
        const std::vector<Offer> before{
            {.target = "text/uri-list", .data = "file:///a%20b\r\n"},
            {.target = "TEXT", .data = "\xe9t\xe9", .type = "STRING"},
            {.target = "_PRIVATE_SHORTS", .data = {"\1\0\2\0", 4}, .type = "INTEGER", .format = 16},
            {.target = "LENGTH", .data = targetsOf({7, 0xffffffff}), .type = "INTEGER", .format = 32},
            {.target = "odd name; \xe9/8", .data = "x", .type = "odd type/32"},
        };
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", before);
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets().size(), 5);
        for (size_t i = 0; i < before.size(); ++i) {
            QCOMPARE(requestor.targets()[static_cast<qsizetype>(i)], before[i].target);
            QCOMPARE(requestor.ask(before[i].target),
                     (SelectionRequestor::Answer{before[i].type, before[i].format, before[i].data}));
        }
    }

    void ofThousandsOfFormatsTheFirstComeBack() {
        std::vector<Offer> offers;
        for (int i = 0; i < 3000; ++i)
            offers.push_back({.target = "x-format/" + QByteArray::number(i), .data = QByteArray::number(i)});
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", offers);
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets().size(), 254); // and two that are no formats
        QCOMPARE(requestor.targets().last(), "x-format/253");
        QCOMPARE(requestor.ask("x-format/253")->data, "253");
    }

    void fiftyMegabytesComeBackAsTheyWere() {
        const auto image = patterned(50 * 1024 * 1024);
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "image/bmp", .data = image}},
                                  {.pieceSize = 1024 * 1024});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"image/bmp"}));
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
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"image/png", "text/html", "image/tiff"}));
        QVERIFY(requestor.ask("image/png")->data == first);
        QVERIFY(requestor.ask("image/tiff")->data == second);
        QCOMPARE(requestor.ask("text/html")->data, "<p>");
    }

    void anotherProgramThatOffersNothingIsUnreadable() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {});
        QCOMPARE(m_pasteboard->save()->found(), SavedPasteboard::Found::unreadable);
    }

    void aHungOwnerCostsTheTimeForItsListAndNoMore() {
        m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name());
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "image/png", .data = "png"}},
                                  {.isHung = true});
        const OwnTime clock;
        QCOMPARE(m_pasteboard->save()->found(), SavedPasteboard::Found::unreadable);
        QVERIFY(clock.elapsed() < generously);
    }

    void aValueThatIsNotThereYetIsNotWaitedFor() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "image/png", .data = "png", .isLate = true}});
        const QDeadlineTimer deadline(5s);
        QCOMPARE(m_pasteboard->save()->found(), SavedPasteboard::Found::unreadable);
        QVERIFY(!deadline.hasExpired());
    }

    void aValueThatNeverComesHoldsNothingElseBack() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "text/html", .data = "html"},
                                   {.target = "image/png", .data = "png", .isAnswered = false},
                                   {.target = "text/rtf", .data = "rtf"}});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"text/html", "text/rtf"}));
    }

    void anOwnerThatAnswersOnlyOnceItHasLostTheClipboardGivesWhatIsUsual() {
        m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name());
        SelectionPeer owner(m_display->name(), "CLIPBOARD",
                            {{.target = "_PRIVATE", .data = "private"},
                             {.target = "text/html", .data = "<b>late</b>"},
                             {.target = "UTF8_STRING", .data = "late"}},
                            {.isLate = true});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QCOMPARE(requestor.targets(), QByteArrayList());
        owner.giveLate();
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"text/html", "UTF8_STRING"}));
        QCOMPARE(requestor.ask("text/html")->data, "<b>late</b>");
        QCOMPARE(requestor.ask("UTF8_STRING")->data, "late");
    }

    void anOwnerThatTakesHalfASecondForEachAnswerLosesNothing() {
        m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name());
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "UTF8_STRING", .data = "slow"}},
                                  {.delay = 500ms});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QVERIFY(ChildProcess::waitUntil(
            [&] { return requestor.targets() == QByteArrayList({"UTF8_STRING"}); }, 60000));
        QCOMPARE(requestor.ask("UTF8_STRING")->data, "slow");
    }

    /// It is asked for the usual formats before it has said that it has none of them.
    void whatAnOwnerGivesButDoesNotOfferIsLeftOut() {
        m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name());
        SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "image/png", .data = "png"}},
                            {.isLate = true, .givesWhateverIsAsked = true});
        pasteOver();
        owner.giveLate();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"image/png"}));
    }

    void aSlowPasswordManagersMarkComesBack() {
        m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name());
        SelectionPeer owner(m_display->name(), "CLIPBOARD",
                            {{.target = "UTF8_STRING", .data = "hunter2"},
                             {.target = "x-kde-passwordManagerHint", .data = "secret"}},
                            {.isLate = true});
        pasteOver();
        owner.giveLate();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"UTF8_STRING", "x-kde-passwordManagerHint"}));
    }

    void whatIsNotThereAfterTheOwnersTimeIsLeftOut() {
        m_pasteboard = std::make_unique<X11Pasteboard>(
            m_display->name(),
            X11Pasteboard::Patience{.withOthers = {.withOwners = 200ms, .withReaders = 200ms}});
        SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "UTF8_STRING", .data = "late"}},
                            {.isLate = true});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_VERIFY(!requestor.isOwned()); // it is certain by then that nothing comes
        owner.giveLate();
        QVERIFY(!ChildProcess::waitUntil([&] { return requestor.isOwned(); }, 300));
    }

    void anOwnerThatStallsInMidTransferLosesThatValueOnly() {
        const SelectionPeer owner(
            m_display->name(), "CLIPBOARD",
            {{.target = "image/png", .data = patterned(4'000'000)}, {.target = "text/html", .data = "html"}},
            {.stallsAfterPieces = 3});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"text/html"}));
    }

    void anOwnerThatDiesInMidTransferLosesThatValueOnly() {
        const SelectionPeer owner(
            m_display->name(), "CLIPBOARD",
            {{.target = "image/png", .data = patterned(4'000'000)}, {.target = "text/html", .data = "html"}},
            {.diesAfterPieces = 3});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"text/html"}));
    }

    void theNextSaveAfterAHungOwnerIsWhole() {
        {
            m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name());
            const SelectionPeer hung(m_display->name(), "CLIPBOARD", {}, {.isHung = true});
            m_pasteboard->save();
        }
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "image/png", .data = "png"}});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"image/png"}));
    }

    void aStoppedProgramGivesItsTextWhenItGoesOn() {
        m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name());
        auto xclip = runXclip("still here", {});
        xclip->signal(SIGSTOP);
        pasteOver();
        xclip->signal(SIGCONT);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.ask("UTF8_STRING").value_or(SelectionRequestor::Answer()).data, "still here");
    }

    void aStoppedProgramThatKeepsTheClipboardSurvivesItsLateAnswer() {
        m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name());
        auto xclip = runXclip("still here", {});
        xclip->signal(SIGSTOP);
        m_pasteboard->save();
        xclip->signal(SIGCONT);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        const auto answer = requestor.ask("UTF8_STRING");
        QVERIFY(answer.has_value());
        QCOMPARE(answer->data, "still here");
        QVERIFY(xclip->isRunning());
    }

    void targetsThatDoSomethingAreNeverAskedFor() {
        m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name());
        const QByteArrayList actions{"DELETE",   "INSERT_PROPERTY", "INSERT_SELECTION",
                                     "MULTIPLE", "SAVE_TARGETS",    "TIMESTAMP"};
        std::vector<Offer> offers{{.target = "text/html", .data = "html"}};
        for (const auto &target : actions)
            offers.push_back({.target = target, .data = "bad"});
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", offers, {.delay = 30ms});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"text/html"}));
        for (const auto &target : owner.requested())
            QVERIFY(!actions.contains(target));
    }

    void anOwnerThatAnswersAtOnceIsAskedForWhatItHasAndNothingElse() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "text/html", .data = "html"}, {.target = "_X", .data = "x"}});
        platform::X11SelectionServer server(m_display->name(), {});
        const auto collection = server.collect("CLIPBOARD");
        QVERIFY(ChildProcess::waitUntil([&] {
            server.serveNext();
            return collection->isComplete();
        }));
        QCOMPARE(owner.requested(), QByteArrayList({"TARGETS", "text/html", "_X"}));
    }

    void resourcesOfTheOwnerAreLeftOut() {
        const SelectionPeer owner(
            m_display->name(), "CLIPBOARD",
            {{.target = "PIXMAP", .data = targetsOf({42}), .type = "PIXMAP", .format = 32},
             {.target = "image/png", .data = "png"}});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"image/png"}));
    }

    void anOwnerThatDoesNotTellItsTargetsGivesItsText() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "STRING", .data = "plain"}},
                                  {.knowsTargets = false});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"STRING"}));
        QCOMPARE(requestor.ask("STRING")->data, "plain");
    }

    void anOwnerThatVanishesOnceItHasGivenEverythingLosesNothing() {
        platform::SavedPasteboardHandle saved;
        {
            const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                      {{.target = "image/png", .data = patterned(1'000'000)}});
            saved = m_pasteboard->save();
            m_pasteboard->write(u"text"_s, saved);
            QTRY_COMPARE(saved->found(), SavedPasteboard::Found::values);
        }
        m_pasteboard->restore(saved);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        const auto answer = requestor.ask("image/png");
        QVERIFY(answer.has_value());
        QVERIFY(answer->data == patterned(1'000'000));
    }

    void anImageOfAnotherProgramComesBackByteForByte() {
        const auto image = patterned(700'001);
        auto xclip = runXclip(image, {u"-t"_s, u"image/png"_s});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_COMPARE(requestor.targets(), QByteArrayList({"image/png"}));

        ChildProcess reader(u"xclip"_s, {u"-selection"_s, u"clipboard"_s, u"-t"_s, u"image/png"_s, u"-o"_s},
                            {displaySetting()});
        QVERIFY(ChildProcess::waitUntil([&] { return !reader.isRunning(); }));
        QVERIFY(reader.process().readAllStandardOutput() == image);
    }

    void savesLeaveNoWindowsBehind() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "image/png", .data = patterned(1'000'000)},
                                   {.target = "text/html", .data = "html"},
                                   {.target = "text/rtf", .data = "", .isRefused = true}});
        const auto before = windowCount();
        for (int i = 0; i < 20; ++i)
            m_pasteboard->save();
        std::vector<platform::SavedPasteboardHandle> kept;
        for (int i = 0; i < 20; ++i)
            kept.push_back(m_pasteboard->save());
        QTRY_COMPARE(windowCount(), before);
    }

    // Owning.

    void aTextIsOfferedUnderEveryTargetThatCanCarryIt() {
        m_pasteboard->write(u"été"_s, {});
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
        m_pasteboard->write(u"駅"_s, {});
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QCOMPARE(requestor.targets(),
                 QByteArrayList({"UTF8_STRING", "text/plain;charset=utf-8", "text/plain", "TEXT"}));
        QCOMPARE(requestor.ask("TEXT"), (SelectionRequestor::Answer{"UTF8_STRING", 8, "\xe9\xa7\x85"}));
        QCOMPARE(requestor.ask("STRING"), std::nullopt);
    }

    void theTargetsOfEveryOwnerAreAnswered() {
        m_pasteboard->write(u"text"_s, {});
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
        m_pasteboard->write(u"text"_s, {});
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        const auto answers = requestor.askMultiple({"UTF8_STRING", "image/png", "STRING"});
        QCOMPARE(answers.size(), 3U);
        QCOMPARE(answers[0], (SelectionRequestor::Answer{"UTF8_STRING", 8, "text"}));
        QCOMPARE(answers[1], std::nullopt);
        QCOMPARE(answers[2], (SelectionRequestor::Answer{"STRING", 8, "text"}));
    }

    void aRequestOlderThanOurTextIsRefused() {
        m_pasteboard->write(u"text"_s, {});
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        const auto since = timeOfContents(requestor);
        requestor.setTime(since - 1);
        QCOMPARE(requestor.ask("UTF8_STRING"), std::nullopt);
        requestor.setTime(since);
        QVERIFY(requestor.ask("UTF8_STRING").has_value());
    }

    void whoWasToldToPasteAndComesLateGetsTheText_data() {
        QTest::addColumn<QByteArray>("before");
        QTest::newRow("instead of something") << QByteArray("before");
        QTest::newRow("instead of nothing") << QByteArray();
    }
    void whoWasToldToPasteAndComesLateGetsTheText() {
        QFETCH(const QByteArray, before);
        std::optional<SelectionPeer> owner;
        if (!before.isEmpty())
            owner.emplace(m_display->name(), "CLIPBOARD",
                          std::vector<SelectionPeer::Offer>{{.target = "UTF8_STRING", .data = before}});
        X11Pasteboard pasteboard(m_display->name(), {.withOthers = {.withReaders = 1h}});
        const auto saved = pasteboard.save();
        pasteboard.write(u"dictated"_s, saved);
        SelectionRequestor reader(m_display->name(), "CLIPBOARD");
        const auto told = timeOfTelling(reader);
        pasteboard.restore(saved);
        reader.setTime(told);
        QCOMPARE(reader.ask("UTF8_STRING")->data, "dictated");
        reader.setTime(XCB_CURRENT_TIME);
        QCOMPARE(reader.ask("UTF8_STRING").value_or(SelectionRequestor::Answer()).data, before);
    }

    void eachGetsTheTextOfItsTime() {
        X11Pasteboard pasteboard(m_display->name(), {.withOthers = {.withReaders = 1h}});
        SelectionRequestor reader(m_display->name(), "CLIPBOARD");
        const auto saved = pasteboard.save();
        std::vector<xcb_timestamp_t> told;
        for (const QString &text : {u"one"_s, u"two"_s}) {
            pasteboard.write(text, saved);
            told.push_back(timeOfTelling(reader));
        }
        pasteboard.restore(saved);
        reader.setTime(told[0]);
        QCOMPARE(reader.ask("UTF8_STRING")->data, "one");
        reader.setTime(told[1]);
        QCOMPARE(reader.ask("UTF8_STRING")->data, "two");
        reader.setTime(told[0] - 1);
        QCOMPARE(reader.ask("UTF8_STRING"), std::nullopt);
    }

    void nobodyGetsATextThatIsLongGone() {
        X11Pasteboard pasteboard(m_display->name(), {.withOthers = {.withReaders = 1ms}});
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "UTF8_STRING", .data = "before"}});
        const auto saved = pasteboard.save();
        pasteboard.write(u"dictated"_s, saved);
        SelectionRequestor reader(m_display->name(), "CLIPBOARD");
        const auto told = timeOfTelling(reader);
        pasteboard.restore(saved);
        reader.setTime(told);
        QTRY_COMPARE(reader.ask("UTF8_STRING"), std::nullopt);
    }

    void aTextThatWasCopiedForGoodIsNoLongerGivenOnceItIsReplaced() {
        X11Pasteboard pasteboard(m_display->name(), {.withOthers = {.withReaders = 1h}});
        pasteboard.write(u"one"_s, {});
        SelectionRequestor reader(m_display->name(), "CLIPBOARD");
        const auto told = timeOfTelling(reader);
        pasteboard.write(u"two"_s, {});
        reader.setTime(told);
        QCOMPARE(reader.ask("UTF8_STRING"), std::nullopt);
    }

    void aLargeValueGoesToSeveralRequestorsAtOnce() {
        const auto image = patterned(5'000'001);
        own("image/png", image);
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
        m_owner->own("CLIPBOARD", {{{{"_WIDE", "INTEGER", 32}, units}}});
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        const auto answer = requestor.ask("_WIDE");
        QVERIFY(answer.has_value());
        QCOMPARE(answer->type, "INTEGER");
        QCOMPARE(answer->format, 32);
        QVERIFY(answer->data == units);
    }

    void aRequestorThatDiesInMidTransferIsForgotten() {
        m_owner = std::make_unique<X11SelectionOwner>(
            m_display->name(), X11SelectionOwner::Patience{.withOthers = {.withRequestors = 1h}});
        auto image = patterned(3'000'000);
        own("image/png", image);
        {
            SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
            QVERIFY(requestor.begin("image/png"));
        }
        m_pasteboard->write(u"text"_s, {});
        QTRY_VERIFY(image.isDetached());
    }

    void aRequestorThatHangsInMidTransferIsGivenUp() {
        auto image = patterned(3'000'000);
        own("image/png", image);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QVERIFY(requestor.begin("image/png"));
        m_pasteboard->write(u"text"_s, {});
        QVERIFY(!image.isDetached());
        QTRY_VERIFY(image.isDetached());
        QCOMPARE(requestor.takeRest(300ms), std::nullopt);
    }

    void aServerThatHangsInMidTransferHoldsNobodyUpAndLosesNothing() {
        const auto image = patterned(3'000'000);
        platform::X11SelectionServer server(m_display->name(), {});
        QVERIFY(server.own("CLIPBOARD", std::make_shared<platform::X11Collection>(X11SelectionContents{
                                            {{X11SelectionType::bytes("image/png"), image}}})));
        const auto serveDuring = [&server](const auto &operation) {
            auto result = std::async(std::launch::async, operation);
            while (result.wait_for(1ms) != std::future_status::ready) {
                while (server.serveNext()) {
                }
            }
            return result.get();
        };
        std::vector<std::unique_ptr<SelectionRequestor>> requestors;
        for (int i = 0; i < 4; ++i) {
            requestors.push_back(std::make_unique<SelectionRequestor>(m_display->name(), "CLIPBOARD"));
            QVERIFY(serveDuring([&] { return requestors.back()->begin("image/png"); }));
        }
        for (const auto &requestor : requestors)
            requestor->askForPieces();

        m_display->server().signal(SIGSTOP);
        auto served = std::async(std::launch::async, [&server] {
            while (server.serveNext()) {
            }
        });
        const bool isHeldUp = served.wait_for(30s) != std::future_status::ready;
        m_display->server().signal(SIGCONT);
        served.get();
        QVERIFY(!isHeldUp);

        for (const auto &requestor : requestors) {
            const auto answer = serveDuring([&] { return requestor->takePieces(10s); });
            QVERIFY(answer.has_value());
            QVERIFY(answer->data == image);
        }
    }

    void aRunningTransferOutlivesTheLossOfTheClipboard() {
        const auto image = patterned(3'000'000);
        own("image/png", image);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QVERIFY(requestor.begin("image/png"));
        const SelectionPeer other(m_display->name(), "CLIPBOARD", {{.target = "STRING", .data = "other"}});
        const auto answer = requestor.takeRest(5s);
        QVERIFY(answer.has_value());
        QVERIFY(answer->data == image);
    }

    void beingReplacedForgetsOurData() {
        auto image = patterned(1000);
        own("image/png", image);
        QVERIFY(!image.isDetached());
        const SelectionPeer other(m_display->name(), "CLIPBOARD", {});
        QTRY_VERIFY(image.isDetached());
    }

    void aBusyMainThreadKeepsNobodyWaiting() {
        m_pasteboard->write(u"text"_s, {});
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        // Asking turns no event loop: the main thread is as busy as can be.
        QVERIFY(requestor.ask("UTF8_STRING").has_value());
    }

    void ourOwnContentsAreReadFromMemory() {
        const auto image = patterned(60'000'000);
        own("image/png", image);
        const auto held = m_owner->save("CLIPBOARD");
        QVERIFY(held->isComplete());
        QCOMPARE(held->contents().values.front().data.constData(), image.constData());
    }

    void replacingOneTextByAnotherNeverLeavesTheClipboardWithoutAnOwner() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "STRING", .data = "before"}});
        X11Connection watcher(m_display->name());
        watchOwnersOf("CLIPBOARD", watcher);
        pasteOver();
        QCOMPARE(ownerChanges(watcher), (std::vector<bool>{true, true}));
    }

    void aTextThatWillBeTakenAwayIsMarkedAsASecret() {
        m_pasteboard->write(u"transcript"_s, m_pasteboard->save());
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QCOMPARE(requestor.ask("x-kde-passwordManagerHint"),
                 (SelectionRequestor::Answer{"x-kde-passwordManagerHint", 8, "secret"}));
    }

    void aTextThatStaysIsNoSecret() {
        m_pasteboard->write(u"transcript"_s, m_pasteboard->save());
        m_pasteboard->write(u"copied"_s, {});
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QCOMPARE(requestor.ask("x-kde-passwordManagerHint"), std::nullopt);
    }

    // The primary selection.

    void thePrimarySelectionIsLentAndGivenBack() {
        const SelectionPeer user(
            m_display->name(), "PRIMARY",
            {{.target = "UTF8_STRING", .data = "marked"}, {.target = "text/html", .data = "<b>marked</b>"}});
        const auto saved = m_pasteboard->save();
        m_pasteboard->write(u"dictated"_s, saved);
        m_pasteboard->lendToPrimary();
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "dictated");
        QTRY_VERIFY(user.requested().contains("text/html"));
        m_pasteboard->restore(saved);
        QTRY_COMPARE(primary.targets().size(), 2);
        QCOMPARE(primary.targets(), QByteArrayList({"UTF8_STRING", "text/html"}));
        QCOMPARE(primary.ask("UTF8_STRING")->data, "marked");
        QCOMPARE(primary.ask("text/html")->data, "<b>marked</b>");
    }

    void anEmptyPrimarySelectionIsEmptyAgain() {
        const auto saved = m_pasteboard->save();
        m_pasteboard->write(u"dictated"_s, saved);
        m_pasteboard->lendToPrimary();
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QVERIFY(primary.isOwned());
        m_pasteboard->restore(saved);
        QTRY_VERIFY(!primary.isOwned());
    }

    void aSecondLoanKeepsWhatTheFirstSaved() {
        const SelectionPeer user(m_display->name(), "PRIMARY", {{.target = "UTF8_STRING", .data = "marked"}});
        m_pasteboard->write(u"first"_s, m_pasteboard->save());
        m_pasteboard->lendToPrimary();
        const auto saved = m_pasteboard->save();
        m_pasteboard->write(u"second"_s, saved);
        m_pasteboard->lendToPrimary();
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "second");
        m_pasteboard->restore(saved);
        QTRY_COMPARE(primary.ask("UTF8_STRING").value_or(SelectionRequestor::Answer()).data, "marked");
    }

    void whatTheUserSelectsMeanwhileStays() {
        const auto saved = m_pasteboard->save();
        m_pasteboard->write(u"dictated"_s, saved);
        m_pasteboard->lendToPrimary();
        const SelectionPeer user(m_display->name(), "PRIMARY", {{.target = "UTF8_STRING", .data = "newer"}});
        m_pasteboard->restore(saved);
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "newer");
    }

    void aPasteElsewhereLeavesThePrimarySelectionAlone() {
        const SelectionPeer user(m_display->name(), "PRIMARY", {{.target = "UTF8_STRING", .data = "marked"}});
        X11Connection watcher(m_display->name());
        watchOwnersOf("PRIMARY", watcher);
        pasteOver();
        QCOMPARE(user.requested(), QByteArrayList());
        QCOMPARE(ownerChanges(watcher), std::vector<bool>());
    }

    void aHungOwnerOfThePrimarySelectionDoesNotHoldTheLoanBack() {
        m_pasteboard = std::make_unique<X11Pasteboard>(m_display->name());
        const SelectionPeer user(m_display->name(), "PRIMARY", {}, {.isHung = true});
        m_pasteboard->write(u"dictated"_s, {});
        const OwnTime clock;
        m_pasteboard->lendToPrimary();
        QVERIFY(clock.elapsed() < generously);
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "dictated");
    }

    void aTextIsNotGivenIfThePrimarySelectionIsTakenFromTheLoan() {
        m_pasteboard->write(u"dictated"_s, m_pasteboard->save());
        m_pasteboard->lendToPrimary();
        QVERIFY(m_pasteboard->gives(u"dictated"_s));
        const SelectionPeer other(m_display->name(), "PRIMARY",
                                  {{.target = "UTF8_STRING", .data = "a password"}});
        QVERIFY(!m_pasteboard->gives(u"dictated"_s));
    }

    void anotherProgramMayHandTheLoanOnThoughItHasOnlyJustBegun() {
        m_pasteboard->write(u"dictated"_s, m_pasteboard->save());
        m_pasteboard->lendToPrimary();
        const SelectionPeer slow(m_display->name(), "PRIMARY",
                                 {{.target = "UTF8_STRING", .data = "dictated"}}, {.delay = 100ms});
        QVERIFY(m_pasteboard->gives(u"dictated"_s));
    }

    void aTextThatCouldNotBeLentIsNotGiven() {
        m_pasteboard->write(u"copied"_s, {});
        pasteOver();
        QVERIFY(m_pasteboard->gives(u"copied"_s));
        m_pasteboard->lendToPrimary();
        QVERIFY(!m_pasteboard->gives(u"copied"_s));
    }

    void theNextTextIsGivenWithoutALoan() {
        m_pasteboard->write(u"first"_s, m_pasteboard->save());
        m_pasteboard->lendToPrimary();
        m_pasteboard->write(u"second"_s, m_pasteboard->save());
        QVERIFY(m_pasteboard->gives(u"second"_s));
    }

    void whatIsSelectedAfterTheLoanIsNotLookedAt() {
        const auto saved = m_pasteboard->save();
        m_pasteboard->write(u"dictated"_s, saved);
        m_pasteboard->lendToPrimary();
        {
            const SelectionPeer meanwhile(m_display->name(), "PRIMARY", {});
            m_pasteboard->restore(saved);
        }
        const SelectionPeer later(m_display->name(), "PRIMARY",
                                  {{.target = "UTF8_STRING", .data = "a password"}});
        m_pasteboard->gives(u"dictated"_s); // knows of every owner before
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "a password");
        QCOMPARE(later.requested(), QByteArrayList({"UTF8_STRING"}));
    }

    void nothingOfOursIsNothingToLend() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD", {{.target = "STRING", .data = "theirs"}});
        m_pasteboard->lendToPrimary();
        SelectionRequestor primary(m_display->name(), "PRIMARY");
        QVERIFY(!primary.isOwned());
    }

    // The end.

    void withoutAClipboardManagerThereIsNothingToWaitFor() {
        platform::X11SelectionOwner owner(m_display->name(), {.withManagers = 60s});
        QVERIFY(owner.own("CLIPBOARD", platform::X11SelectionContents::ofText(u"text"_s)));
        const QDeadlineTimer deadline(60s);
        QVERIFY(!owner.handOver());
        QVERIFY(!deadline.hasExpired());
    }

    void theClipboardManagerIsAskedToKeepWhatWeOffer() {
        const SelectionPeer manager(m_display->name(), "CLIPBOARD_MANAGER",
                                    {{.target = "SAVE_TARGETS", .data = "", .type = "NULL"}});
        m_pasteboard->write(u"text"_s, {});
        m_pasteboard->handOver();
        QCOMPARE(manager.requested(), QByteArrayList({"SAVE_TARGETS"}));
    }

    void whereAManagerRunsAClearedClipboardOffersNothing() {
        const SelectionPeer manager(m_display->name(), "CLIPBOARD_MANAGER", {});
        pasteOver();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QTRY_VERIFY(requestor.targets().isEmpty());
        QVERIFY(requestor.isOwned());
        QCOMPARE(m_pasteboard->save()->found(), SavedPasteboard::Found::empty);
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
        X11Pasteboard pasteboard(m_display->name(), {.withManagers = 200ms});
        pasteboard.write(u"text"_s, {});
        const OwnTime clock;
        pasteboard.handOver();
        QVERIFY(clock.elapsed() < generously);
    }

    void withoutAServerNothingHappens() {
        m_pasteboard = std::make_unique<X11Pasteboard>(":not-a-display");
        useEverything();
    }

    void aServerThatGoesAwayIsSurvived() {
        const auto before = std::signal(SIGPIPE, SIG_DFL);
        const auto restored = qScopeGuard([before] { std::signal(SIGPIPE, before); });
        m_pasteboard->write(u"text"_s, {});
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
            addRow("save", [](X11Pasteboard &pasteboard) { pasteboard.save(); });
            addRow("write", [](X11Pasteboard &pasteboard) { pasteboard.write(u"other"_s, {}); });
            addRow("restore", [](X11Pasteboard &pasteboard) { pasteboard.restore(nothing()); });
            addRow("a paste",
                   [](X11Pasteboard &pasteboard) { pasteboard.write(u"other"_s, pasteboard.save()); });
            addRow("lend", [](X11Pasteboard &pasteboard) { pasteboard.lendToPrimary(); });
            addRow("confirm", [](X11Pasteboard &pasteboard) { pasteboard.gives(u"text"_s); });
            addRow("hand over", [](X11Pasteboard &pasteboard) { pasteboard.handOver(); });
        }
    }
    void aServerThatHangsCostsEachOperationItsLimit() {
        QFETCH(Operation, operation);
        QFETCH(bool, isLent);
        m_pasteboard->write(u"text"_s, {});
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
        m_pasteboard->write(u"text"_s, {});
        m_display->server().signal(SIGSTOP);
        QCOMPARE(m_pasteboard->save()->found(), SavedPasteboard::Found::noAccess);
        m_display->server().signal(SIGCONT);
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        QCOMPARE(requestor.ask("UTF8_STRING")->data, "text");
    }

private:
    QString displaySetting() const { return u"DISPLAY="_s + QString::fromLatin1(m_display->name()); }

    /// What was saved of a clipboard on which nothing stood.
    static platform::SavedPasteboardHandle nothing() {
        return std::make_shared<platform::X11Collection>(platform::X11SelectionContents());
    }

    /// What a paste does to the clipboard.
    void pasteOver() {
        const auto saved = m_pasteboard->save();
        m_pasteboard->write(u"text"_s, saved);
        m_pasteboard->restore(saved);
    }

    /// Another program of ours, which offers more than texts.
    void own(const QByteArray &target, const QByteArray &data) {
        QVERIFY(m_owner->own("CLIPBOARD", {{{X11SelectionType::bytes(target), data}}}));
    }

    /// A real program that owns the clipboard.
    std::unique_ptr<ChildProcess> runXclip(const QByteArray &data, const QStringList &type) {
        const QStringList arguments =
            QStringList{u"-quiet"_s, u"-selection"_s, u"clipboard"_s} + type + QStringList{u"-i"_s};
        auto xclip = std::make_unique<ChildProcess>(u"xclip"_s, arguments, QStringList{displaySetting()});
        xclip->process().write(data);
        xclip->process().closeWriteChannel();
        SelectionRequestor requestor(m_display->name(), "CLIPBOARD");
        ChildProcess::waitUntil([&] { return requestor.isOwned(); });
        return xclip;
    }

    /// Since when the selection's owner has had it.
    static xcb_timestamp_t timeOfContents(SelectionRequestor &requestor) {
        xcb_timestamp_t time = XCB_CURRENT_TIME;
        if (const auto answer = requestor.ask("TIMESTAMP"); answer && answer->data.size() == sizeof time)
            std::memcpy(&time, answer->data.constData(), sizeof time);
        return time;
    }

    /// When a reader is told to paste what is there; what is done after that bears a later time.
    xcb_timestamp_t timeOfTelling(SelectionRequestor &reader) {
        const auto time = timeOfContents(reader);
        X11Connection connection(m_display->name());
        const auto hasPassed = [&] {
            return connection.serverTime(QDeadlineTimer(10000)).value_or(time) != time;
        };
        if (!ChildProcess::waitUntil(hasPassed))
            throw std::runtime_error("the server's time stands still");
        return time;
    }

    void useEverything() {
        const auto saved = m_pasteboard->save();
        QCOMPARE(saved->found(), SavedPasteboard::Found::noAccess);
        QVERIFY(!m_pasteboard->write(u"text"_s, saved));
        m_pasteboard->lendToPrimary();
        m_pasteboard->restore(saved);
        m_pasteboard->handOver();
    }

    int windowCount() {
        X11Connection connection(m_display->name());
        const auto root = xcb_setup_roots_iterator(xcb_get_setup(connection.xcb())).data->root;
        const auto tree = connection.reply(xcb_query_tree_reply, xcb_query_tree(connection.xcb(), root),
                                           QDeadlineTimer(10000));
        return tree ? xcb_query_tree_children_length(tree.get()) : -1;
    }

    static void watchOwnersOf(const QByteArray &selection, X11Connection &watcher) {
        const QDeadlineTimer patience(10000);
        watcher.reply(xcb_xfixes_query_version_reply, xcb_xfixes_query_version(watcher.xcb(), 5, 0),
                      patience);
        xcb_xfixes_select_selection_input(watcher.xcb(), watcher.createWindow(),
                                          watcher.atoms({selection}, patience)->front(),
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
        watcher.reply(xcb_get_input_focus_reply, xcb_get_input_focus(watcher.xcb()), patience);
    }

    /// For every change of owner since the last call, whether there was one then.
    static std::vector<bool> ownerChanges(X11Connection &watcher) {
        watcher.reply(xcb_get_input_focus_reply, xcb_get_input_focus(watcher.xcb()), QDeadlineTimer(10000));
        const int first = xcb_get_extension_data(watcher.xcb(), &xcb_xfixes_id)->first_event;
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
    std::unique_ptr<X11SelectionOwner> m_owner;
};

} // namespace quillora::test

QTEST_GUILESS_MAIN(quillora::test::X11ClipboardTest)
#include "X11ClipboardTest.moc"
