#include "ui/LimitedLabel.h"
#include "ui/ModelListView.h"
#include "ui/ModelRow.h"
#include "ui/ModelsHarness.h"
#include "ui/PanelButton.h"
#include "ui/Picker.h"
#include "ui/ProgressLine.h"
#include "ui/SegmentBar.h"
#include "ui/TextLink.h"
#include "ui/ToolTip.h"

#include <QAccessible>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>

#include <utility>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;
using platform::ModelTask;
using Owner = FakeModelStore::Owner;

namespace {

const QString kroko = u"kroko-de"_s;
const QString tiny = u"en-ru-tiny"_s;
const QString base = u"en-ru-base"_s;
const QUrl licenceAddress(u"https://licences.example/by-sa"_s);

/// The shelf, where it is known where the licence of one model can be read.
void fillShelfWithLicence(FakePlatform &platform, const QString &id, const QString &licence) {
    fillShelf(platform);
    auto model = *platform.models.description(id);
    model.licence = licence;
    model.licenceAddress = licenceAddress;
    platform.models.offer(model);
}

void fillLicensedShelf(FakePlatform &platform) { fillShelfWithLicence(platform, kroko, u"CC-BY-SA-4.0"_s); }

QString accessible(QWidget &widget, QAccessible::Text text) {
    return QAccessible::queryAccessibleInterface(&widget)->text(text);
}

} // namespace

/// What a person reads in the Models window, and does there.
class ModelsWindowTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // A whole language.

    void aWholeLanguageSaysWhatItsPartsTake() {
        ModelsHarness harness;
        harness.window->select(u"de-DE"_s, u"en"_s);
        QCOMPARE(box(harness, "hearing").text(), u"Dictate in German (Germany)"_s);
        QCOMPARE(label(harness, "hearingStanding"), u"71 MB"_s);
        QCOMPARE(box(harness, "translating").text(), u"Translate German to English"_s);
        QCOMPARE(label(harness, "translatingStanding"), u"16 MB"_s);
        QCOMPARE(installButton(harness).text(), u"Install, 87 MB"_s);
        QCOMPARE(label(harness, "wantedSummary"), u"Kept on this computer."_s);
        QVERIFY(box(harness, "hearing").isChecked());
        QVERIFY(box(harness, "translating").isChecked());
    }

    void oneClickInstallsAllThatAWholeLanguageTakes() {
        ModelsHarness harness;
        harness.window->select(u"de-DE"_s, u"en"_s);
        installButton(harness).click();
        QCOMPARE(harness.platform.models.waiting(), (QStringList{kroko, u"de-en-tiny"_s}));
    }

    void whatIsUntickedIsNotInstalled() {
        ModelsHarness harness;
        harness.window->select(u"de-DE"_s, u"en"_s);
        box(harness, "hearing").click();
        QCOMPARE(installButton(harness).text(), u"Install, 16 MB"_s);
        installButton(harness).click();
        QCOMPARE(harness.platform.models.waiting(), QStringList{u"de-en-tiny"_s});
    }

    void whereNothingIsTickedThereIsNothingToInstall() {
        ModelsHarness harness;
        harness.window->select(u"de-DE"_s, u"de"_s);
        box(harness, "hearing").click();
        QCOMPARE(installButton(harness).text(), u"Install"_s);
        QVERIFY(!installButton(harness).isEnabled());
    }

    void aPairByWayOfEnglishSaysSo() {
        ModelsHarness harness;
        harness.window->select(u"de-DE"_s, u"fr"_s);
        QCOMPARE(label(harness, "translatingStanding"), u"30 MB, by way of English"_s);
    }

    void whatNothingDoesSaysSoAndCannotBeTicked() {
        ModelsHarness harness;
        harness.window->select(u"kk-KZ"_s, u"en"_s);
        QCOMPARE(label(harness, "hearingStanding"), u"There is no model for this"_s);
        QVERIFY(!box(harness, "hearing").isEnabled());
        QVERIFY(!box(harness, "hearing").isChecked());
    }

    void whatIsThereIsReady() {
        ModelsHarness harness;
        harness.window->select(u"de-DE"_s, u"en"_s);
        harness.platform.models.place(kroko, u"1"_s);
        harness.platform.models.place(u"de-en-tiny"_s, u"1"_s);
        harness.platform.run();
        QCOMPARE(label(harness, "hearingStanding"), u"Ready"_s);
        QCOMPARE(label(harness, "wantedSummary"), u"Everything for this is here."_s);
        QVERIFY(!installButton(harness).isEnabled());
    }

    void howFarItIsIsSaidWhileItComes() {
        ModelsHarness harness;
        harness.window->select(u"de-DE"_s, u"en"_s);
        installButton(harness).click();
        harness.platform.models.progress(received(35'500'000, 71'000'000));
        harness.platform.run();
        QCOMPARE(label(harness, "hearingStanding"), u"On its way, 50 %"_s);
        QCOMPARE(label(harness, "translatingStanding"), u"On its way, 0 %"_s);
        QCOMPARE(label(harness, "wantedSummary"), u"On its way. You may close this window."_s);
        QCOMPARE(harness.find<ProgressLine>(u"wantedProgress"_s).value(), 40); // of 87 MB
    }

    void theSameLanguageTwiceIsOnlyDictated() {
        ModelsHarness harness;
        harness.window->select(u"de-DE"_s, u"de"_s);
        QVERIFY(box(harness, "translating").isHidden());
        QCOMPARE(installButton(harness).text(), u"Install, 71 MB"_s);
    }

    void anotherLanguageIsPickedInTheWindow() {
        ModelsHarness harness;
        Q_EMIT harness.find<Picker>(u"wantedSource"_s).picked(u"fr-FR"_s);
        Q_EMIT harness.find<Picker>(u"wantedTarget"_s).picked(u"de"_s);
        QCOMPARE(box(harness, "translating").text(), u"Translate French to German"_s);
    }

    void aWholeLanguageIsCalledAsTheUserCallsItToo() {
        const ModelsHarness harness([](FakePlatform &platform) {
            platform.locale.displayNames[u"de"_s] = u"deutsch"_s;
            platform.locale.displayNames[u"ru"_s] = u"russisch"_s;
            fillShelf(platform);
        });
        harness.window->select(u"de-DE"_s, u"ru"_s);
        QCOMPARE(box(harness, "translating").text(), u"Translate Deutsch to Russisch"_s);
        QCOMPARE(harness.find<Picker>(u"wantedTarget"_s).currentText(), u"🇷🇺 Russisch"_s);
    }

    void aLanguageThatThePanelDoesNotTranslateToIsCalledByItsCode() {
        const ModelsHarness harness;
        ModelsWindow window(*harness.models, harness.platform.space,
                            {{{u"eo"_s, u"Esperanto"_s, {}, u"eo"_s}}, LanguageCatalog::targets()});
        window.select(u"eo"_s, u"de"_s);
        QCOMPARE(window.findChild<QCheckBox *>(u"translatingBox"_s)->text(), u"Translate eo to German"_s);
    }

    // The lists.

    void speechIsListedByLanguages() {
        ModelsHarness harness;
        QCOMPARE(titles(harness, u"speechModels"_s),
                 (QStringList{u"🇷🇺 Russian"_s, u"🇫🇷 French"_s, u"🇩🇪 German"_s}));
    }

    void aLanguageOfSeveralRegionsIsListedOnce() {
        ModelsHarness harness([](FakePlatform &platform) {
            platform.models.offer(speechModel(u"kroko-en"_s, u"en"_s, 71'000'000));
            for (const QString &locale : {u"en-US"_s, u"en-GB"_s})
                platform.routes.offer(ModelTask::hearing(locale), {u"kroko-en"_s});
        });
        QCOMPARE(titles(harness, u"speechModels"_s), QStringList{u"🇺🇸 English"_s});
    }

    void aRegionWithAModelOfItsOwnIsListedBehindItsLanguage() {
        ModelsHarness harness([](FakePlatform &platform) {
            platform.models.offer(speechModel(u"kroko-en"_s, u"en"_s));
            platform.models.offer(speechModel(u"british"_s, u"en-GB"_s));
            platform.routes.offer(ModelTask::hearing(u"en-US"_s), {u"kroko-en"_s});
            platform.routes.offer(ModelTask::hearing(u"en-GB"_s), {u"british"_s, u"kroko-en"_s});
        });
        QCOMPARE(titles(harness, u"speechModels"_s),
                 (QStringList{u"🇺🇸 English"_s, u"🇬🇧 English (United Kingdom)"_s}));
    }

    void aRegionWithAModelOfItsOwnNeverStandsForItsLanguage() {
        // Dutch has no preferred region, and Belgium's name goes first.
        ModelsHarness harness([](FakePlatform &platform) {
            platform.speech.locales = QStringList{u"nl-BE"_s, u"nl-NL"_s};
            platform.locale.displayNames[u"nl-BE"_s] = u"Dutch (Belgium)"_s;
            platform.models.offer(speechModel(u"dutch"_s, u"nl"_s));
            platform.models.offer(speechModel(u"flemish"_s, u"nl-BE"_s));
            platform.routes.offer(ModelTask::hearing(u"nl-NL"_s), {u"dutch"_s});
            platform.routes.offer(ModelTask::hearing(u"nl-BE"_s), {u"flemish"_s, u"dutch"_s});
        });
        QCOMPARE(titles(harness, u"speechModels"_s), (QStringList{u"🇳🇱 Dutch"_s, u"🇧🇪 Dutch (Belgium)"_s}));
    }

    void whatHearsPausesComesAfterTheLanguagesAndIsInstalledAndRemovedAsTheyAre() {
        ModelsHarness harness(fillShelfWithVoiceActivity);
        QCOMPARE(titles(harness, u"speechModels"_s).last(), u"Voice activity: hears pauses in noise"_s);
        const QString id = u"silero-vad"_s;
        QCOMPARE(texts(row(harness, id)),
                 (QStringList{u"Voice activity: hears pauses in noise"_s,
                              u"silero-vad · size not stated · Light · Quality not stated"_s,
                              u"From k2-fsa. Licence not stated."_s}));
        press(row(harness, id), 0);
        QCOMPARE(harness.platform.models.waiting(), QStringList{id});
        harness.platform.models.arrive();
        harness.platform.run();
        QCOMPARE(texts(row(harness, id)).last(), u"Installed, in use"_s);
        press(row(harness, id), 0);
        harness.platform.run();
        QVERIFY(harness.platform.models.state(id).presence == platform::ModelState::Presence::absent);
    }

    void whatHearsPausesIsFoundByItsName() {
        ModelsHarness harness(fillShelfWithVoiceActivity);
        harness.find<QLineEdit>(u"search"_s).setText(u"voice"_s);
        QCOMPARE(titles(harness, u"speechModels"_s), QStringList{u"Voice activity: hears pauses in noise"_s});
    }

    void translationIsListedByPairs() {
        ModelsHarness harness;
        QCOMPARE(titles(harness, u"translationModels"_s).first(3),
                 (QStringList{u"🇺🇸 English to 🇷🇺 Russian"_s, u"🇷🇺 Russian to 🇺🇸 English"_s,
                              u"🇺🇸 English to 🇫🇷 French"_s}));
    }

    void languagesAreCalledAsTheUserCallsThem() {
        ModelsHarness harness([](FakePlatform &platform) {
            platform.locale.displayNames[u"de"_s] = u"deutsch"_s;
            fillShelf(platform);
        });
        QVERIFY(titles(harness, u"speechModels"_s).contains(u"🇩🇪 Deutsch"_s));
    }

    void aRowSaysWhatTheModelIs() {
        ModelsHarness harness;
        QCOMPARE(texts(row(harness, kroko)),
                 (QStringList{u"🇩🇪 German"_s, u"kroko-de · 71 MB · Light · Quality not stated"_s,
                              u"From k2-fsa. Licence not stated."_s}));
    }

    void factsThatAreTooLongForALineTakeTwo() {
        ModelsHarness harness([](FakePlatform &platform) {
            fillShelf(platform);
            auto model = speechModel(u"streaming-conformer-large"_s, u"nl"_s);
            model.punctuates = true;
            platform.models.offer(model);
            platform.models.offer(speechModel(u"another"_s, u"nl"_s));
            platform.routes.offer(platform::ModelTask::hearing(u"nl-NL"_s), {model.id, u"another"_s});
        });
        harness.show();
        const auto linesOf = [&](const QString &id) {
            const auto *facts = row(harness, id).findChildren<LimitedLabel *>().at(1);
            return facts->height() / facts->fontMetrics().lineSpacing();
        };
        QTRY_COMPARE_WITH_TIMEOUT(linesOf(u"streaming-conformer-large"_s), 2, 30000);
        QCOMPARE(linesOf(kroko), 1);
        harness.window->resize(1400, harness.window->height());
        QTRY_COMPARE_WITH_TIMEOUT(linesOf(u"streaming-conformer-large"_s), 1, 30000);
    }

    void theRecommendedOfSeveralChoicesIsCalledThat() {
        ModelsHarness harness;
        QCOMPARE(texts(row(harness, tiny)).at(1), u"Recommended · en-ru-tiny · 14 MB · Quality not stated"_s);
    }

    void theOtherChoicesShowOnDemand() {
        ModelsHarness harness;
        QCOMPARE(harness.find<PanelButton>(u"otherChoices"_s).text(), u"1 other choice"_s);
        QVERIFY(!find(harness, base));
        harness.find<PanelButton>(u"otherChoices"_s).click();
        QCOMPARE(texts(row(harness, base)), (QStringList{base, u"33 MB · Large · Quality not stated"_s,
                                                         u"Publisher not stated. Licence not stated."_s}));
        QCOMPARE(harness.find<PanelButton>(u"otherChoices"_s).text(), u"Fewer choices"_s);
    }

    void anotherChoiceIsInstalledInItsPlace() {
        ModelsHarness harness;
        harness.find<PanelButton>(u"otherChoices"_s).click();
        press(row(harness, base), 0);
        QCOMPARE(harness.platform.models.waiting(), QStringList{base});
        harness.platform.models.arrive();
        harness.platform.run();
        QCOMPARE(texts(row(harness, base)).first(), base);
        QCOMPARE(texts(row(harness, base)).last(), u"Installed, in use"_s);
    }

    void whatIsInUseLeadsOnceTheOtherChoicesAreAway() {
        ModelsHarness harness;
        harness.find<PanelButton>(u"otherChoices"_s).click();
        press(row(harness, base), 0);
        harness.platform.models.arrive();
        harness.platform.run();
        harness.find<PanelButton>(u"otherChoices"_s).click();
        QCOMPARE(texts(row(harness, base)).first(), u"🇺🇸 English to 🇷🇺 Russian"_s);
        QCOMPARE(texts(row(harness, tiny)).first(), tiny);
    }

    void aListWithoutModelsSaysSo() {
        ModelsHarness harness([](FakePlatform &) {});
        QCOMPARE(harness.find<ModelListView>(u"speechModels"_s).findChild<QLabel *>(u"emptiness"_s)->text(),
                 u"There are no models for this."_s);
    }

    void searchingShowsWhatMatches_data() {
        QTest::addColumn<QString>("search");
        QTest::addColumn<QStringList>("found");
        const QString german = u"🇩🇪 German"_s;
        QTest::newRow("nothing") << QString() << QStringList{u"🇷🇺 Russian"_s, u"🇫🇷 French"_s, german};
        QTest::newRow("a language") << u"germ"_s << QStringList{german};
        QTest::newRow("in capitals") << u"GERMAN"_s << QStringList{german};
        QTest::newRow("a model") << u"kroko"_s << QStringList{u"🇫🇷 French"_s, german};
        QTest::newRow("both") << u"kroko fr"_s << QStringList{u"🇫🇷 French"_s};
        QTest::newRow("the middle of a word") << u"erman"_s << QStringList{};
    }
    void searchingShowsWhatMatches() {
        QFETCH(QString, search);
        ModelsHarness harness;
        harness.find<QLineEdit>(u"search"_s).setText(search);
        QTEST(titles(harness, u"speechModels"_s), "found");
    }

    void aTranslationIsFoundByTheNameThatItHas() {
        ModelsHarness harness;
        harness.find<QLineEdit>(u"search"_s).setText(u"German to English"_s);
        QVERIFY(titles(harness, u"translationModels"_s).contains(u"🇩🇪 German to 🇺🇸 English"_s));
    }

    void aSearchWithoutAHitSaysSo() {
        ModelsHarness harness;
        harness.find<QLineEdit>(u"search"_s).setText(u"klingon"_s);
        const auto *emptiness =
            harness.find<ModelListView>(u"speechModels"_s).findChild<QLabel *>(u"emptiness"_s);
        QVERIFY(!emptiness->isHidden());
        QCOMPARE(emptiness->text(), u"No language here goes by that name."_s);
    }

    // What there is of a model, and what can be done with it.

    void whatIsNotThereOffersToBeInstalled() {
        ModelsHarness harness;
        QCOMPARE(actions(row(harness, kroko)), QStringList{u"Install"_s});
    }

    void aDownloadShowsHowFarItIs() {
        ModelsHarness harness;
        press(row(harness, kroko), 0);
        harness.platform.models.progress(received(7'100'000, 71'000'000));
        harness.platform.run();
        QCOMPARE(texts(row(harness, kroko)).last(), u"Downloading: 7.1 MB of 71 MB"_s);
        QCOMPARE(actions(row(harness, kroko)), (QStringList{u"Pause"_s, u"Cancel"_s}));
        const auto *line = row(harness, kroko).findChild<ProgressLine *>();
        QVERIFY(!line->isHidden());
        QCOMPARE(line->value(), 10);
    }

    void aDownloadThatIsPausedGoesOnWhereItWas() {
        ModelsHarness harness;
        press(row(harness, kroko), 0);
        harness.platform.models.progress(received(7'100'000, 71'000'000));
        press(row(harness, kroko), 0);
        harness.platform.run();
        QCOMPARE(texts(row(harness, kroko)).last(), u"Paused"_s);
        QCOMPARE(actions(row(harness, kroko)), (QStringList{u"Resume"_s, u"Cancel"_s}));
        press(row(harness, kroko), 0);
        QCOMPARE(harness.platform.models.underWay(), kroko);
    }

    void aDownloadThatIsCancelledLeavesNothing() {
        ModelsHarness harness;
        press(row(harness, kroko), 0);
        harness.platform.models.progress(received(7'100'000, 71'000'000));
        press(row(harness, kroko), 1);
        harness.platform.run();
        QCOMPARE(actions(row(harness, kroko)), QStringList{u"Install"_s});
        QVERIFY(row(harness, kroko).findChild<ProgressLine *>()->isHidden());
    }

    void aModelThatArrivesIsInUse() {
        ModelsHarness harness;
        press(row(harness, kroko), 0);
        harness.platform.models.arrive();
        harness.platform.run();
        QCOMPARE(texts(row(harness, kroko)).last(), u"Installed, in use"_s);
        QCOMPARE(actions(row(harness, kroko)), QStringList{u"Remove"_s});
    }

    void aModelThatIsRemovedWhileInUseSaysSo() {
        ModelsHarness harness;
        harness.platform.models.place(kroko, u"1"_s);
        const auto use = harness.platform.models.use(kroko);
        harness.platform.run();
        press(row(harness, kroko), 0);
        harness.platform.run();
        QCOMPARE(texts(row(harness, kroko)).last().first(36), u"Is removed as soon as nobody uses it"_s);
        QCOMPARE(actions(row(harness, kroko)), QStringList{u"Keep"_s});
    }

    void aModelThatIsDamagedSaysWhyAndOffersRepair() {
        ModelsHarness harness;
        harness.platform.models.place(kroko, u"1"_s);
        harness.platform.models.damage(kroko, u"The file model.onnx is gone."_s);
        harness.platform.run();
        QCOMPARE(texts(row(harness, kroko)).last(), u"The file model.onnx is gone."_s);
        QCOMPARE(actions(row(harness, kroko)), (QStringList{u"Repair"_s, u"Remove"_s}));
    }

    void aFailureSaysWhyAndOffersAnotherTry() {
        ModelsHarness harness;
        press(row(harness, kroko), 0);
        harness.platform.models.fail(u"There is no room."_s);
        harness.platform.run();
        QCOMPARE(texts(row(harness, kroko)).last(), u"There is no room."_s);
        QCOMPARE(actions(row(harness, kroko)), QStringList{u"Install"_s});
    }

    void aFailureInTheMiddleSaysWhyAndOffersToGoOn() {
        ModelsHarness harness;
        press(row(harness, kroko), 0);
        harness.platform.models.progress(received(1000));
        harness.platform.models.fail(u"There is no room."_s);
        harness.platform.run();
        QCOMPARE(texts(row(harness, kroko)).last(), u"There is no room."_s);
        QCOMPARE(actions(row(harness, kroko)), (QStringList{u"Resume"_s, u"Cancel"_s}));
    }

    void whyNothingComesStandsThereWhole() {
        ModelsHarness harness;
        harness.show();
        press(row(harness, kroko), 0);
        platform::ModelProgress stuck;
        stuck.obstacle =
            u"Could not connect to publisher.example: there is no such host, or this computer is "
            u"offline."_s;
        harness.platform.models.progress(stuck);
        harness.platform.run();
        const auto *state = row(harness, kroko).findChildren<LimitedLabel *>().last();
        QCOMPARE(state->text(), stuck.obstacle + u" It is tried again."_s);
        QTRY_COMPARE_WITH_TIMEOUT(state->height() / state->fontMetrics().lineSpacing(), 2, 30000);
    }

    void whatIsPausedBeforeAnythingCameCanGoOn() {
        ModelsHarness harness;
        press(row(harness, kroko), 0);
        press(row(harness, kroko), 0);
        harness.platform.run();
        QCOMPARE(texts(row(harness, kroko)).last(), u"Paused"_s);
        QCOMPARE(actions(row(harness, kroko)), (QStringList{u"Resume"_s, u"Cancel"_s}));
    }

    void whatAnAdministratorInstalledIsLeftAlone() {
        ModelsHarness harness;
        harness.platform.models.place(kroko, u"1"_s, {}, Owner::administrator);
        harness.platform.run();
        QCOMPARE(texts(row(harness, kroko)).last(), u"Installed for everybody on this computer, in use"_s);
        QVERIFY(actions(row(harness, kroko)).isEmpty());
    }

    void whatAnEngineFoundOutIsSaidBesideTheState() {
        ModelsHarness harness;
        harness.platform.models.place(kroko, u"1"_s);
        harness.platform.models.remark(kroko, u"1"_s, u"This computer is too slow for it."_s);
        harness.platform.run();
        QCOMPARE(texts(row(harness, kroko)).last(),
                 u"Installed, in use. This computer is too slow for it."_s);
    }

    void whatIsASentenceAlreadyGetsNoSecondFullStop() {
        ModelsHarness harness;
        harness.platform.models.place(kroko, u"0"_s);
        harness.platform.models.remark(kroko, u"0"_s, u"This computer is too slow for it."_s);
        harness.platform.run();
        QCOMPARE(
            texts(row(harness, kroko)).last(),
            u"Installed: version 0. There is a newer one. It is in use. This computer is too slow for it."_s);
    }

    void theSecondClickOfADoubleClickDoesNotPause() {
        ModelsHarness harness;
        harness.show();
        auto &button = *row(harness, kroko).findChild<PanelButton *>(u"modelButton0"_s);
        QTest::mouseClick(&button, Qt::LeftButton);
        // Its second half alone: mouseDClick() has a whole click before that.
        QTest::mouseEvent(QTest::MouseDClick, &button, Qt::LeftButton, {}, QPoint());
        QTest::mouseRelease(&button, Qt::LeftButton);
        QVERIFY(harness.platform.models.waiting().contains(kroko));
    }

    // Its licence.

    void aLicenceThatCanBeReadSomewhereIsALink() {
        ModelsHarness harness(fillLicensedShelf);
        QCOMPARE(texts(row(harness, kroko)).last(), u"From k2-fsa. Licence:"_s);
        QVERIFY(!licence(harness, kroko).isHidden());
        QCOMPARE(licence(harness, kroko).plainText(), u"CC-BY-SA-4.0"_s);
        QCOMPARE(toolTipOf(licence(harness, kroko)), u"https://licences.example/by-sa"_s);
    }

    void anyOtherLicenceIsPlainText() {
        ModelsHarness harness;
        QCOMPARE(texts(row(harness, kroko)).last(), u"From k2-fsa. Licence not stated."_s);
        QVERIFY(licence(harness, kroko).isHidden());
    }

    void theLicenceIsThatOfTheModelThatTheRowShows() {
        ModelsHarness harness(
            [](FakePlatform &platform) { fillShelfWithLicence(platform, base, u"A & B"_s); });
        QVERIFY(licence(harness, tiny).isHidden());
        harness.platform.models.place(base, u"1"_s); // takes the lead
        harness.platform.run();
        QVERIFY(!licence(harness, base).isHidden());
        QCOMPARE(licence(harness, base).plainText(), u"A & B"_s);
        harness.platform.models.remove(base);
        harness.platform.run();
        QVERIFY(licence(harness, tiny).isHidden());
        QCOMPARE(texts(row(harness, tiny)).last(), u"Publisher not stated. Licence not stated."_s);
    }

    void aChecksumThatIsNotKnownIsSaidBehindTheLicence_data() {
        QTest::addColumn<QUrl>("address");
        QTest::addColumn<QString>("said");
        QTest::newRow("plain text") << QUrl() << u"From k2-fsa. Licence: MIT. Checksum not stated."_s;
        QTest::newRow("a link") << licenceAddress << u"Checksum not stated."_s;
    }
    void aChecksumThatIsNotKnownIsSaidBehindTheLicence() {
        QFETCH(const QUrl, address);
        QFETCH(const QString, said);
        ModelsHarness harness([&](FakePlatform &platform) {
            fillShelf(platform);
            auto model = *platform.models.description(kroko);
            model.licence = u"MIT"_s;
            model.licenceAddress = address;
            model.checksums = platform::ModelChecksums::none;
            platform.models.offer(model);
        });
        QCOMPARE(texts(row(harness, kroko)).last(), said);
        QVERIFY(
            row(harness, kroko).accessibleDescription().endsWith(u"Licence: MIT. Checksum not stated."_s));
    }

    void aClickOpensTheLicence() {
        ModelsHarness harness(fillLicensedShelf);
        harness.show();
        QTest::mouseClick(&licence(harness, kroko), Qt::LeftButton);
        QCOMPARE(harness.platform.webPagesFake.shown, QList{licenceAddress});
        QVERIFY(harness.window->isVisible());
        QCOMPARE(texts(row(harness, kroko)).last(), u"From k2-fsa. Licence:"_s);
    }

    void theSecondClickOfADoubleClickDoesNotOpenItAgain() {
        ModelsHarness harness(fillLicensedShelf);
        harness.show();
        auto &link = licence(harness, kroko);
        QTest::mouseClick(&link, Qt::LeftButton);
        QTest::mouseEvent(QTest::MouseDClick, &link, Qt::LeftButton, {}, QPoint());
        QTest::mouseRelease(&link, Qt::LeftButton);
        QCOMPARE(harness.platform.webPagesFake.shown, QList{licenceAddress});
    }

    void whereNothingShowsPagesTheRowSaysWhereTheLicenceIs() {
        ModelsHarness harness(fillLicensedShelf);
        harness.platform.webPagesFake.hasBrowser = false;
        licence(harness, kroko).click();
        QCOMPARE(texts(row(harness, kroko)).last(),
                 u"Not installed. Nothing here can show https://licences.example/by-sa"_s);
        harness.platform.webPagesFake.hasBrowser = true;
        licence(harness, kroko).click();
        QCOMPARE(texts(row(harness, kroko)).last(), u"From k2-fsa. Licence:"_s);
    }

    void aLongLicenceLeavesRoomForTheButtons() {
        ModelsHarness harness([](FakePlatform &platform) {
            fillShelfWithLicence(platform, kroko, u"Licence "_s.repeated(1000));
        });
        harness.show();
        const auto &shown = row(harness, kroko);
        const auto &link = licence(harness, kroko);
        const auto *button = shown.findChild<PanelButton *>(u"modelButton0"_s);
        QVERIFY(link.width() > 100);
        QVERIFY(link.mapTo(&shown, link.rect().topRight()).x() < button->geometry().left());
        QVERIFY(button->geometry().right() < shown.width());
        QVERIFY(shown.mapTo(harness.window.get(), shown.rect().topRight()).x() < harness.window->width());
    }

    // The room.

    void theRoomIsSaidAndFollowsWhatIsInstalled() {
        ModelsHarness harness;
        harness.show();
        QCOMPARE(label(harness, "spaceText"), u"You have no models of your own. 12 GB are free."_s);
        harness.platform.space.usedBytes = 71'000'000;
        harness.platform.models.place(kroko, u"1"_s);
        harness.platform.run();
        QCOMPARE(label(harness, "spaceText"), u"Your models take 71 MB. 12 GB are free."_s);
    }

    void aHiddenWindowDoesNotAskForTheRoom() {
        ModelsHarness harness;
        harness.platform.models.place(kroko, u"1"_s);
        harness.platform.run();
        QCOMPARE(harness.platform.space.questions, 0);
        harness.show();
        harness.window->close();
        const int whileShown = std::exchange(harness.platform.space.questions, 0);
        QVERIFY(whileShown > 0);
        harness.platform.models.remove(kroko);
        harness.platform.run();
        QCOMPARE(harness.platform.space.questions, 0);
    }

    void theRoomIsSaidAnewWhenTheWindowOpensAgain() {
        ModelsHarness harness;
        harness.show();
        harness.window->close();
        harness.platform.space.usedBytes = 71'000'000;
        harness.platform.models.place(kroko, u"1"_s);
        harness.platform.run();
        harness.show();
        QCOMPARE(label(harness, "spaceText"), u"Your models take 71 MB. 12 GB are free."_s);
    }

    // What the catalogs say in vain.

    void whatTheCatalogsSayInVainIsNamed() {
        ModelsHarness harness([](FakePlatform &platform) {
            fillShelf(platform);
            platform.models.omitted = {u"The model one in /a is left out. It has too many files."_s,
                                       u"The model two in /a is left out. It has too many files."_s};
        });
        harness.show();
        auto &line = harness.find<LimitedLabel>(u"omissionsText"_s);
        const QString words = u"2 entries of the catalogs are left out. "
                              u"The model one in /a is left out. It has too many files. "
                              u"The model two in /a is left out. It has too many files."_s;
        QVERIFY(line.isVisible());
        QCOMPARE(accessible(line, QAccessible::Name), words);
        QVERIFY(toolTipOf(line).contains(u"The model two in /a is left out."_s));
    }

    void whereNothingIsLeftOutNothingIsSaid() {
        ModelsHarness harness;
        harness.show();
        QVERIFY(harness.find<LimitedLabel>(u"omissionsText"_s).isHidden());
    }

    // Keyboard.

    void theFocusBeginsAtWhatTheLanguagesTake() {
        ModelsHarness harness;
        harness.window->select(u"de-DE"_s, u"en"_s);
        harness.show();
        QCOMPARE(harness.window->focusWidget(), &installButton(harness));
    }

    void enterInstallsWhatTheLanguagesTake() {
        ModelsHarness harness;
        harness.window->select(u"de-DE"_s, u"en"_s);
        harness.show();
        QTest::keyClick(harness.window->focusWidget(), Qt::Key_Return);
        QCOMPARE(harness.platform.models.waiting(), (QStringList{kroko, u"de-en-tiny"_s}));
    }

    void tabReachesEveryControl() {
        ModelsHarness harness;
        harness.window->select(u"de-DE"_s, u"en"_s);
        harness.show();
        QSet<QWidget *> reached;
        for (int i = 0; i < 60; ++i) {
            reached.insert(harness.window->focusWidget());
            QTest::keyClick(harness.window->focusWidget(), Qt::Key_Tab);
        }
        for (auto *widget : harness.window->findChildren<QWidget *>()) {
            if (widget->focusPolicy() & Qt::TabFocus && widget->isVisible() && widget->isEnabled())
                QVERIFY2(reached.contains(widget), qPrintable(widget->objectName()));
        }
    }

    void theKeyboardReachesALicenceAndOpensIt_data() {
        QTest::addColumn<Qt::Key>("key");
        QTest::newRow("Space") << Qt::Key_Space;
        QTest::newRow("Enter") << Qt::Key_Return;
        QTest::newRow("Enter of the number pad") << Qt::Key_Enter;
    }
    void theKeyboardReachesALicenceAndOpensIt() {
        QFETCH(Qt::Key, key);
        ModelsHarness harness(fillLicensedShelf);
        harness.show();
        for (int i = 0; i < 60 && harness.window->focusWidget() != &licence(harness, kroko); ++i)
            QTest::keyClick(harness.window->focusWidget(), Qt::Key_Tab);
        QCOMPARE(harness.window->focusWidget(), &licence(harness, kroko));
        QTest::keyClick(harness.window->focusWidget(), key);
        QCOMPARE(harness.platform.webPagesFake.shown, QList{licenceAddress});
        QVERIFY(harness.platform.models.waiting().isEmpty());
        QTest::keyClick(harness.window->focusWidget(), Qt::Key_Tab);
        QCOMPARE(harness.window->focusWidget(),
                 row(harness, kroko).findChild<PanelButton *>(u"modelButton0"_s));
    }

    void escapeEmptiesTheSearchAndThenCloses() {
        ModelsHarness harness;
        harness.show();
        auto &search = harness.find<QLineEdit>(u"search"_s);
        search.setFocus();
        search.setText(u"germ"_s);
        QTest::keyClick(&search, Qt::Key_Escape);
        QCOMPARE(search.text(), QString());
        QVERIFY(harness.window->isVisible());
        QTest::keyClick(&search, Qt::Key_Escape);
        QVERIFY(!harness.window->isVisible());
    }

    void controlFSearches() {
        ModelsHarness harness;
        harness.show();
        QTest::keyClick(harness.window.get(), Qt::Key_F, Qt::ControlModifier);
        QCOMPARE(harness.window->focusWidget(), &harness.find<QLineEdit>(u"search"_s));
    }

    void arrowKeysChangeTheList() {
        ModelsHarness harness;
        harness.show();
        auto &kinds = harness.find<SegmentBar>(u"kinds"_s);
        kinds.setFocus();
        QTest::keyClick(&kinds, Qt::Key_Right);
        QVERIFY(harness.find<ModelListView>(u"translationModels"_s).isVisible());
    }

    void theFocusStaysOnAButtonThatBecomesAnother() {
        ModelsHarness harness;
        harness.show();
        auto &button = *row(harness, kroko).findChild<PanelButton *>(u"modelButton0"_s);
        button.setFocus();
        QTest::keyClick(&button, Qt::Key_Space);
        harness.platform.run();
        QCOMPARE(button.text(), u"Pause"_s);
        QCOMPARE(harness.window->focusWidget(), &button);
    }

    // Screen readers.

    void aButtonSaysWhatItDoesWithWhichModel() {
        ModelsHarness harness;
        auto &button = *row(harness, kroko).findChild<PanelButton *>(u"modelButton0"_s);
        QCOMPARE(accessible(button, QAccessible::Name), u"Install German, kroko-de"_s);
        QCOMPARE(accessible(button, QAccessible::Description),
                 u"Not installed. kroko-de · 71 MB · Light · Quality not stated. From k2-fsa. Licence not "
                 u"stated."_s);
    }

    void aLicenceIsALinkThatSaysWhoseItIsAndWhereItLeads() {
        ModelsHarness harness(fillLicensedShelf);
        harness.show();
        auto *link = QAccessible::queryAccessibleInterface(&licence(harness, kroko));
        QCOMPARE(link->role(), QAccessible::Link);
        QVERIFY(link->state().linked && link->state().focusable);
        QCOMPARE(link->text(QAccessible::Name), u"Licence CC-BY-SA-4.0 of German, kroko-de"_s);
        QCOMPARE(link->text(QAccessible::Description), u"https://licences.example/by-sa"_s);
        link->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(harness.platform.webPagesFake.shown, QList{licenceAddress});
    }

    void aRowSaysItsLicenceWhetherOrNotThatIsALink() {
        ModelsHarness harness(fillLicensedShelf);
        QVERIFY(accessible(row(harness, kroko), QAccessible::Description)
                    .endsWith(u"From k2-fsa. Licence: CC-BY-SA-4.0."_s));
    }

    void aBoxSaysHowThingsStand() {
        ModelsHarness harness;
        harness.window->select(u"de-DE"_s, u"en"_s);
        QCOMPARE(accessible(box(harness, "hearing"), QAccessible::Name), u"Dictate in German (Germany)"_s);
        QCOMPARE(accessible(box(harness, "hearing"), QAccessible::Description), u"71 MB"_s);
    }

    void theOtherChoicesSayWhoseTheyAre() {
        ModelsHarness harness;
        QCOMPARE(accessible(harness.find<PanelButton>(u"otherChoices"_s), QAccessible::Name),
                 u"1 other choice for English to Russian"_s);
    }

    void nothingThatTakesTheFocusIsNameless() {
        ModelsHarness harness;
        harness.show();
        for (auto *widget : harness.window->findChildren<QWidget *>()) {
            if (!(widget->focusPolicy() & Qt::TabFocus) || widget->objectName().startsWith(u"qt_") ||
                widget->window() != harness.window.get())
                continue;
            QVERIFY2(!accessible(*widget, QAccessible::Name).isEmpty(), qPrintable(widget->objectName()));
        }
    }

    // Room on the screen.

    void theWindowFitsAScreenOf617Lines() {
        ModelsHarness harness;
        QVERIFY(harness.window->sizeHint().height() + 37 <= 617); // with a title bar
        QVERIFY(harness.window->minimumSizeHint().height() <= harness.window->sizeHint().height());
    }

    void titlesBeginWhereOneReadsFrom() {
        QApplication::setLayoutDirection(Qt::RightToLeft);
        const auto restored = qScopeGuard([] { QApplication::setLayoutDirection(Qt::LeftToRight); });
        ModelsHarness harness;
        harness.show();
        const auto &picker = harness.find<Picker>(u"wantedSource"_s);
        QStringList titles;
        for (const auto *label : harness.find<QWidget>(u"wanted"_s).findChildren<QLabel *>()) {
            const bool isTitle = !qobject_cast<const LimitedLabel *>(label);
            if (isTitle && label->geometry().right() == picker.geometry().right())
                titles += label->text();
        }
        QCOMPARE(titles, (QStringList{u"Languages on this computer"_s, u"Dictate in"_s}));
    }

    void aLongNameLeavesRoomForWhatItTakes() {
        ModelsHarness harness([](FakePlatform &platform) {
            platform.locale.displayNames[u"de-DE"_s] = u"Donaudampfschifffahrt"_s.repeated(8);
            fillShelf(platform);
        });
        harness.window->select(u"de-DE"_s, u"en"_s);
        harness.show();
        const auto &standing = harness.find<LimitedLabel>(u"hearingStanding"_s);
        QVERIFY(standing.width() >= standing.sizeHint().width());
        QVERIFY(box(harness, "hearing").text().endsWith(u'…'));
        QVERIFY(box(harness, "hearing").toolTip().endsWith(u"rt"_s, Qt::CaseInsensitive));
    }

private:
    static QCheckBox &box(const ModelsHarness &harness, const char *part) {
        return harness.find<QCheckBox>(QString::fromLatin1(part) + u"Box"_s);
    }
    static QString label(const ModelsHarness &harness, const char *name) {
        return harness.find<LimitedLabel>(QString::fromLatin1(name)).text();
    }
    static PanelButton &installButton(const ModelsHarness &harness) {
        return harness.find<PanelButton>(u"installWanted"_s);
    }

    static ModelRow *find(const ModelsHarness &harness, const QString &id) {
        for (auto *row : harness.window->findChildren<ModelRow *>()) {
            if (row->id() == id)
                return row;
        }
        return nullptr;
    }
    static ModelRow &row(const ModelsHarness &harness, const QString &id) {
        auto *row = find(harness, id);
        Q_ASSERT(row);
        return *row;
    }

    static TextLink &licence(const ModelsHarness &harness, const QString &id) {
        return *row(harness, id).findChild<TextLink *>();
    }

    /// What is shown in the row, from top to bottom.
    static QStringList texts(const ModelRow &row) {
        QStringList texts;
        for (const auto *label : row.findChildren<LimitedLabel *>()) {
            if (!label->isHidden())
                texts += label->text();
        }
        return texts;
    }
    static QStringList actions(const ModelRow &row) {
        QStringList actions;
        for (const auto *button : row.findChildren<PanelButton *>()) {
            if (!button->isHidden())
                actions += button->text();
        }
        return actions;
    }
    static void press(const ModelRow &row, int place) {
        row.findChild<PanelButton *>(u"modelButton%1"_s.arg(place))->click();
    }
    static QStringList titles(const ModelsHarness &harness, const QString &list) {
        QStringList titles;
        for (const auto *group : harness.find<ModelListView>(list).groups()) {
            if (!group->isHidden())
                titles += texts(*group->findChild<ModelRow *>()).first();
        }
        return titles;
    }
};

QTEST_MAIN(ModelsWindowTest)
#include "ModelsWindowTest.moc"
