#include "app/AppDelegate.h"
#include "fakes/FakePlatform.h"
#include "support/EventLoopTurns.h"
#include "ui/ContentView.h"
#include "ui/PanelPalette.h"

#include <QAction>
#include <QApplication>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;
using Kind = platform::HotKeyOutcome::Kind;

namespace {

const QString registerDefault = u"hotkeys.take 49:6144"_s;
const QString registerAgain = u"Register the hotkey again"_s;
const QString idleIcon = u"quillora-idle-symbolic"_s;
const QString recordingIcon = u"quillora-recording-symbolic"_s;
const QString processingIcon = u"quillora-processing-symbolic"_s;
constexpr AppHotKey commandK{40, AppHotKey::cmdKey};

} // namespace

class AppDelegateTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        QApplication::setQuitOnLastWindowClosed(
            AppDelegate::applicationShouldTerminateAfterLastWindowClosed());
        m_platform = std::make_unique<test::FakePlatform>();
        m_delegate = std::make_unique<AppDelegate>();
    }
    void cleanup() {
        m_delegate.reset();
        m_platform->run(); // what waited for something learns that it will not come
        m_platform.reset();
    }

    // Start-up.

    void nothingIsBuiltBeforeTheLaunch() {
        QVERIFY(!m_delegate->controller());
        QVERIFY(!m_delegate->statusItem());
        QVERIFY(!m_delegate->popover());
        QVERIFY(!m_delegate->registeredHotKey());
        QVERIFY(m_platform->log.calls().isEmpty());
    }

    void atLaunchTheIconIsTheGlobe() {
        launch();
        QCOMPARE(statusItem().icons.first(), idleIcon);
        QCOMPARE(statusItem().icons.last(), idleIcon);
        QCOMPARE(statusItem().description, u"Quillora"_s);
    }

    void atLaunchTheStoredHotKeyIsRegistered() {
        m_platform->defaults.values[u"hotKey"_s] = commandK.storageValue();
        launch();
        QCOMPARE(m_delegate->registeredHotKey(), std::optional(commandK));
        QCOMPARE(m_platform->hotKeysFake.taken.size(), 1u);
        QCOMPARE(m_platform->hotKeysFake.combination().keyCode, 40u);
    }

    void atLaunchThePanelStaysClosed() {
        launch();
        QVERIFY(!m_delegate->popover()->isShown());
    }

    void trustIsAskedForAfterTheHotKeyIsRegistered() {
        m_platform->keystrokesFake.isTrustGranted = false;
        launch();
        const QStringList calls = m_platform->log.calls();
        QVERIFY(calls.contains(registerDefault));
        QVERIFY(calls.indexOf(u"keystrokes.prompt"_s) > calls.indexOf(registerDefault));
    }

    void theTranslationHostShowsNoWindow() {
        launch();
        for (const QWidget *widget : QApplication::topLevelWidgets())
            QVERIFY2(!widget->isVisible(), widget->metaObject()->className());
    }

    void theTranslationHostServesTheBridge() {
        launch();
        m_delegate->controller()->setTargetLanguageIdentifier(u"es"_s);
        m_delegate->controller()->prepareTranslationModels();
        m_platform->run();
        QCOMPARE(m_delegate->controller()->statusText(), u"Translation models are ready."_s);
    }

    // The icon.

    void whileRecordingTheIconIsTheMicrophone() {
        launch();
        startDictation();
        QCOMPARE(statusItem().icons.last(), recordingIcon);
    }

    void whileTranslatingTheIconIsTheArrows() {
        launch();
        startDictation();
        m_delegate->controller()->stopRecording();
        QVERIFY(m_delegate->controller()->isProcessing());
        QCOMPARE(statusItem().icons.last(), processingIcon);
    }

    void whenBothFlagsAreTrueTheIconIsTheMicrophone() {
        launch();
        // A preparation of models that began while the start was still waiting for permission.
        m_platform->permissions.replies = test::FakeSpeechPermissions::Replies::byHand;
        m_platform->translation.replies = test::FakeTranslators::Replies::byHand;
        auto &controller = *m_delegate->controller();
        controller.setTargetLanguageIdentifier(u"es"_s);
        controller.startRecording();
        controller.prepareTranslationModels();
        QCOMPARE(statusItem().icons.last(), processingIcon);
        answerPermissions();
        QVERIFY(controller.isRecording());
        QVERIFY(controller.isProcessing());
        QCOMPARE(statusItem().icons.last(), recordingIcon);
    }

    void theWindowTitleTellsTheStateToo() {
        launch();
        QCOMPARE(m_delegate->popover()->windowTitle(), u"Quillora"_s);
        startDictation();
        QCOMPARE(m_delegate->popover()->windowTitle(), u"Recording - Quillora"_s);
        QVERIFY(!m_delegate->popover()->windowIcon().isNull());
        m_delegate->controller()->stopRecording();
        QCOMPARE(m_delegate->popover()->windowTitle(), u"Processing - Quillora"_s);
    }

    // Registering the hotkey.

    void aFirstRegistrationThatFailsShowsThePanelAndLeavesNothingRegistered() {
        takeElsewhere(AppHotKey::defaultValue);
        launch();
        QVERIFY(m_delegate->popover()->isShown());
        QVERIFY(!m_delegate->registeredHotKey());
        QVERIFY(m_platform->hotKeysFake.taken.empty());
        QCOMPARE(m_delegate->controller()->statusText(), u"Could not register Ctrl Option Space."_s);
        QCOMPARE(m_delegate->controller()->hotKey(), AppHotKey::defaultValue);
    }

    void aStoredHotKeyWithoutControlOptionOrCommandIsLoadedButNotRegistered() {
        m_platform->defaults.values[u"hotKey"_s] = u"49:0"_s;
        launch();
        QCOMPARE(m_delegate->controller()->hotKey(), (AppHotKey{49, 0}));
        QCOMPARE(m_delegate->controller()->statusText(), u"Could not register Space."_s);
        QVERIFY(m_delegate->popover()->isShown());
        QVERIFY(m_platform->hotKeysFake.taken.empty());
    }

    void aLaterFailedChangeRegistersTheLastGoodHotKeyAgain() {
        launch();
        takeElsewhere(commandK);
        m_delegate->controller()->startHotKeyRecording();
        m_platform->log.clear();
        m_delegate->controller()->setRecordedHotKey(commandK);
        QCOMPARE(m_platform->log.take().filter(u"hotkeys.take"_s),
                 (QStringList{u"hotkeys.take 40:256"_s, registerDefault}));
        QCOMPARE(m_delegate->registeredHotKey(), std::optional(AppHotKey::defaultValue));
        QCOMPARE(m_platform->hotKeysFake.taken.size(), 1u);
        QCOMPARE(m_delegate->controller()->statusText(), u"Could not register Cmd K."_s);
        QVERIFY(m_delegate->popover()->isShown());
    }

    void aFailedChangeWithNothingRegisteredBeforeLeavesNothingRegistered() {
        takeElsewhere(AppHotKey::defaultValue);
        takeElsewhere(commandK);
        launch();
        m_delegate->controller()->setRecordedHotKey(commandK);
        QVERIFY(!m_delegate->registeredHotKey());
        QVERIFY(m_platform->hotKeysFake.taken.empty());
    }

    void anAcceptedChangeIsRegistered() {
        launch();
        m_delegate->controller()->setRecordedHotKey(commandK);
        QCOMPARE(m_delegate->registeredHotKey(), std::optional(commandK));
        QCOMPARE(m_delegate->controller()->statusText(), u"Hotkey updated to Cmd K."_s);
    }

    void aChangeAfterTheDelegateHasGoneIsRefused() {
        launch();
        const auto requestHotKey = m_delegate->controller()->onHotKeyChangeRequested;
        m_delegate.reset();
        QVERIFY(!requestHotKey(commandK));
        QVERIFY(m_platform->hotKeysFake.taken.empty());
    }

    void callbacksAfterTheDelegateHasGoneDoNothing() {
        launch();
        const auto stateChanged = m_delegate->controller()->onStateChanged;
        const auto needsAttention = m_delegate->controller()->onNeedsAttention;
        m_delegate.reset();
        m_platform->log.clear();
        stateChanged();
        needsAttention();
        m_platform->queue.advance(10s);
        QCOMPARE(m_platform->log.calls(), QStringList());
    }

    // What becomes of a registered hotkey.

    void aRefusalAfterAChangeRegistersTheOldHotKeyAgain() {
        launch();
        m_delegate->controller()->setRecordedHotKey(commandK);
        decide(commandK, {Kind::refused});
        QCOMPARE(m_delegate->registeredHotKey(), std::optional(AppHotKey::defaultValue));
        QCOMPARE(m_platform->hotKeysFake.taken.size(), 1u);
        QCOMPARE(m_platform->hotKeysFake.combination().keyCode, 49u);
        QCOMPARE(m_delegate->controller()->hotKey(), AppHotKey::defaultValue);
        QCOMPARE(m_delegate->controller()->statusText(), u"Could not register Cmd K."_s);
        QVERIFY(m_delegate->popover()->isShown());
        QVERIFY(!menuAction(registerAgain)->isVisible());
    }

    void aRefusalAfterAChangeDoesNotGoBackToWhatWasRefused() {
        launch();
        m_delegate->controller()->setRecordedHotKey(commandK);
        takeElsewhere(AppHotKey::defaultValue);
        decide(commandK, {Kind::refused});
        QVERIFY(m_platform->hotKeysFake.taken.empty());
        QVERIFY(!m_delegate->registeredHotKey());
        QVERIFY(menuAction(registerAgain)->isVisible());
    }

    void aRefusalAtLaunchShowsThePanelAndLeavesNothingRegistered() {
        launch();
        decide(AppHotKey::defaultValue, {Kind::refused});
        QVERIFY(m_delegate->popover()->isShown());
        QVERIFY(!m_delegate->registeredHotKey());
        QVERIFY(m_platform->hotKeysFake.taken.empty());
        QCOMPARE(m_delegate->controller()->statusText(), u"Could not register Ctrl Option Space."_s);
        QCOMPARE(m_delegate->controller()->hotKey(), AppHotKey::defaultValue);
    }

    void aLossShowsThePanel() {
        launch();
        decide(AppHotKey::defaultValue, {Kind::lost});
        QVERIFY(m_delegate->popover()->isShown());
        QCOMPARE(m_delegate->controller()->statusText(),
                 u"Lost the hotkey Ctrl Option Space. Choose it again, or another one."_s);
    }

    void theMenuRegistersALostHotKeyAgain() {
        launch();
        QVERIFY(!menuAction(registerAgain)->isVisible());
        decide(AppHotKey::defaultValue, {Kind::lost});
        QVERIFY(menuAction(registerAgain)->isVisible());
        m_platform->log.clear();
        menuAction(registerAgain)->trigger();
        QCOMPARE(m_platform->log.take().filter(u"hotkeys."_s),
                 (QStringList{u"hotkeys.giveBack"_s, registerDefault}));
        QCOMPARE(m_delegate->controller()->statusText(), u"Hotkey updated to Ctrl Option Space."_s);
        QVERIFY(!menuAction(registerAgain)->isVisible());
    }

    void theMenuRegistersAHotKeyAgainThatWasTakenAtLaunch() {
        takeElsewhere(AppHotKey::defaultValue);
        launch();
        QVERIFY(menuAction(registerAgain)->isVisible());
        m_platform->hotKeysFake.takenElsewhere.clear();
        menuAction(registerAgain)->trigger();
        QCOMPARE(m_delegate->registeredHotKey(), std::optional(AppHotKey::defaultValue));
        QVERIFY(!menuAction(registerAgain)->isVisible());
    }

    void aLostHotKeyThatIsHadAgainIsNoLongerOfferedForRegistration() {
        launch();
        decide(AppHotKey::defaultValue, {Kind::lost});
        m_delegate->popover()->performClose();
        decide(AppHotKey::defaultValue, {Kind::hadAgain});
        QVERIFY(!menuAction(registerAgain)->isVisible());
        QVERIFY(!m_delegate->popover()->isShown());
    }

    void anOutcomeAfterTheDelegateHasGoneDoesNothing() {
        launch();
        m_platform->hotKeysFake.decide({49, 0x1800}, {Kind::lost});
        m_delegate.reset();
        m_platform->log.clear();
        m_platform->run();
        QCOMPARE(m_platform->log.calls(), QStringList());
    }

    // Hotkey events.

    void aPressStartsADictationInALaterTurn() {
        launch();
        m_platform->hotKeysFake.press();
        QVERIFY(!m_platform->log.calls().contains(u"permissions.requestSpeechRecognition"_s));
        m_platform->run();
        QVERIFY(m_delegate->controller()->isRecording());
    }

    void aReleaseEndsTheDictation() {
        launch();
        m_platform->hotKeysFake.press();
        m_platform->run();
        m_platform->hotKeysFake.release();
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isRecording());
        QVERIFY(m_delegate->controller()->isProcessing());
    }

    void aReleaseRunsWhileThePressStillWaits() {
        launch();
        m_platform->permissions.replies = test::FakeSpeechPermissions::Replies::byHand;
        m_platform->hotKeysFake.press();
        m_platform->run();
        m_platform->hotKeysFake.release();
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isRecording());
        answerPermissions();
        QVERIFY(!m_delegate->controller()->isRecording());
        QVERIFY(m_delegate->controller()->isProcessing());
    }

    void aPressWhileTheRecorderCapturesAShortcutDoesNothing() {
        launch();
        m_platform->hotKeysFake.press(); // and is handled in a later turn
        m_delegate->controller()->startHotKeyRecording();
        m_platform->log.clear();
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isRecording());
        QVERIFY(m_delegate->controller()->isRecordingHotKey());
        QCOMPARE(m_platform->log.calls(), QStringList());
    }

    void whileAShortcutIsCapturedTheRegisteredOneReachesTheRecorder() {
        launch();
        m_platform->log.clear();
        m_delegate->controller()->startHotKeyRecording();
        m_delegate->controller()->rejectRecordedHotKey();
        QCOMPARE(m_platform->log.take(), QStringList{u"hotkeys.suspend"_s});
        m_delegate->controller()->cancelHotKeyRecording();
        QCOMPARE(m_platform->log.take(), QStringList{u"hotkeys.resume"_s});
    }

    void aNewShortcutIsRegisteredBeforeItsEventsAreLetIn() {
        launch();
        m_delegate->controller()->startHotKeyRecording();
        m_platform->log.clear();
        m_delegate->controller()->setRecordedHotKey(commandK);
        const QStringList calls = m_platform->log.take();
        QVERIFY(calls.contains(u"hotkeys.take 40:256"_s));
        QVERIFY(calls.indexOf(u"hotkeys.resume"_s) > calls.indexOf(u"hotkeys.take 40:256"_s));
    }

    void aHotKeyThatIsReplacedWhileItIsHeldEndsItsDictation() {
        launch();
        m_delegate->controller()->setRecordedHotKey(commandK);
        m_platform->hotKeysFake.press();
        m_platform->run();
        QVERIFY(m_delegate->controller()->isRecording());
        m_delegate->controller()->resetHotKey();
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isRecording());
        QVERIFY(m_delegate->controller()->isProcessing());
    }

    void aHotKeyThatIsReplacedBeforeItsDictationHasBegunEndsIt() {
        launch();
        m_delegate->controller()->setRecordedHotKey(commandK);
        m_platform->permissions.replies = test::FakeSpeechPermissions::Replies::byHand;
        m_platform->hotKeysFake.press();
        m_platform->run();
        m_delegate->controller()->resetHotKey();
        m_platform->run();
        answerPermissions();
        QVERIFY(!m_delegate->controller()->isRecording());
        QVERIFY(m_delegate->controller()->isProcessing());
    }

    void aHotKeyThatIsStillHeldWhenANewOneIsCapturedEndsItsDictation() {
        launch();
        m_platform->permissions.replies = test::FakeSpeechPermissions::Replies::byHand;
        m_platform->hotKeysFake.press();
        m_platform->run();
        m_delegate->controller()->startHotKeyRecording();
        answerPermissions();
        QVERIFY(m_delegate->controller()->isRecording());
        m_delegate->controller()->setRecordedHotKey(commandK);
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isRecording());
        QVERIFY(m_delegate->controller()->isProcessing());
    }

    void aHotKeyThatGoesUpDuringACaptureEndsItsDictationAfterIt() {
        launch();
        m_platform->permissions.replies = test::FakeSpeechPermissions::Replies::byHand;
        m_platform->hotKeysFake.press();
        m_platform->run();
        m_delegate->controller()->startHotKeyRecording();
        m_platform->hotKeysFake.release();
        answerPermissions();
        QVERIFY(m_delegate->controller()->isRecording());
        m_delegate->controller()->cancelHotKeyRecording();
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isRecording());
        QVERIFY(m_delegate->controller()->isProcessing());
    }

    void anEventAfterTheDelegateHasGoneDoesNothing() {
        launch();
        m_platform->hotKeysFake.press();
        m_delegate.reset();
        m_platform->run();
        QVERIFY(!m_platform->log.calls().contains(u"permissions.requestSpeechRecognition"_s));
    }

    // The hotkey in the hands of another program.

    void aRemotePressAndReleaseAreADictation() {
        launch();
        m_delegate->pressHotKey();
        m_platform->run();
        QVERIFY(m_delegate->controller()->isRecording());
        m_delegate->releaseHotKey();
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isRecording());
        QVERIFY(m_delegate->controller()->isProcessing());
    }

    void aRemotePressWorksWithoutAHotKeyOfOurOwn() {
        takeElsewhere(AppHotKey::defaultValue);
        launch();
        m_delegate->pressHotKey();
        m_platform->run();
        QVERIFY(m_delegate->controller()->isRecording());
    }

    void aRemotePressThatNobodyEndsIsOverAfterTenMinutes() {
        launch();
        m_delegate->pressHotKey();
        m_platform->run();
        m_platform->queue.advance(10min - 1ms);
        QVERIFY(m_delegate->controller()->isRecording());
        m_platform->queue.advance(1ms);
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isRecording());
        QVERIFY(m_delegate->controller()->isProcessing());
    }

    void aRemotePressThatRepeatsCountsFromTheFirst() {
        launch();
        m_delegate->pressHotKey();
        m_platform->queue.advance(9min);
        m_delegate->pressHotKey();
        m_platform->queue.advance(1min);
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isRecording());
    }

    void theTenMinutesOfOnePressDoNotEndTheNext_data() {
        QTest::addColumn<bool>("repeats");
        QTest::newRow("pressed once") << false;
        QTest::newRow("pressed again meanwhile") << true;
    }
    void theTenMinutesOfOnePressDoNotEndTheNext() {
        QFETCH(const bool, repeats);
        launch();
        m_delegate->pressHotKey();
        m_platform->run();
        m_platform->queue.advance(9min);
        if (repeats)
            m_delegate->pressHotKey();
        m_delegate->releaseHotKey();
        m_platform->run();
        m_platform->speech.deliverFinal(QString());
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isProcessing());
        m_delegate->pressHotKey();
        m_platform->queue.advance(2min);
        m_platform->run();
        QVERIFY(m_delegate->controller()->isRecording());
    }

    void aRemotePressIsOverWithItsDictationHoweverThatEnds() {
        launch();
        m_delegate->pressHotKey();
        m_platform->run();
        m_platform->queue.advance(9min);
        m_delegate->toggleDictation(); // as the panel's button does
        m_platform->run();
        m_platform->speech.deliverFinal(QString());
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isRecording());
        QVERIFY(!m_delegate->controller()->isProcessing());
        m_delegate->pressHotKey();
        m_platform->run();
        QVERIFY(m_delegate->controller()->isRecording());
        m_platform->queue.advance(2min);
        m_platform->run();
        QVERIFY(m_delegate->controller()->isRecording());
    }

    void aRemoteReleaseWithoutAPressEndsNothing() {
        launch();
        startDictation();
        m_delegate->releaseHotKey();
        m_platform->run();
        QVERIFY(m_delegate->controller()->isRecording());
    }

    void aRemotePressWhileAShortcutIsCapturedDoesNothing() {
        launch();
        m_delegate->controller()->startHotKeyRecording();
        m_delegate->pressHotKey();
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isRecording());
    }

    void aRemoteToggleDoesWhatThePanelsButtonDoes() {
        launch();
        m_delegate->toggleDictation();
        m_platform->run();
        QVERIFY(m_delegate->controller()->isRecording());
        m_delegate->toggleDictation();
        QVERIFY(!m_delegate->controller()->isRecording());
        QVERIFY(m_delegate->controller()->isProcessing());
    }

    void aRemotePressAfterTheDelegateHasGoneDoesNothing() {
        launch();
        m_delegate->pressHotKey();
        m_delegate.reset();
        m_platform->log.clear();
        m_platform->queue.advance(10min);
        QCOMPARE(m_platform->log.calls(), QStringList());
    }

    // The panel.

    void clickingTheIconTwiceOpensAndThenClosesThePanel() {
        launch();
        statusItem().click();
        QVERIFY(m_delegate->popover()->isShown());
        statusItem().click();
        QVERIFY(!m_delegate->popover()->isShown());
    }

    void thePanelIs380WideInsideItsBorder() {
        launch();
        statusItem().click();
        QCOMPARE(m_delegate->popover()->findChild<ContentView *>()->width(), 380);
        QCOMPARE(m_delegate->popover()->width(), 382);
    }

    void thePanelOpensBesideTheIcon() {
        launch();
        statusItem().position = QRect(300, 0, 24, 24);
        statusItem().click();
        const QRect panel = m_delegate->popover()->geometry();
        QVERIFY(panel.left() < 312 && panel.right() > 312);
        QCOMPARE(panel.top(), 24);
    }

    void aNoticeShowsThePanel() {
        launch();
        m_platform->permissions.isMicrophoneGranted = false;
        m_platform->hotKeysFake.press();
        m_platform->run();
        QVERIFY(m_delegate->controller()->statusText().startsWith(u"Speech failed: "));
        QVERIFY(m_delegate->popover()->isShown());
    }

    void closingTheLastWindowDoesNotEndTheProcess() {
        m_platform->trayFake.isThere = false;
        launch();
        m_delegate->showPopover();
        statusItem().hasTray = true; // without one the window would only be minimised
        QSignalSpy lastWindowCloses(qApp, &QGuiApplication::lastWindowClosed);
        QVERIFY(!endsTheEventLoop([this] { m_delegate->popover()->close(); }));
        QCOMPARE(lastWindowCloses.count(), 1);
        m_delegate->showPopover();
        QVERIFY(m_delegate->popover()->isShown());
    }

    void withoutATrayThePanelOpensAsAWindowOnceTheTrayHadItsTime() {
        m_platform->trayFake.isThere = false;
        launch();
        m_platform->queue.advance(2999ms);
        QVERIFY(!m_delegate->popover()->isShown());
        m_platform->queue.advance(1ms);
        QVERIFY(m_delegate->popover()->isShown());
        const auto flags = m_delegate->popover()->windowFlags();
        QCOMPARE(flags & Qt::WindowType_Mask, Qt::Window);
        QVERIFY(flags.testFlag(Qt::WindowMinimizeButtonHint));
        QVERIFY(flags.testFlag(Qt::WindowCloseButtonHint));
        QVERIFY(!flags.testFlag(Qt::FramelessWindowHint));
    }

    void atLoginThatWindowStartsMinimised() {
        m_platform->trayFake.isThere = false;
        m_delegate->applicationDidFinishLaunching(platform::Start::atLogin);
        m_platform->queue.advance(3s);
        QVERIFY(!m_delegate->popover()->isShown());
        QVERIFY(m_delegate->popover()->isVisible());
        QVERIFY(m_delegate->popover()->isMinimized());
        QCOMPARE(m_delegate->popover()->windowFlags() & Qt::WindowType_Mask, Qt::Window);
    }

    void atLoginATakenHotKeyShowsThePanelAllTheSame() {
        takeElsewhere(AppHotKey::defaultValue);
        m_delegate->applicationDidFinishLaunching(platform::Start::atLogin);
        QVERIFY(m_delegate->popover()->isShown());
    }

    void withoutATrayClosingTheWindowOnlyMinimisesIt() {
        m_platform->trayFake.isThere = false;
        launch();
        m_platform->queue.advance(3s);
        QTest::keyClick(m_delegate->popover()->findChild<ContentView *>(), Qt::Key_Escape);
        QVERIFY(m_delegate->popover()->isVisible());
        QVERIFY(m_delegate->popover()->isMinimized());
        m_delegate->popover()->close();
        QVERIFY(m_delegate->popover()->isMinimized());
    }

    void aTrayThatDiesLeavesAMinimisedWindowOnceItHadTimeToRestart() {
        launch();
        m_platform->queue.advance(10s);
        statusItem().setTray(false);
        m_platform->queue.advance(2999ms);
        QVERIFY(!m_delegate->popover()->isVisible());
        m_platform->queue.advance(1ms);
        QVERIFY(m_delegate->popover()->isMinimized());
    }

    void aTrayThatRestartsInTimeLeavesNoWindow() {
        launch();
        m_platform->queue.advance(10s);
        statusItem().setTray(false);
        m_platform->queue.advance(1s);
        statusItem().setTray(true);
        m_platform->queue.advance(10s);
        QVERIFY(!m_delegate->popover()->isVisible());
    }

    void aPanelThatWasOpenWhenTheTrayDiedIsFollowedByAMinimisedWindow() {
        launch();
        statusItem().click();
        statusItem().setTray(false);
        m_platform->queue.advance(10s);
        QVERIFY(m_delegate->popover()->isShown());
        QTest::keyClick(m_delegate->popover()->findChild<ContentView *>(), Qt::Key_Escape);
        QVERIFY(!m_delegate->popover()->isVisible());
        m_platform->queue.advance(3s);
        QVERIFY(m_delegate->popover()->isMinimized());
    }

    void aTrayThatComesLateTakesTheMinimisedWindowsPlace() {
        m_platform->trayFake.isThere = false;
        m_delegate->applicationDidFinishLaunching(platform::Start::atLogin);
        m_platform->queue.advance(3s);
        statusItem().setTray(true);
        QVERIFY(!m_delegate->popover()->isVisible());
    }

    void aTrayThatComesLateLeavesAnOpenWindowAlone() {
        m_platform->trayFake.isThere = false;
        launch();
        m_platform->queue.advance(3s);
        statusItem().setTray(true);
        QVERIFY(m_delegate->popover()->isShown());
    }

    void withoutATrayQuitStillEndsTheProgram() {
        m_platform->trayFake.isThere = false;
        launch();
        m_platform->queue.advance(3s);
        QVERIFY(endsTheEventLoop([this] { m_delegate->quit(); }));
        QVERIFY(!m_delegate->popover()->isVisible());
    }

    void aTrayThatComesUpInTimeLeavesThePanelClosed() {
        m_platform->trayFake.isThere = false;
        launch();
        m_platform->queue.advance(2s);
        statusItem().hasTray = true;
        m_platform->queue.advance(10s);
        QVERIFY(!m_delegate->popover()->isShown());
    }

    void theNextOpeningAfterATrayCameUpIsAPopover() {
        m_platform->trayFake.isThere = false;
        launch();
        m_platform->queue.advance(10s);
        m_delegate->popover()->performClose();
        statusItem().setTray(true);
        statusItem().click();
        QVERIFY(m_delegate->popover()->isShown());
        QVERIFY(m_delegate->popover()->windowFlags().testFlag(Qt::FramelessWindowHint));
    }

    void closingThePanelEndsACaptureThatNobodyCouldFinish() {
        launch();
        statusItem().click();
        m_delegate->controller()->startHotKeyRecording();
        statusItem().click();
        QVERIFY(!m_delegate->controller()->isRecordingHotKey());
        QCOMPARE(m_delegate->controller()->statusText(), u"Hotkey unchanged."_s);
    }

    void minimisingThePanelEndsACaptureToo() {
        launch();
        statusItem().hasTray = false;
        m_delegate->showPopover();
        m_delegate->controller()->startHotKeyRecording();
        m_delegate->popover()->showMinimized();
        QVERIFY(!m_delegate->controller()->isRecordingHotKey());
    }

    void closingThePanelOtherwiseSaysNothing() {
        launch();
        statusItem().click();
        statusItem().click();
        QCOMPARE(m_delegate->controller()->statusText(), u"Ready."_s);
    }

    void thePanelStaysOpenWithoutTheFocus_data() {
        QTest::addColumn<QString>("frontmost");
        QTest::addColumn<bool>("isCapturing");
        QTest::addColumn<bool>("staysOpen");
        QTest::newRow("another application") << u"Mousepad"_s << false << false;
        QTest::newRow("nothing in front") << QString() << false << false;
        QTest::newRow("a hotkey is captured") << u"Mousepad"_s << true << true;
        QTest::newRow("a grabbed key, with the panel still in front") << u"Quillora"_s << false << true;
    }
    void thePanelStaysOpenWithoutTheFocus() {
        QFETCH(QString, frontmost);
        QFETCH(bool, isCapturing);
        QFETCH(bool, staysOpen);
        launch();
        if (isCapturing)
            m_delegate->controller()->startHotKeyRecording();
        if (!frontmost.isEmpty())
            m_platform->workspaceFake.frontmost = m_platform->workspaceFake.launch(frontmost);
        QCOMPARE(m_delegate->popover()->staysOpen(), staysOpen);
    }

    void thePanelStaysForTheAnswerToADialogOfTheKeyringThatNobodySaw() {
        m_platform->keychainFake.isBroken = true;
        launch();
        statusItem().click();
        auto *popover = m_delegate->popover();
        QVERIFY(QTest::qWaitForWindowActive(popover));
        m_delegate->controller()->setOpenAIClientToken(u"typed"_s);
        m_platform->queue.advance(1s);
        QVERIFY(m_platform->keychainAvailabilityFake.isAsking());
        // The dialog came and went before anybody looked, and the window manager has chosen another window.
        QWidget elsewhere;
        elsewhere.show();
        elsewhere.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&elsewhere));
        m_platform->workspaceFake.bringToFront(m_platform->workspaceFake.launch(u"Mousepad"_s));
        m_platform->queue.advance(2s);
        QVERIFY(popover->isShown());
        m_platform->workspaceFake.frontmost.reset();
        m_platform->keychainAvailabilityFake.dismissQuestion();
        QTRY_VERIFY(popover->isActiveWindow());
        m_platform->queue.advance(10s);
        QVERIFY(popover->isShown());
    }

    // Settings that fail.

    void aFailureOfTheSettingsIsSaidInTheStatusLineOnly_data() {
        QTest::addColumn<platform::UserDefaultsFailure>("failure");
        QTest::addColumn<QString>("notice");
        QTest::newRow("unreadable") << platform::UserDefaultsFailure::unreadable
                                    << u"The settings could not be read. Changes last until you quit."_s;
        QTest::newRow("set aside")
            << platform::UserDefaultsFailure::setAside
            << u"The settings could not be understood. The old file is kept beside the new one."_s;
        QTest::newRow("unwritable") << platform::UserDefaultsFailure::unwritable
                                    << u"The settings could not be saved. Changes last until you quit."_s;
    }
    void aFailureOfTheSettingsIsSaidInTheStatusLineOnly() {
        QFETCH(platform::UserDefaultsFailure, failure);
        QFETCH(QString, notice);
        m_platform->defaults.fail(failure);
        launch();
        QCOMPARE(m_delegate->controller()->statusText(), u"Ready."_s);
        QTRY_COMPARE(m_delegate->controller()->statusText(), notice);
        QVERIFY(!m_delegate->popover()->isShown());
    }

    void aSettingThatCannotBeWrittenIsSaidOnce() {
        launch();
        m_platform->defaults.isUnwritable = true;
        auto &controller = *m_delegate->controller();
        controller.setTargetLanguageIdentifier(u"es"_s);
        QTRY_COMPARE(controller.statusText(),
                     u"The settings could not be saved. Changes last until you quit."_s);
        controller.setStatusText(u"Ready."_s);
        controller.setTargetLanguageIdentifier(u"fr"_s);
        test::letTheEventLoopTurn();
        QCOMPARE(controller.statusText(), u"Ready."_s);
    }

    void theNoticeOfAHotKeyThatCannotBeRegisteredComesFirst() {
        takeElsewhere(AppHotKey::defaultValue);
        m_platform->defaults.fail(platform::UserDefaultsFailure::unreadable);
        launch();
        test::letTheEventLoopTurn();
        QCOMPARE(m_delegate->controller()->statusText(), u"Could not register Ctrl Option Space."_s);
        m_delegate->popover()->performClose();
        QCOMPARE(m_delegate->controller()->statusText(),
                 u"The settings could not be read. Changes last until you quit."_s);
    }

    void aFailureOfTheSettingsDoesNotInterruptADictation() {
        launch();
        m_delegate->showPopover();
        startDictation();
        m_platform->defaults.fail(platform::UserDefaultsFailure::unwritable);
        test::letTheEventLoopTurn();
        QCOMPARE(m_delegate->controller()->statusText(), u"Listening..."_s);
    }

    // The menu.

    void theIconAndThePanelOfferTheSameMenu() {
        launch();
        QCOMPARE(statusItem().menu, m_delegate->menu());
        QCOMPARE(menuTexts(), (QStringList{u"Show Quillora"_s, u"Start dictation"_s, u"Models…"_s, QString(),
                                           u"Start at login"_s, QString(), u"Quit"_s}));
        Q_EMIT m_delegate->popover()->customContextMenuRequested({10, 10});
        QVERIFY(m_delegate->menu()->isVisible());
        m_delegate->menu()->hide();
    }

    void thePanelsMenuFollowsItsLook() {
        using Scheme = platform::Appearance::ColorScheme;
        launch();
        for (const auto scheme : {Scheme::dark, Scheme::light}) {
            m_platform->appearanceFake.prefer({scheme, {}, false});
            Q_EMIT m_delegate->popover()->customContextMenuRequested({10, 10});
            QCOMPARE(PanelPalette::isDark(m_delegate->menu()->palette()), scheme == Scheme::dark);
            m_delegate->menu()->hide();
        }
    }

    void showInTheMenuOpensThePanel() {
        launch();
        menuAction(u"Show Quillora"_s)->trigger();
        QVERIFY(m_delegate->popover()->isShown());
    }

    void theMenuStartsAndStopsADictation() {
        launch();
        menuAction(u"Start dictation"_s)->trigger();
        m_platform->run();
        QVERIFY(m_delegate->controller()->isRecording());
        QVERIFY(!menuAction(u"Start dictation"_s));
        menuAction(u"Stop dictation"_s)->trigger();
        QVERIFY(!m_delegate->controller()->isRecording());
        QVERIFY(!menuAction(u"Start dictation"_s)->isEnabled());
    }

    void startAtLoginIsRememberedByTheDesktop() {
        launch();
        QVERIFY(!menuAction(u"Start at login"_s)->isChecked());
        menuAction(u"Start at login"_s)->trigger();
        QVERIFY(m_platform->loginItemFake.isEnabled());
        QVERIFY(menuAction(u"Start at login"_s)->isChecked());
        menuAction(u"Start at login"_s)->trigger();
        QVERIFY(!m_platform->loginItemFake.isEnabled());
        QVERIFY(!menuAction(u"Start at login"_s)->isChecked());
    }

    void aStartAtLoginThatTheDesktopDoesNotRememberIsNotShownAsChosen() {
        m_platform->loginItemFake.isRefused = true;
        launch();
        menuAction(u"Start at login"_s)->trigger();
        QVERIFY(!menuAction(u"Start at login"_s)->isChecked());
    }

    void whatTheDesktopDoesAtLoginIsReadWhenTheMenuOpensAndNotAtEveryWord() {
        launch();
        menuAction(u"Start at login"_s)->trigger();
        m_platform->loginItemFake.setEnabled(false);
        m_delegate->controller()->setStatusText(u"Listening..."_s);
        QVERIFY(menuAction(u"Start at login"_s)->isChecked());
        Q_EMIT m_delegate->menu()->aboutToShow();
        QVERIFY(!menuAction(u"Start at login"_s)->isChecked());
    }

    // Quitting.

    void quitGivesTheHotKeyBackAtOnce() {
        launch();
        m_delegate->quit();
        QVERIFY(m_platform->hotKeysFake.taken.empty());
    }

    void quittingWhileTheHotKeyIsHeldInsertsNothing() {
        launch();
        pasteSomething();
        m_platform->hotKeysFake.press();
        m_platform->run();
        QVERIFY(m_delegate->controller()->isRecording());
        m_delegate->quit();
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isProcessing());
    }

    void quitWaitsForThePasteboardToBeRestored() {
        launch();
        pasteSomething();
        QVERIFY(!endsTheEventLoop([this] {
            m_delegate->quit();
            m_platform->queue.advance(949ms);
        }));
        QVERIFY(endsTheEventLoop([this] { m_platform->queue.advance(1ms); }));
        QVERIFY(!m_delegate->controller()->hasPendingPasteboardRestore());
        QCOMPARE(m_platform->log.calls().last(), u"pasteboard.restore 0"_s);
    }

    void quitWaitsASecondForADesktopThatDoesNotSayWhatBecameOfTheChord() {
        m_platform->keystrokesFake.outcomesComeLater = true;
        launch();
        pasteSomething();
        QVERIFY(!endsTheEventLoop([this] {
            m_delegate->quit();
            m_platform->queue.advance(999ms);
        }));
        QVERIFY(m_delegate->controller()->hasPendingPasteboardRestore());
        QVERIFY(endsTheEventLoop([this] { m_platform->queue.advance(1ms); }));
    }

    void whileQuitWaitsForThePasteboardNothingNewIsInserted() {
        launch();
        pasteSomething();
        startDictation();
        m_delegate->controller()->stopRecording();
        m_delegate->quit();
        m_platform->speech.deliverFinal(u"late"_s);
        m_platform->queue.advance(2s);
        QCOMPARE(m_delegate->controller()->transcriptText(), u"late"_s);
        QVERIFY(!m_platform->log.calls().contains(u"pasteboard.write late"_s));
        QCOMPARE(m_platform->log.calls().count(u"keystrokes.paste"_s), 1);
    }

    void whileQuitWaitsForThePasteboardNoDictationBegins() {
        launch();
        pasteSomething();
        m_delegate->quit();
        menuAction(u"Start dictation"_s)->trigger();
        m_platform->run();
        QVERIFY(!m_delegate->controller()->isRecording());
    }

    void anEndThatTheSessionManagerAsksForIsAQuit() {
        launch();
        pasteSomething();
        QVERIFY(!endsTheEventLoop([this] {
            askForTheEnd();
            m_platform->queue.advance(949ms);
        }));
        QVERIFY(m_platform->hotKeysFake.taken.empty());
        QVERIFY(endsTheEventLoop([this] { m_platform->queue.advance(1ms); }));
    }

    void anEndThatTheSessionManagerAsksForComesWithoutATrayToo() {
        m_platform->trayFake.isThere = false;
        launch();
        m_delegate->showPopover();
        QVERIFY(endsTheEventLoop(askForTheEnd));
        QVERIFY(!m_delegate->popover()->isShown());
    }

    void quitEndsAtOnceWhereNothingIsPending() {
        launch();
        QVERIFY(endsTheEventLoop([this] { m_delegate->quit(); }));
    }

    void quitDuringARequestInsertsNothingLater() {
        m_platform->http.repliesByHand = true;
        launch();
        m_delegate->controller()->setTranslationEngineIdentifier(u"openAINatural"_s);
        startDictation();
        m_delegate->controller()->stopRecording();
        m_platform->speech.deliverFinal(u"hello"_s);
        m_platform->run();
        auto &pending = m_platform->http.pending;
        QCOMPARE(pending.size(), 1u);
        QVERIFY(endsTheEventLoop([this] { m_delegate->quit(); }));
        m_delegate.reset();
        m_platform->log.clear();
        pending.front().resume({true, 200, R"({"translation":"late"})"});
        pending.clear();
        m_platform->queue.advance(2s);
        QCOMPARE(m_platform->log.calls(), QStringList());
    }

    void afterQuitThePanelStaysAway() {
        launch();
        pasteSomething();
        m_delegate->quit();
        statusItem().click();
        QVERIFY(!m_delegate->popover()->isShown());
    }

private:
    /// Does something inside the application's event loop; whether that ended the loop.
    static bool endsTheEventLoop(const std::function<void()> &action) {
        constexpr int nobodyAskedForIt = 1;
        QTimer::singleShot(0, qApp, action);
        QTimer giveUp;
        giveUp.callOnTimeout(qApp, [] { QCoreApplication::exit(nobodyAskedForIt); });
        giveUp.start(50ms);
        return QCoreApplication::exec() != nobodyAskedForIt;
    }

    /// As the toolkit passes on what the session manager says.
    static void askForTheEnd() {
        QEvent quit(QEvent::Quit);
        QCoreApplication::sendEvent(qApp, &quit);
    }

    test::FakeStatusItem &statusItem() { return *m_platform->trayFake.item; }

    void launch() { m_delegate->applicationDidFinishLaunching(); }

    void takeElsewhere(const AppHotKey &hotKey) {
        m_platform->hotKeysFake.takenElsewhere.insert({hotKey.keyCode, hotKey.modifiers});
    }

    void decide(const AppHotKey &hotKey, const platform::HotKeyOutcome &outcome) {
        m_platform->hotKeysFake.decide({hotKey.keyCode, hotKey.modifiers}, outcome);
        m_platform->run();
    }

    void startDictation() {
        m_delegate->controller()->startRecording();
        m_platform->run();
        QVERIFY(m_delegate->controller()->isRecording());
    }

    void answerPermissions() {
        auto &permissions = m_platform->permissions;
        while (!permissions.speechRecognitionReplies.empty() || !permissions.microphoneReplies.empty()) {
            if (!permissions.speechRecognitionReplies.empty()) {
                permissions.speechRecognitionReplies.front()(true);
                permissions.speechRecognitionReplies.pop_front();
            } else {
                permissions.microphoneReplies.front()(true);
                permissions.microphoneReplies.pop_front();
            }
            m_platform->run();
        }
    }

    void pasteSomething() {
        auto &controller = *m_delegate->controller();
        controller.setTargetLanguageIdentifier(u"en"_s);
        startDictation();
        controller.stopRecording();
        m_platform->speech.deliverFinal(u"hello"_s);
        m_platform->run();
        QVERIFY(controller.hasPendingPasteboardRestore());
    }

    QStringList menuTexts() const {
        QStringList texts;
        for (const QAction *action : m_delegate->menu()->actions()) {
            if (action->isVisible())
                texts += action->text();
        }
        return texts;
    }

    QAction *menuAction(const QString &text) const {
        for (QAction *action : m_delegate->menu()->actions()) {
            if (action->text() == text)
                return action;
        }
        return nullptr;
    }

    std::unique_ptr<test::FakePlatform> m_platform;
    std::unique_ptr<AppDelegate> m_delegate;
};

QTEST_MAIN(AppDelegateTest)

#include "AppDelegateTest.moc"
