#include "app/AppDelegate.h"
#include "models/ModelShelf.h"
#include "platform/Detached.h"
#include "ui/LimitedLabel.h"
#include "ui/PanelButton.h"
#include "ui/Picker.h"
#include "ui/TextLink.h"

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;
using namespace std::chrono_literals;
using platform::ModelTask;

namespace {

const ModelTask englishToRussian = ModelTask::translating(u"en"_s, u"ru"_s);
const QString tiny = u"en-ru-tiny"_s;

} // namespace

/// Models, from the panel's side: the first start, what is asked, and what is marked.
class ModelsDeskTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        QApplication::setQuitOnLastWindowClosed(false);
        m_platform = std::make_unique<FakePlatform>();
        m_platform->speech.locales = QStringList{u"en-US"_s, u"de-DE"_s, u"fr-FR"_s, u"kk-KZ"_s};
        fillShelf(*m_platform);
        m_platform->routes.comesWithSystem(ModelTask::hearing(u"en-US"_s));
        m_delegate = std::make_unique<AppDelegate>();
    }
    void cleanup() {
        m_delegate.reset();
        m_platform->run();
        m_platform.reset();
    }

    // The first start.

    void theWindowOpensAtTheFirstOpeningOfThePanel() {
        launch();
        QVERIFY(!desk().window());
        m_delegate->showPopover();
        QVERIFY(desk().window() && desk().window()->isVisible());
        QVERIFY(m_delegate->popover()->isShown());
    }

    void thereWhatTheCurrentLanguagesTakeIsTicked() {
        launch();
        m_delegate->showPopover();
        auto &window = *desk().window();
        QVERIFY(window.findChild<QCheckBox *>(u"translatingBox"_s)->isChecked());
        QCOMPARE(window.findChild<QCheckBox *>(u"translatingBox"_s)->text(),
                 u"Translate English to Russian"_s);
        QCOMPARE(window.findChild<PanelButton *>(u"installWanted"_s)->text(), u"Install, 14 MB"_s);
    }

    void itNeverOpensByItselfAgain() {
        launch();
        m_delegate->showPopover();
        desk().window()->close();
        m_delegate->popover()->performClose();
        m_delegate->showPopover();
        QVERIFY(!desk().window()->isVisible());
        m_delegate = std::make_unique<AppDelegate>();
        launch();
        m_delegate->showPopover();
        QVERIFY(!desk().window());
    }

    void aPanelThatIsOnlyMinimisedOpensNoWindow() {
        m_platform->trayFake.isThere = false;
        m_delegate->applicationDidFinishLaunching(platform::Start::atLogin);
        m_platform->queue.advance(10s);
        QVERIFY(!desk().window());
    }

    void norDoesANoticeAtLogin() {
        const auto &hotKey = AppHotKey::defaultValue;
        m_platform->hotKeysFake.takenElsewhere.insert({hotKey.keyCode, hotKey.modifiers});
        m_delegate->applicationDidFinishLaunching(platform::Start::atLogin);
        m_platform->run();
        QVERIFY(m_delegate->popover()->isShown());
        QVERIFY(!desk().window());
        QVERIFY(!m_platform->firstStartFake.wasEnded);
        m_delegate->showPopover();
        QVERIFY(desk().window() && desk().window()->isVisible());
    }

    void whereThereAreNoModelsNoWindowOpensAndTheFirstStartIsStillToCome() {
        m_delegate.reset();
        m_platform.reset();
        m_platform = std::make_unique<FakePlatform>();
        m_delegate = std::make_unique<AppDelegate>();
        launch();
        m_delegate->showPopover();
        QVERIFY(!desk().window());
        QVERIFY(!m_platform->firstStartFake.wasEnded);
    }

    // The menu.

    void theMenuOpensTheWindowWithTheLanguagesOfThePanel() {
        pastFirstStart();
        m_delegate->controller()->setTargetLanguageIdentifier(u"fr"_s);
        chooseModelsInTheMenu();
        QVERIFY(desk().window()->isVisible());
        QCOMPARE(desk().window()->findChild<QCheckBox *>(u"translatingBox"_s)->text(),
                 u"Translate English to French"_s);
    }

    void theWindowThatIsOpenKeepsItsLanguages() {
        pastFirstStart();
        chooseModelsInTheMenu();
        desk().window()->select(u"de-DE"_s, u"en"_s);
        chooseModelsInTheMenu();
        QCOMPARE(desk().window()->findChild<QCheckBox *>(u"translatingBox"_s)->text(),
                 u"Translate German to English"_s);
    }

    void whatIsChosenInTheWindowIsMadeReadyAtOnce() {
        pastFirstStart();
        chooseModelsInTheMenu();
        m_platform->speech.prepared.clear();
        m_platform->translation.warmedPairs.clear();
        const auto buttons = desk().window()->findChildren<PanelButton *>();
        const auto install = std::find_if(buttons.begin(), buttons.end(), [](const PanelButton *button) {
            return button->accessibleName().startsWith(u"Install"_s) &&
                   button->accessibleName().endsWith(u", en-ru-tiny"_s);
        });
        QVERIFY(install != buttons.end());
        (*install)->click();
        QCOMPARE(m_platform->speech.prepared, QStringList{u"en-US"_s});
        QCOMPARE(m_platform->translation.warmedPairs, QStringList{u"en>ru"_s});
    }

    // The panel stays open.

    void neitherTheWindowNorTheQuestionClosesThePanel() {
        pastFirstStart();
        m_delegate->showPopover();
        QApplication::setActiveWindow(m_delegate->popover());
        chooseModelsInTheMenu();
        QApplication::setActiveWindow(desk().window());
        m_platform->queue.advance(5s);
        QVERIFY(m_delegate->popover()->isShown());
        chooseTarget(u"fr"_s);
        QApplication::setActiveWindow(desk().question());
        m_platform->queue.advance(5s);
        QVERIFY(m_delegate->popover()->isShown());
    }

    void thePanelClosesOnceTheUserTurnsToSomethingElse() {
        pastFirstStart();
        m_delegate->showPopover();
        QApplication::setActiveWindow(m_delegate->popover());
        chooseModelsInTheMenu();
        QApplication::setActiveWindow(desk().window());
        m_platform->queue.advance(5s);
        QApplication::setActiveWindow(nullptr);
        m_platform->queue.advance(5s);
        QVERIFY(!m_delegate->popover()->isShown());
    }

    // What is asked.

    void choosingATargetAsksForWhatThePairTakes() {
        pastFirstStart();
        chooseTarget(u"fr"_s);
        QCOMPARE(questionText(),
                 u"Download what translating English to French takes? 14 MB from models.example, "
                 u"kept on this computer."_s);
    }

    void choosingASpokenLanguageAsksOnceForTheLanguageAndThePair() {
        pastFirstStart();
        m_delegate->controller()->setSourceLocaleIdentifier(u"de-DE"_s);
        m_platform->run();
        QCOMPARE(
            questionText(),
            u"Download what dictating in German (Germany) and translating German to Russian, by way of English, take? 101 MB from k2-fsa and models.example, kept on this computer."_s);
        answer("downloadButton");
        QCOMPARE(m_platform->models.waiting(), (QStringList{u"kroko-de"_s, u"de-en-tiny"_s, tiny}));
        QVERIFY(!desk().question());
    }

    void aSpokenLanguageWhoseModelIsThereAsksForThePairAlone() {
        m_platform->models.place(u"kroko-fr"_s, u"1"_s);
        pastFirstStart();
        m_delegate->controller()->setSourceLocaleIdentifier(u"fr-FR"_s);
        m_platform->run();
        QCOMPARE(
            questionText(),
            u"Download what translating French to Russian, by way of English, takes? 30 MB from models.example, kept on this computer."_s);
    }

    void notNowHoldsForTheLanguageAndThePair() {
        pastFirstStart();
        m_delegate->controller()->setSourceLocaleIdentifier(u"de-DE"_s);
        m_platform->run();
        answer("notNowButton");
        QVERIFY(!desk().question());
        QCOMPARE(m_platform->consent.declined,
                 (QList{ModelTask::hearing(u"de-DE"_s), ModelTask::translating(u"de"_s, u"ru"_s)}));
    }

    void choosingTheOnDeviceEngineAsks() {
        pastFirstStart();
        useEngine(TranslationEngine::openAINatural);
        QVERIFY(!desk().question());
        useEngine(TranslationEngine::appleLocal);
        QVERIFY(desk().question());
    }

    void theHostedEngineNeedsNothing() {
        pastFirstStart();
        useEngine(TranslationEngine::openAINatural);
        chooseTarget(u"fr"_s);
        QVERIFY(!desk().question());
    }

    void swappingAsksForWhatHasBecomeOfIt() {
        pastFirstStart();
        m_platform->models.place(u"kroko-de"_s, u"1"_s);
        m_platform->models.place(u"en-de-tiny"_s, u"1"_s);
        chooseTarget(u"de"_s);
        QVERIFY(!desk().question());
        m_delegate->controller()->swapLanguages();
        m_platform->run();
        QCOMPARE(m_platform->log.calls().filter(u"consent.ask"_s).size(), 1);
        QCOMPARE(questionText(),
                 u"Download what translating German to English takes? 16 MB from models.example, "
                 u"kept on this computer."_s);
        answer("notNowButton");
        QVERIFY(!desk().question());
    }

    void aDownloadGoesOnInTheBackground() {
        pastFirstStart();
        m_delegate->showPopover();
        chooseTarget(u"fr"_s);
        answer("downloadButton");
        QCOMPARE(m_platform->models.waiting(), QStringList{u"en-fr-tiny"_s});
        QCOMPARE(m_delegate->controller()->dictationState(), DictationState::idle);
        QVERIFY(m_delegate->popover()->isShown());
    }

    void notNowDownloadsNothingUntilThePairIsChosenAgain() {
        pastFirstStart();
        chooseTarget(u"fr"_s);
        answer("notNowButton");
        QVERIFY(m_platform->models.waiting().isEmpty());
        QVERIFY(!desk().question());
        chooseTarget(u"fr"_s);
        QVERIFY(desk().question());
    }

    void aQuestionThatHasJustBeenAnsweredKeepsThePanelOpen() {
        pastFirstStart();
        m_delegate->showPopover();
        chooseTarget(u"fr"_s);
        m_platform->workspaceFake.frontmost = m_platform->workspaceFake.launch(u"Mousepad"_s);
        QTest::keyClick(desk().question(), Qt::Key_Escape);
        QVERIFY(desk().question()); // goes with the next turn of the loop, which brings the panel back
        QVERIFY(m_delegate->popover()->staysOpen());
        settle();
        QVERIFY(!desk().question());
        QVERIFY(m_delegate->popover()->isShown());
    }

    void closingTheQuestionIsNotNow() {
        pastFirstStart();
        chooseTarget(u"fr"_s);
        QTest::keyClick(desk().question(), Qt::Key_Escape);
        settle();
        QVERIFY(!desk().question());
        QCOMPARE(m_platform->consent.declined.size(), 1);
    }

    void theQuestionLeadsToTheWindow() {
        pastFirstStart();
        chooseTarget(u"fr"_s);
        desk().question()->findChild<PanelButton *>(u"modelsButton"_s)->click();
        QVERIFY(desk().window()->isVisible());
        QVERIFY(desk().question());
    }

    void aQuestionEndsOnceWhatItAsksForIsOnItsWay() {
        pastFirstStart();
        chooseTarget(u"fr"_s);
        m_platform->models.install(u"en-fr-tiny"_s);
        settle();
        QVERIFY(!desk().question());
        QVERIFY(m_platform->consent.declined.isEmpty());
        QCOMPARE(m_platform->models.waiting(), QStringList{u"en-fr-tiny"_s});
    }

    void orIsThere() {
        pastFirstStart();
        chooseTarget(u"fr"_s);
        m_platform->models.place(u"en-fr-tiny"_s, u"1"_s);
        settle();
        QVERIFY(!desk().question());
        QVERIFY(m_platform->consent.declined.isEmpty());
        QVERIFY(m_platform->models.waiting().isEmpty());
    }

    void aQuestionThatEndsByItselfTakesNobodyOutOfTheWindow() {
        pastFirstStart();
        m_delegate->showPopover();
        chooseTarget(u"fr"_s);
        chooseModelsInTheMenu();
        QApplication::setActiveWindow(desk().window());
        m_platform->models.install(u"en-fr-tiny"_s);
        settle();
        QVERIFY(!desk().question());
        QCoreApplication::processEvents();
        QCOMPARE(QApplication::activeWindow(), desk().window());
    }

    void itStaysWhileAPartIsMissing() {
        pastFirstStart();
        m_delegate->controller()->setSourceLocaleIdentifier(u"de-DE"_s);
        m_platform->run();
        m_platform->models.install(u"kroko-de"_s);
        m_platform->models.install(tiny);
        settle();
        QVERIFY(desk().question());
        m_platform->models.install(u"de-en-tiny"_s);
        settle();
        QVERIFY(!desk().question());
    }

    void whatIsLeftToBeDownloadedIsAskedFor() {
        pastFirstStart();
        m_delegate->controller()->setSourceLocaleIdentifier(u"de-DE"_s);
        m_platform->run();
        m_platform->models.install(u"kroko-de"_s);
        settle();
        const QString text =
            u"Download what dictating in German (Germany) and translating German to Russian, by way of "
            u"English, take? 30 MB from models.example, kept on this computer."_s;
        QCOMPARE(questionText(), text);
        const auto *button = desk().question()->findChild<PanelButton *>(u"downloadButton"_s);
        QCOMPARE(button->accessibleDescription(), text);
    }

    void aQuestionThatWaitedAsksForWhatIsLeftByThen() {
        pastFirstStart();
        const auto germanToRussian = ModelTask::translating(u"de"_s, u"ru"_s);
        m_platform->consent.ask({{germanToRussian}, {u"de-en-tiny"_s, tiny}}, [this](auto answer) {
            if (answer == platform::DownloadAnswer::download) {
                m_platform->models.install(u"de-en-tiny"_s);
                m_platform->models.install(tiny);
            }
        });
        m_delegate->controller()->setSourceLocaleIdentifier(u"de-DE"_s);
        m_platform->run();
        answer("downloadButton");
        QCOMPARE(questionText(),
                 u"Download what dictating in German (Germany) and translating German to Russian, by way of "
                 u"English, take? 71 MB from k2-fsa, kept on this computer."_s);
    }

    void anotherChoiceThatIsInstalledInTheWindowEndsItToo() {
        pastFirstStart();
        chooseTarget(u"fr"_s);
        answer("notNowButton");
        chooseTarget(u"ru"_s);
        QVERIFY(desk().question());
        m_platform->routes.choose(englishToRussian, u"en-ru-base"_s);
        m_platform->models.install(u"en-ru-base"_s);
        settle();
        QVERIFY(!desk().question());
        QCOMPARE(m_platform->models.waiting(), QStringList{u"en-ru-base"_s});
    }

    void aQuestionThatWaitedForAnotherIsNotShownOnceItIsAnswered() {
        pastFirstStart();
        chooseTarget(u"fr"_s);
        chooseTarget(u"de"_s);
        m_platform->models.place(u"en-de-tiny"_s, u"1"_s);
        m_platform->run();
        answer("notNowButton");
        QVERIFY(!desk().question());
        QCOMPARE(m_platform->consent.declined, QList{ModelTask::translating(u"en"_s, u"fr"_s)});
    }

    void aModelWhoseSizeNobodyStatedIsAskedForAllTheSame() {
        auto model = translationModel(u"en-fr-tiny"_s, u"en"_s, u"fr"_s, 0);
        model.downloadSize.reset();
        m_platform->models.offer(model);
        pastFirstStart();
        chooseTarget(u"fr"_s);
        QCOMPARE(questionText(), u"Download what translating English to French takes? Its size is not "
                                 u"stated. It comes from models.example, "
                                 u"kept on this computer."_s);
    }

    void thePublishersOfAllThatIsDownloadedAreNamed() {
        for (const auto &[id, publisher] :
             {std::pair{u"de-en-tiny"_s, u"One"_s}, std::pair{tiny, u"Two"_s}}) {
            auto model = translationModel(id, id.first(2), id.mid(3, 2), 15'000'000);
            model.publisher = publisher;
            m_platform->models.offer(model);
        }
        m_platform->models.place(u"kroko-de"_s, u"1"_s);
        pastFirstStart();
        m_delegate->controller()->setSourceLocaleIdentifier(u"de-DE"_s);
        m_platform->run();
        QCOMPARE(
            questionText(),
            u"Download what translating German to Russian, by way of English, takes? 30 MB from One and Two, "
            u"kept on this computer."_s);
    }

    void theQuestionIsReadOutWithItsFirstButton() {
        pastFirstStart();
        chooseTarget(u"fr"_s);
        auto *button = desk().question()->focusWidget();
        const auto *interface = QAccessible::queryAccessibleInterface(button);
        QCOMPARE(interface->text(QAccessible::Name), u"Download"_s);
        QCOMPARE(interface->text(QAccessible::Description), questionText());
    }

    void whoQuitsWithAQuestionOpenSaysNotNow() {
        pastFirstStart();
        chooseTarget(u"fr"_s);
        m_delegate->quit();
        settle();
        QVERIFY(!desk().question());
        QCOMPARE(m_platform->consent.declined.size(), 1);
        QVERIFY(m_platform->models.waiting().isEmpty());
    }

    void whoAsksOnceItHasEndedIsToldNotNow() {
        pastFirstStart();
        m_delegate.reset();
        std::optional<platform::DownloadAnswer> told;
        platform::DownloadQuestion question;
        question.models = {tiny};
        m_platform->consent.ask(question, [&](auto answer) { told = answer; });
        m_platform->run();
        QCOMPARE(told, std::optional(platform::DownloadAnswer::notNow));
    }

    // What a status leads to.

    void anErrorThatNamesTheWindowLeadsToIt() {
        openPanel();
        QVERIFY(statusLink().isHidden());
        m_delegate->controller()->setStatusText(
            u"Translation failed: The download for English to Russian failed: It is away. Try again under "
            u"Models in the tray menu."_s);
        QVERIFY(statusLink().isVisible());
        QCOMPARE(statusLink().plainText(), u"Models…"_s);
        statusLink().click();
        QVERIFY(desk().window()->isVisible());
        QVERIFY(m_delegate->popover()->isShown());
    }

    void theNextStatusLeadsNowhere() {
        openPanel();
        m_delegate->controller()->setStatusText(u"Open Models in the tray menu."_s);
        m_delegate->controller()->setStatusText(u"Listening..."_s);
        QVERIFY(statusLink().isHidden());
    }

    void aLanguageWhoseModelIsNotThereLeadsToTheWindow() {
        openPanel();
        m_delegate->controller()->setSourceLocaleIdentifier(u"de-DE"_s);
        m_delegate->controller()->setStatusText(
            u"Speech failed: Speech recognizer is unavailable for de-DE."_s);
        QVERIFY(statusLink().isVisible());
    }

    void aLanguageWhoseModelIsThereIsUnavailableForAnotherReason() {
        openPanel();
        m_delegate->controller()->setStatusText(
            u"Speech failed: Speech recognizer is unavailable for en-US."_s);
        QVERIFY(statusLink().isHidden());
    }

    // A dictation.

    void theStartOfADictationAsksNothingAndDownloadsNothing() {
        pastFirstStart();
        m_delegate->controller()->setSourceLocaleIdentifier(u"de-DE"_s);
        m_platform->run();
        answer("notNowButton");
        m_platform->speech.isAvailable = false;
        m_platform->log.clear();
        platform::detach(m_delegate->controller()->toggleRecording());
        m_platform->run();
        QCOMPARE(m_delegate->controller()->statusText(),
                 u"Speech failed: Speech recognizer is unavailable for de-DE."_s);
        QCOMPARE(m_platform->log.calls().filter(QRegularExpression(u"^(consent|models)\\."_s)),
                 QStringList());
        QVERIFY(!desk().question());
    }

    // What is marked.

    void whatIsNotInstalledIsMarked() {
        openPanel();
        QCOMPARE(markOf(u"targetPicker"_s, u"fr"_s), u"Not installed: 14 MB"_s);
        QCOMPARE(markOf(u"sourcePicker"_s, u"de-DE"_s), u"Not installed: 71 MB"_s);
    }

    void whatIsReadyIsNotMarked() {
        openPanel();
        QCOMPARE(markOf(u"sourcePicker"_s, u"en-US"_s), QString());
        QCOMPARE(markOf(u"targetPicker"_s, u"en"_s), QString());
    }

    void whatNoModelServesIsMarked() {
        openPanel();
        QCOMPARE(markOf(u"targetPicker"_s, u"ja"_s),
                 u"There is no model for this. Choose OpenAI Natural as the engine."_s);
    }

    void aLanguageThatChangesTheEngineWhenItIsChosenSaysSo() {
        openPanel();
        for (const auto &id : {u"kk"_s, u"uz"_s, u"ky"_s})
            QCOMPARE(markOf(u"targetPicker"_s, id),
                     u"There is no model for this. Choosing it changes the engine to OpenAI Natural."_s);
    }

    void soDoesEveryOtherWhereSuchAOneIsSpoken() {
        openPanel();
        m_delegate->controller()->setTargetLanguageIdentifier(u"kk"_s);
        m_delegate->controller()->setSourceLocaleIdentifier(u"kk-KZ"_s);
        useEngine(TranslationEngine::appleLocal);
        QCOMPARE(m_delegate->controller()->selectedTranslationEngine(), TranslationEngine::appleLocal);
        QCOMPARE(markOf(u"targetPicker"_s, u"ru"_s),
                 u"There is no model for this. Choosing it changes the engine to OpenAI Natural."_s);
        QCOMPARE(markOf(u"targetPicker"_s, u"kk"_s), QString());
    }

    void howFarADownloadIsIsMarked() {
        openPanel();
        m_platform->models.install(tiny);
        m_platform->models.progress(received(7'000'000, 14'000'000));
        m_platform->run();
        QCOMPARE(markOf(u"targetPicker"_s, u"ru"_s), u"On its way, 50 %"_s);
    }

    void aModelThatArrivesTakesItsMarkAway() {
        openPanel();
        m_platform->models.install(tiny);
        m_platform->models.arrive();
        m_platform->run();
        QCOMPARE(markOf(u"targetPicker"_s, u"ru"_s), QString());
    }

    void marksFollowTheSpokenLanguage() {
        openPanel();
        m_delegate->controller()->setSourceLocaleIdentifier(u"de-DE"_s);
        m_platform->run();
        QCOMPARE(markOf(u"targetPicker"_s, u"ru"_s), u"Not installed: 30 MB, by way of English"_s);
    }

    void theHostedEngineHasNoMarks() {
        openPanel();
        useEngine(TranslationEngine::openAINatural);
        QCOMPARE(markOf(u"targetPicker"_s, u"fr"_s), QString());
    }

    void theTextsOfThePickersStay() {
        openPanel();
        QCOMPARE(picker(u"targetPicker"_s).currentText(), u"🇷🇺 Russian"_s);
        QCOMPARE(picker(u"targetPicker"_s).accessibleDescription(), u"Not installed: 14 MB"_s);
    }

    void marksWaitForThePanelToOpen() {
        pastFirstStart();
        m_platform->models.place(tiny, u"1"_s);
        m_platform->run();
        m_delegate->showPopover();
        QCOMPARE(markOf(u"targetPicker"_s, u"ru"_s), QString());
        QCOMPARE(markOf(u"targetPicker"_s, u"fr"_s), u"Not installed: 14 MB"_s);
    }

private:
    void launch() {
        m_delegate->applicationDidFinishLaunching();
        m_platform->run();
    }
    void pastFirstStart() {
        m_platform->firstStartFake.wasEnded = true;
        launch();
    }
    void openPanel() {
        pastFirstStart();
        m_delegate->showPopover();
        m_platform->run();
    }
    ModelsDesk &desk() const { return *m_delegate->modelsDesk(); }

    /// Also what deletes itself is gone then.
    void settle() {
        m_platform->run();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        m_platform->run();
    }

    void chooseTarget(const QString &id) {
        m_delegate->controller()->setTargetLanguageIdentifier(id);
        m_platform->run();
    }
    void useEngine(TranslationEngine engine) {
        m_delegate->controller()->setTranslationEngineIdentifier(rawValue(engine));
        m_platform->run();
    }
    void chooseModelsInTheMenu() const {
        for (QAction *action : m_delegate->menu()->actions()) {
            if (action->text() == u"Models…"_s)
                return action->trigger();
        }
        QFAIL("there is no such entry");
    }
    QString questionText() const {
        return desk().question() ? desk().question()->findChild<QLabel *>(u"question"_s)->text() : QString();
    }
    void answer(const char *button) {
        desk().question()->findChild<PanelButton *>(QString::fromLatin1(button))->click();
        settle();
    }
    TextLink &statusLink() const { return *m_delegate->popover()->findChild<TextLink *>(u"statusLink"_s); }
    Picker &picker(const QString &name) const { return *m_delegate->popover()->findChild<Picker *>(name); }
    /// As its tool tip in the list says.
    QString markOf(const QString &name, const QString &id) const {
        auto &options = picker(name);
        return options.itemData(options.findData(id, Qt::UserRole), Qt::ToolTipRole).toString();
    }

    std::unique_ptr<FakePlatform> m_platform;
    std::unique_ptr<AppDelegate> m_delegate;
};

QTEST_MAIN(ModelsDeskTest)
#include "ModelsDeskTest.moc"
