#include "controller/ControllerFixture.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::ControllerFixture;
using Kind = platform::HotKeyOutcome::Kind;

namespace {
const AppHotKey superK{40, AppHotKey::cmdKey};
}

class AppControllerHotKeyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m = std::make_unique<ControllerFixture>();
        c().onHotKeyChangeRequested = [this](const AppHotKey &hotKey) {
            m->platform.log.add(u"onHotKeyChangeRequested "_s + hotKey.storageValue());
            return m_isAccepted;
        };
        m_isAccepted = true;
    }
    void cleanup() { m.reset(); }

    void capturingSaysWhatToPress() {
        c().startHotKeyRecording();
        QVERIFY(c().isRecordingHotKey());
        QCOMPARE(c().statusText(), u"Press a shortcut with Ctrl, Option, or Cmd."_s);
        QCOMPARE(c().hotKeyDisplayName(), u"Press shortcut"_s);
    }

    void capturingIsRefusedWhileRecording() {
        c().hotKeyPressed();
        m->run();
        c().startHotKeyRecording();
        QVERIFY(!c().isRecordingHotKey());
        QCOMPARE(c().statusText(), u"Listening..."_s);
    }

    void cancellingAlwaysSaysUnchanged() {
        c().cancelHotKeyRecording();
        QCOMPARE(c().statusText(), u"Hotkey unchanged."_s);
        c().startHotKeyRecording();
        c().cancelHotKeyRecording();
        QVERIFY(!c().isRecordingHotKey());
        QCOMPARE(c().statusText(), u"Hotkey unchanged."_s);
        QCOMPARE(c().hotKeyDisplayName(), u"Ctrl Option Space"_s);
    }

    void aRejectedKeyPressKeepsTheCaptureOpen() {
        c().startHotKeyRecording();
        c().rejectRecordedHotKey();
        QVERIFY(c().isRecordingHotKey());
        QCOMPARE(c().statusText(), u"Use Ctrl, Option, or Cmd with another key."_s);
    }

    void aCapturedHotKeyIsRegisteredStoredAndReported() {
        c().startHotKeyRecording();
        m->takeCalls();
        c().setRecordedHotKey(superK);
        QCOMPARE(m->takeCalls(),
                 (QStringList{u"onHotKeyChangeRequested 40:256"_s, u"defaults.set hotKey=40:256"_s}));
        QVERIFY(!c().isRecordingHotKey());
        QCOMPARE(c().hotKey(), superK);
        QCOMPARE(c().statusText(), u"Hotkey updated to Cmd K."_s);
    }

    void observersSeeTheNewHotKey() {
        AppHotKey seen;
        QObject::connect(&c(), &AppController::hotKeyChanged, &c(),
                         [&] { seen = c().property("hotKey").value<AppHotKey>(); });
        c().setRecordedHotKey(superK);
        QCOMPARE(seen, superK);
    }

    void theHotKeyThatIsAlreadySetIsRegisteredAgain() {
        c().setRecordedHotKey(AppHotKey::defaultValue);
        QCOMPARE(m->takeCalls(),
                 (QStringList{u"onHotKeyChangeRequested 49:6144"_s, u"defaults.set hotKey=49:6144"_s}));
        QCOMPARE(c().statusText(), u"Hotkey updated to Ctrl Option Space."_s);
    }

    void anUnusableCombinationKeepsTheCaptureOpen() {
        c().startHotKeyRecording();
        m->takeCalls();
        c().setRecordedHotKey({40, AppHotKey::shiftKey});
        QVERIFY(c().isRecordingHotKey());
        QCOMPARE(c().statusText(), u"Use Ctrl, Option, or Cmd with another key."_s);
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void aRefusedRegistrationKeepsTheOldHotKeyEverywhere() {
        c().setRecordedHotKey(superK);
        m_isAccepted = false;
        c().startHotKeyRecording();
        m->takeCalls();
        c().setRecordedHotKey({0, AppHotKey::controlKey});
        QCOMPARE(m->takeCalls(), (QStringList{u"onHotKeyChangeRequested 0:4096"_s, u"onNeedsAttention"_s}));
        QVERIFY(!c().isRecordingHotKey());
        QCOMPARE(c().hotKey(), superK);
        QCOMPARE(m->platform.defaults.values.at(u"hotKey"_s), u"40:256"_s);
        QCOMPARE(c().statusText(), u"Could not register Ctrl A."_s);
    }

    void withoutAShellEveryUsableHotKeyIsAccepted() {
        c().onHotKeyChangeRequested = nullptr;
        c().setRecordedHotKey(superK);
        QCOMPARE(c().hotKey(), superK);
    }

    void resettingGoesTheSameWay() {
        c().setRecordedHotKey(superK);
        m->takeCalls();
        c().resetHotKey();
        QCOMPARE(m->takeCalls(),
                 (QStringList{u"onHotKeyChangeRequested 49:6144"_s, u"defaults.set hotKey=49:6144"_s}));
        QCOMPARE(c().statusText(), u"Hotkey updated to Ctrl Option Space."_s);
    }

    void aResetThatCannotBeRegisteredSaysSo() {
        m_isAccepted = false;
        c().resetHotKey();
        QCOMPARE(c().statusText(), u"Could not register Ctrl Option Space."_s);
    }

    // What comes later.

    void aRefusalAfterAChangeBringsTheOldHotKeyBackEverywhere() {
        c().setRecordedHotKey(superK);
        m->takeCalls();
        c().noteHotKeyOutcome(superK, {Kind::refused});
        QCOMPARE(m->takeCalls(), (QStringList{u"defaults.set hotKey=49:6144"_s,
                                              u"onHotKeyChangeRequested 49:6144"_s, u"onNeedsAttention"_s}));
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
        QCOMPARE(c().hotKeyDisplayName(), u"Ctrl Option Space"_s);
        QCOMPARE(c().statusText(), u"Could not register Cmd K."_s);
    }

    void aRefusalSaysSoAlsoWhereTheOldHotKeyCannotBeHadEither() {
        c().setRecordedHotKey(superK);
        m_isAccepted = false;
        c().noteHotKeyOutcome(superK, {Kind::refused});
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
        QCOMPARE(c().statusText(), u"Could not register Cmd K."_s);
    }

    void aRefusalAtLaunchKeepsTheValue() {
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::refused});
        QCOMPARE(m->takeCalls(), QStringList{u"onNeedsAttention"_s});
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
        QCOMPARE(c().statusText(), u"Could not register Ctrl Option Space."_s);
    }

    void aRefusalOfTheHotKeyThatWasBroughtBackKeepsIt() {
        c().setRecordedHotKey(superK);
        c().noteHotKeyOutcome(superK, {Kind::refused});
        m->takeCalls();
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::refused});
        QCOMPARE(m->takeCalls(), QStringList{u"onNeedsAttention"_s});
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
        QCOMPARE(c().statusText(), u"Could not register Ctrl Option Space."_s);
    }

    void aRefusalAfterRegisteringTheSameHotKeyOnceMoreStillKnowsTheOldOne() {
        c().setRecordedHotKey(superK);
        c().setRecordedHotKey(superK);
        c().noteHotKeyOutcome(superK, {Kind::refused});
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
    }

    void withoutAShellARefusalBringsTheOldHotKeyBackToo() {
        c().onHotKeyChangeRequested = nullptr;
        c().setRecordedHotKey(superK);
        c().noteHotKeyOutcome(superK, {Kind::refused});
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
        QCOMPARE(m->platform.defaults.values.at(u"hotKey"_s), u"49:6144"_s);
    }

    void aRefusalDuringTheNextCaptureLeavesThatOpen() {
        c().setRecordedHotKey(superK);
        c().startHotKeyRecording();
        c().noteHotKeyOutcome(superK, {Kind::refused});
        QVERIFY(c().isRecordingHotKey());
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
    }

    void aLossKeepsTheSetting() {
        c().setRecordedHotKey(superK);
        m->takeCalls();
        c().noteHotKeyOutcome(superK, {Kind::lost});
        QCOMPARE(m->takeCalls(), QStringList{u"onNeedsAttention"_s});
        QCOMPARE(c().hotKey(), superK);
        QCOMPARE(m->platform.defaults.values.at(u"hotKey"_s), u"40:256"_s);
        QCOMPARE(c().statusText(), u"Lost the hotkey Cmd K. Choose it again, or another one."_s);
    }

    void choosingALostHotKeyAgainRegistersIt() {
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::lost});
        m->takeCalls();
        c().setRecordedHotKey(AppHotKey::defaultValue);
        QCOMPARE(m->takeCalls(),
                 (QStringList{u"onHotKeyChangeRequested 49:6144"_s, u"defaults.set hotKey=49:6144"_s}));
    }

    void aHotKeyThatIsHadAgainIsSaidWithoutAskingForAttention() {
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::hadAgain});
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().statusText(), u"Hotkey Ctrl Option Space works again."_s);
    }

    void whatTheDesktopPutInItsPlaceIsShownInTheDesktopsWords() {
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::boundElsewhere, u"Meta+D"_s});
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().hotKeyDisplayName(), u"Meta+D"_s);
        QCOMPARE(c().statusText(), u"Hotkey updated to Meta+D."_s);
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
    }

    void theDesktopsWordsEndWithWhatTheyStoodFor_data() {
        using Change = std::function<void(AppController &)>;
        QTest::addColumn<Change>("change");
        QTest::addColumn<QString>("name");
        QTest::newRow("another hotkey")
            << Change([](AppController &controller) { controller.setRecordedHotKey(superK); }) << u"Cmd K"_s;
        QTest::newRow("had again") << Change([](AppController &controller) {
            controller.noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::hadAgain});
        }) << u"Ctrl Option Space"_s;
        QTest::newRow("lost") << Change([](AppController &controller) {
            controller.noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::lost});
        }) << u"Ctrl Option Space"_s;
    }
    void theDesktopsWordsEndWithWhatTheyStoodFor() {
        QFETCH(std::function<void(AppController &)>, change);
        QFETCH(QString, name);
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::boundElsewhere, u"Meta+D"_s});
        change(c());
        QCOMPARE(c().hotKeyDisplayName(), name);
    }

    void anOutcomeOfAHotKeyThatIsNoLongerWantedIsIgnored_data() {
        QTest::addColumn<Kind>("kind");
        QTest::newRow("refused") << Kind::refused;
        QTest::newRow("lost") << Kind::lost;
        QTest::newRow("bound elsewhere") << Kind::boundElsewhere;
        QTest::newRow("had again") << Kind::hadAgain;
    }
    void anOutcomeOfAHotKeyThatIsNoLongerWantedIsIgnored() {
        QFETCH(Kind, kind);
        c().setRecordedHotKey(superK);
        m->takeCalls();
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {kind, u"Meta+D"_s});
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().hotKey(), superK);
        QCOMPARE(c().hotKeyDisplayName(), u"Cmd K"_s);
        QCOMPARE(c().statusText(), u"Hotkey updated to Cmd K."_s);
    }

private:
    AppController &c() { return *m->controller; }
    std::unique_ptr<ControllerFixture> m;
    bool m_isAccepted = true;
};

QTEST_GUILESS_MAIN(AppControllerHotKeyTest)
#include "AppControllerHotKeyTest.moc"
