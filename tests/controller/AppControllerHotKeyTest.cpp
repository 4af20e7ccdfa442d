#include "controller/ControllerFixture.h"

#include <QTest>

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
            m->platform.log.add(u"onHotKeyChangeRequested "_qs + hotKey.storageValue());
            return m_isAccepted;
        };
        m_isAccepted = true;
    }
    void cleanup() { m.reset(); }

    void capturingSaysWhatToPress() {
        c().startHotKeyRecording();
        QVERIFY(c().isRecordingHotKey());
        QCOMPARE(c().statusText(), u"Press a shortcut with Ctrl, Option, or Cmd."_qs);
        QCOMPARE(c().hotKeyDisplayName(), u"Press shortcut"_qs);
    }

    void capturingIsRefusedWhileRecording() {
        c().hotKeyPressed();
        m->run();
        c().startHotKeyRecording();
        QVERIFY(!c().isRecordingHotKey());
        QCOMPARE(c().statusText(), u"Listening..."_qs);
    }

    void cancellingAlwaysSaysUnchanged() {
        c().cancelHotKeyRecording();
        QCOMPARE(c().statusText(), u"Hotkey unchanged."_qs);
        c().startHotKeyRecording();
        c().cancelHotKeyRecording();
        QVERIFY(!c().isRecordingHotKey());
        QCOMPARE(c().statusText(), u"Hotkey unchanged."_qs);
        QCOMPARE(c().hotKeyDisplayName(), u"Ctrl Option Space"_qs);
    }

    void aRejectedKeyPressKeepsTheCaptureOpen() {
        c().startHotKeyRecording();
        c().rejectRecordedHotKey();
        QVERIFY(c().isRecordingHotKey());
        QCOMPARE(c().statusText(), u"Use Ctrl, Option, or Cmd with another key."_qs);
    }

    void aCapturedHotKeyIsRegisteredStoredAndReported() {
        c().startHotKeyRecording();
        m->takeCalls();
        c().setRecordedHotKey(superK);
        QCOMPARE(m->takeCalls(),
                 (QStringList{u"onHotKeyChangeRequested 40:256"_qs, u"defaults.set hotKey=40:256"_qs}));
        QVERIFY(!c().isRecordingHotKey());
        QCOMPARE(c().hotKey(), superK);
        QCOMPARE(c().statusText(), u"Hotkey updated to Cmd K."_qs);
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
                 (QStringList{u"onHotKeyChangeRequested 49:6144"_qs, u"defaults.set hotKey=49:6144"_qs}));
        QCOMPARE(c().statusText(), u"Hotkey updated to Ctrl Option Space."_qs);
    }

    void anUnusableCombinationKeepsTheCaptureOpen() {
        c().startHotKeyRecording();
        m->takeCalls();
        c().setRecordedHotKey({40, AppHotKey::shiftKey});
        QVERIFY(c().isRecordingHotKey());
        QCOMPARE(c().statusText(), u"Use Ctrl, Option, or Cmd with another key."_qs);
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void aRefusedRegistrationKeepsTheOldHotKeyEverywhere() {
        c().setRecordedHotKey(superK);
        m_isAccepted = false;
        c().startHotKeyRecording();
        m->takeCalls();
        c().setRecordedHotKey({0, AppHotKey::controlKey});
        QCOMPARE(m->takeCalls(), (QStringList{u"onHotKeyChangeRequested 0:4096"_qs, u"onNeedsAttention"_qs}));
        QVERIFY(!c().isRecordingHotKey());
        QCOMPARE(c().hotKey(), superK);
        QCOMPARE(m->platform.defaults.values.at(u"hotKey"_qs), u"40:256"_qs);
        QCOMPARE(c().statusText(), u"Could not register Ctrl A."_qs);
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
                 (QStringList{u"onHotKeyChangeRequested 49:6144"_qs, u"defaults.set hotKey=49:6144"_qs}));
        QCOMPARE(c().statusText(), u"Hotkey updated to Ctrl Option Space."_qs);
    }

    void aResetThatCannotBeRegisteredSaysSo() {
        m_isAccepted = false;
        c().resetHotKey();
        QCOMPARE(c().statusText(), u"Could not register Ctrl Option Space."_qs);
    }

    // What comes later.

    void aRefusalAfterAChangeBringsTheOldHotKeyBackEverywhere() {
        c().setRecordedHotKey(superK);
        m->takeCalls();
        c().noteHotKeyOutcome(superK, {Kind::refused});
        QCOMPARE(m->takeCalls(),
                 (QStringList{u"defaults.set hotKey=49:6144"_qs, u"onHotKeyChangeRequested 49:6144"_qs,
                              u"onNeedsAttention"_qs}));
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
        QCOMPARE(c().hotKeyDisplayName(), u"Ctrl Option Space"_qs);
        QCOMPARE(c().statusText(), u"Could not register Cmd K."_qs);
    }

    void aRefusalSaysSoAlsoWhereTheOldHotKeyCannotBeHadEither() {
        c().setRecordedHotKey(superK);
        m_isAccepted = false;
        c().noteHotKeyOutcome(superK, {Kind::refused});
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
        QCOMPARE(c().statusText(), u"Could not register Cmd K."_qs);
    }

    void aRefusalAtLaunchKeepsTheValue() {
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::refused});
        QCOMPARE(m->takeCalls(), QStringList{u"onNeedsAttention"_qs});
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
        QCOMPARE(c().statusText(), u"Could not register Ctrl Option Space."_qs);
    }

    void aRefusalOfTheHotKeyThatWasBroughtBackKeepsIt() {
        c().setRecordedHotKey(superK);
        c().noteHotKeyOutcome(superK, {Kind::refused});
        m->takeCalls();
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::refused});
        QCOMPARE(m->takeCalls(), QStringList{u"onNeedsAttention"_qs});
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
        QCOMPARE(c().statusText(), u"Could not register Ctrl Option Space."_qs);
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
        QCOMPARE(m->platform.defaults.values.at(u"hotKey"_qs), u"49:6144"_qs);
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
        QCOMPARE(m->takeCalls(), QStringList{u"onNeedsAttention"_qs});
        QCOMPARE(c().hotKey(), superK);
        QCOMPARE(m->platform.defaults.values.at(u"hotKey"_qs), u"40:256"_qs);
        QCOMPARE(c().statusText(), u"Lost the hotkey Cmd K. Choose it again, or another one."_qs);
    }

    void choosingALostHotKeyAgainRegistersIt() {
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::lost});
        m->takeCalls();
        c().setRecordedHotKey(AppHotKey::defaultValue);
        QCOMPARE(m->takeCalls(),
                 (QStringList{u"onHotKeyChangeRequested 49:6144"_qs, u"defaults.set hotKey=49:6144"_qs}));
    }

    void aHotKeyThatIsHadAgainIsSaidWithoutAskingForAttention() {
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::hadAgain});
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().statusText(), u"Hotkey Ctrl Option Space works again."_qs);
    }

    void whatTheDesktopPutInItsPlaceIsShownInTheDesktopsWords() {
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::boundElsewhere, u"Meta+D"_qs});
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().hotKeyDisplayName(), u"Meta+D"_qs);
        QCOMPARE(c().statusText(), u"Hotkey updated to Meta+D."_qs);
        QCOMPARE(c().hotKey(), AppHotKey::defaultValue);
    }

    void theDesktopsWordsEndWithWhatTheyStoodFor_data() {
        using Change = std::function<void(AppController &)>;
        QTest::addColumn<Change>("change");
        QTest::addColumn<QString>("name");
        QTest::newRow("another hotkey")
            << Change([](AppController &controller) { controller.setRecordedHotKey(superK); }) << u"Cmd K"_qs;
        QTest::newRow("had again") << Change([](AppController &controller) {
            controller.noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::hadAgain});
        }) << u"Ctrl Option Space"_qs;
        QTest::newRow("lost") << Change([](AppController &controller) {
            controller.noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::lost});
        }) << u"Ctrl Option Space"_qs;
    }
    void theDesktopsWordsEndWithWhatTheyStoodFor() {
        QFETCH(std::function<void(AppController &)>, change);
        QFETCH(QString, name);
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {Kind::boundElsewhere, u"Meta+D"_qs});
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
        c().noteHotKeyOutcome(AppHotKey::defaultValue, {kind, u"Meta+D"_qs});
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().hotKey(), superK);
        QCOMPARE(c().hotKeyDisplayName(), u"Cmd K"_qs);
        QCOMPARE(c().statusText(), u"Hotkey updated to Cmd K."_qs);
    }

private:
    AppController &c() { return *m->controller; }
    std::unique_ptr<ControllerFixture> m;
    bool m_isAccepted = true;
};

QTEST_GUILESS_MAIN(AppControllerHotKeyTest)
#include "AppControllerHotKeyTest.moc"
