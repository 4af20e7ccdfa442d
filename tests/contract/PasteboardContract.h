#pragma once

#include "contract/Subjects.h"
#include "platform/Pasteboard.h"
#include "support/ChildProcess.h"

#include <QTest>

#include <algorithm>
#include <memory>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A pasteboard, empty at first, and the other programs that use it.
class PasteboardHarness {
public:
    struct Value {
        QString type;
        QByteArray data;

        bool operator==(const Value &) const = default;
    };

    virtual ~PasteboardHarness() = default;

    virtual platform::Pasteboard &pasteboard() = 0;

    /// What its owner does not give of what it offers.
    struct Withheld {
        QStringList forGood = {};
        QStringList untilGiveLate = {};
    };

    /// Another program puts these values on the pasteboard as one item.
    virtual void put(const std::vector<Value> &values, const Withheld &withheld) = 0;
    void put(const std::vector<Value> &values) { put(values, {}); }

    /// It gives what it has kept back until now.
    virtual void giveLate() = 0;

    /// What another program finds there.
    virtual std::vector<Value> found() = 0;

    /// The text that another program would paste; null if there is none.
    virtual QString pasted() = 0;
};

/// What every pasteboard does.
class PasteboardContract : public QObject {
    Q_OBJECT

    using Found = platform::SavedPasteboard::Found;

public:
    explicit PasteboardContract(Subjects<PasteboardHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void anEmptyPasteboardIsFoundEmpty() { QCOMPARE(pasteboard().save()->found(), Found::empty); }

    void whatStandsThereIsFound() {
        m_harness->put({{html, "<b>x</b>"}});
        const auto saved = pasteboard().save();
        QTRY_COMPARE(saved->found(), Found::values);
    }

    void anOwnerThatGivesNothingIsUnreadable() {
        m_harness->put({{html, "<b>x</b>"}}, {.forGood = {html}});
        QCOMPARE(pasteboard().save()->found(), Found::unreadable);
    }

    void aTextIsWhatOtherProgramsPaste() {
        QVERIFY(pasteboard().write(u"¿Dónde está la estación? 駅 🚉"_s, {}));
        QCOMPARE(m_harness->pasted(), u"¿Dónde está la estación? 駅 🚉"_s);
    }

    void anEmptyTextIsAText() {
        QVERIFY(pasteboard().write(u""_s, {}));
        QCOMPARE(m_harness->pasted(), u""_s);
        QVERIFY(!m_harness->pasted().isNull());
    }

    void aTextTakesThePlaceOfWhatAnotherProgramPutThere() {
        m_harness->put({{html, "<b>x</b>"}});
        pasteboard().write(u"text"_s, {});
        QCOMPARE(m_harness->pasted(), u"text"_s);
        QVERIFY(std::ranges::count(m_harness->found(), html, &PasteboardHarness::Value::type) == 0);
    }

    void theTextThatStandsThereIsGiven() {
        pasteboard().write(u"größer 駅"_s, pasteboard().save());
        QVERIFY(pasteboard().gives(u"größer 駅"_s));
        QVERIFY(!pasteboard().gives(u"größer"_s));
        QVERIFY(!pasteboard().gives(u""_s));
    }

    void ofTwoTextsTheSecondIsGiven() {
        pasteboard().write(u"first"_s, pasteboard().save());
        pasteboard().write(u"second"_s, pasteboard().save());
        QVERIFY(!pasteboard().gives(u"first"_s));
        QVERIFY(pasteboard().gives(u"second"_s));
    }

    void anotherProgramsTextIsNotOurs() {
        pasteboard().write(u"ours"_s, pasteboard().save());
        m_harness->put({{plain, "theirs"}});
        QVERIFY(!pasteboard().gives(u"ours"_s));
        QVERIFY(ChildProcess::waitUntil([&] { return pasteboard().gives(u"theirs"_s); }));
        QVERIFY(!pasteboard().gives(u"ours"_s));
    }

    void anotherProgramMayHandOurTextOn() {
        pasteboard().write(u"größer 駅"_s, pasteboard().save());
        m_harness->put({{html, "<b>"}, {plain, u"größer 駅"_s.toUtf8()}});
        QVERIFY(ChildProcess::waitUntil([&] { return pasteboard().gives(u"größer 駅"_s); }));
    }

    void aTextThatWasHandedOnAndThenReplacedIsNotGiven() {
        pasteboard().write(u"ours"_s, pasteboard().save());
        m_harness->put({{plain, "ours"}});
        QVERIFY(ChildProcess::waitUntil([&] { return pasteboard().gives(u"ours"_s); }));
        m_harness->put({{plain, "a password"}});
        QVERIFY(!pasteboard().gives(u"ours"_s));
    }

    void aTextThatItsOwnerDoesNotGiveIsNotGiven() {
        pasteboard().write(u"ours"_s, pasteboard().save());
        m_harness->put({{plain, "ours, says its owner"}}, {.forGood = {plain}});
        QVERIFY(!pasteboard().gives(u"ours"_s));
        QVERIFY(!pasteboard().gives(u"ours, says its owner"_s));
    }

    void aTextThatWasTakenAwayIsNotGiven() {
        const auto saved = pasteboard().save();
        pasteboard().write(u"ours"_s, saved);
        pasteboard().restore(saved);
        QVERIFY(!pasteboard().gives(u"ours"_s));
    }

    void whatWasSavedComesBackInItsOwnersOrder() {
        const std::vector<PasteboardHarness::Value> before{{html, "<p>1</p>"}, {plain, "1"}, {png, "\x89P"}};
        m_harness->put(before);
        pasteOver();
        QTRY_COMPARE(m_harness->found(), before);
    }

    void bytesComeBackAsTheyWere() {
        QByteArray everyByte;
        for (int byte = 0; byte < 256; ++byte)
            everyByte += static_cast<char>(byte);
        const std::vector<PasteboardHarness::Value> before{{png, everyByte}, {u"application/x-empty"_s, ""}};
        m_harness->put(before);
        pasteOver();
        QTRY_COMPARE(m_harness->found(), before);
    }

    void whatItsOwnerDoesNotGiveIsLeftOut() {
        m_harness->put({{png, "png"}, {html, "html"}}, {.forGood = {png}});
        pasteOver();
        QTRY_COMPARE(m_harness->found(), (std::vector<PasteboardHarness::Value>{{html, "html"}}));
    }

    void anEmptyPasteboardIsEmptyAgain() {
        pasteOver();
        QTRY_COMPARE(m_harness->found(), nothing);
        QVERIFY(m_harness->pasted().isNull());
    }

    void whatGaveNothingComesBackAsNothing() {
        m_harness->put({{png, "png"}}, {.forGood = {png}});
        pasteOver();
        QTRY_COMPARE(m_harness->found(), nothing);
    }

    void ourOwnTextCanBeSavedAndComeBack() {
        pasteboard().write(u"first"_s, {});
        pasteOver();
        QCOMPARE(m_harness->pasted(), u"first"_s);
    }

    void whatWasRestoredCanBeSavedAndComeBackAgain() {
        const std::vector<PasteboardHarness::Value> before{{html, "<p>1</p>"}, {png, "png"}};
        m_harness->put(before);
        pasteOver();
        pasteOver();
        QTRY_COMPARE(m_harness->found(), before);
    }

    void theSameCanBeSavedTwice() {
        m_harness->put({{png, "png"}});
        const auto first = pasteboard().save();
        const auto second = pasteboard().save();
        for (const auto &saved : {first, second}) {
            pasteboard().write(u"text"_s, saved);
            QTRY_VERIFY(saved->found() == Found::values);
            pasteboard().restore(saved);
            QTRY_COMPARE(m_harness->found(), (std::vector<PasteboardHarness::Value>{{png, "png"}}));
        }
    }

    void theRestoreWinsOverWhatAnotherProgramPutMeanwhile() {
        m_harness->put({{png, "png"}});
        const auto saved = pasteboard().save();
        pasteboard().write(u"text"_s, saved);
        m_harness->put({{html, "meanwhile"}});
        pasteboard().restore(saved);
        QTRY_COMPARE(m_harness->found(), (std::vector<PasteboardHarness::Value>{{png, "png"}}));
    }

    void whatAnotherProgramPutsReplacesOurs() {
        pasteboard().write(u"ours"_s, {});
        m_harness->put({{plain, "theirs"}});
        QCOMPARE(m_harness->pasted(), u"theirs"_s);
        pasteOver();
        QTRY_COMPARE(m_harness->found(), (std::vector<PasteboardHarness::Value>{{plain, "theirs"}}));
    }

    void aValueThatComesWhileOurTextStandsThereComesBack() {
        m_harness->put({{html, "html"}, {png, "late"}}, {.untilGiveLate = {png}});
        const auto saved = pasteboard().save();
        pasteboard().write(u"text"_s, saved);
        m_harness->giveLate();
        QCOMPARE(m_harness->pasted(), u"text"_s);
        pasteboard().restore(saved);
        QTRY_COMPARE(m_harness->found(),
                     (std::vector<PasteboardHarness::Value>{{html, "html"}, {png, "late"}}));
    }

    void aValueThatComesAfterTheRestoreJoinsTheOthersInItsOwnersOrder() {
        m_harness->put({{png, "late"}, {html, "html"}}, {.untilGiveLate = {png}});
        pasteOver();
        QTRY_COMPARE(m_harness->found(), (std::vector<PasteboardHarness::Value>{{html, "html"}}));
        m_harness->giveLate();
        QTRY_COMPARE(m_harness->found(),
                     (std::vector<PasteboardHarness::Value>{{png, "late"}, {html, "html"}}));
    }

    void whatGaveNothingUntilTheRestoreComesAfterIt() {
        m_harness->put({{png, "late"}}, {.untilGiveLate = {png}});
        const auto saved = pasteboard().save();
        QCOMPARE(saved->found(), Found::unreadable);
        pasteboard().write(u"text"_s, saved);
        pasteboard().restore(saved);
        QTRY_COMPARE(m_harness->found(), nothing);
        m_harness->giveLate();
        QTRY_COMPARE(m_harness->found(), (std::vector<PasteboardHarness::Value>{{png, "late"}}));
        QCOMPARE(saved->found(), Found::values);
    }

    void whatIsStillToComeOfARestoreIsStillToComeOfTheNext() {
        m_harness->put({{html, "html"}, {png, "late"}}, {.untilGiveLate = {png}});
        pasteOver();
        pasteOver();
        m_harness->giveLate();
        QTRY_COMPARE(m_harness->found(),
                     (std::vector<PasteboardHarness::Value>{{html, "html"}, {png, "late"}}));
    }

    void aLateValueLeavesAloneWhatAnotherProgramPutThere() {
        m_harness->put({{png, "late"}}, {.untilGiveLate = {png}});
        const auto saved = pasteboard().save();
        pasteboard().write(u"text"_s, saved);
        pasteboard().restore(saved);
        m_harness->put({{html, "theirs"}});
        m_harness->giveLate();
        QTRY_COMPARE(saved->found(), Found::values);
        QTRY_COMPARE(m_harness->found(), (std::vector<PasteboardHarness::Value>{{html, "theirs"}}));
    }

private:
    static inline const QString html = u"text/html"_s;
    static inline const QString png = u"image/png"_s;
    static inline const QString plain = u"text/plain;charset=utf-8"_s;
    static inline const std::vector<PasteboardHarness::Value> nothing;

    platform::Pasteboard &pasteboard() { return m_harness->pasteboard(); }

    /// What a paste does to the pasteboard.
    void pasteOver() {
        const auto saved = pasteboard().save();
        QVERIFY(pasteboard().write(u"text"_s, saved));
        QCOMPARE(m_harness->pasted(), u"text"_s);
        pasteboard().restore(saved);
    }

    Subjects<PasteboardHarness> m_subjects;
    std::unique_ptr<PasteboardHarness> m_harness;
};

} // namespace quillora::test
