#include "controller/AnyChange.h"
#include "controller/ControllerFixture.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;
using test::ControllerFixture;
using test::FakePlatform;

namespace {

const QString defaultEndpoint = u"https://translate.quillora.example/v1/translate"_s;

std::function<void(FakePlatform &)> stored(std::map<QString, QString> values) {
    return [values = std::move(values)](FakePlatform &platform) { platform.defaults.values = values; };
}

} // namespace

class AppControllerSettingsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aFirstStartUsesTheDefaultsAndWritesTheEndpointOnly() {
        FakePlatform platform;
        const AppController controller;
        QCOMPARE(platform.log.calls(),
                 (QStringList{u"keychain.copyMatching com.local.Quillora openAIClientToken"_s,
                              u"keychain.copyMatching com.local.Cobaltwhisk openAIClientToken"_s,
                              u"defaults.set openAIEndpointString="_s + defaultEndpoint}));
        QCOMPARE(controller.sourceLocaleIdentifier(), u"en-US"_s);
        QCOMPARE(controller.targetLanguageIdentifier(), u"ru"_s);
        QCOMPARE(controller.translationEngineIdentifier(), u"appleLocal"_s);
        QCOMPARE(controller.openAIEndpointString(), defaultEndpoint);
        QCOMPARE(controller.openAIClientToken(), QString());
        QCOMPARE(controller.hotKey(), AppHotKey::defaultValue);
        QCOMPARE(controller.statusText(), u"Ready."_s);
        QCOMPARE(controller.transcriptText(), QString());
        QCOMPARE(controller.translatedText(), QString());
        QVERIFY(!controller.isRecording());
        QVERIFY(!controller.isProcessing());
        QVERIFY(!controller.isRecordingHotKey());
    }

    void theSpokenLanguageIsMadeReadyAtTheStartAndAtEachChange() {
        const ControllerFixture f([](FakePlatform &platform) {
            platform.speech.locales = {u"en-US"_s, u"es-ES"_s};
            platform.defaults.values = {{u"sourceLocaleIdentifier"_s, u"es-ES"_s}};
        });
        f.controller->setSourceLocaleIdentifier(u"en-US"_s);
        QCOMPARE(f.platform.speech.prepared, (QStringList{u"es-ES"_s, u"en-US"_s}));
    }

    void storedSettingsAreTakenUp() {
        const ControllerFixture f([](FakePlatform &platform) {
            platform.defaults.values = {{u"sourceLocaleIdentifier"_s, u"es-ES"_s},
                                        {u"targetLanguageIdentifier"_s, u"en"_s},
                                        {u"translationEngineIdentifier"_s, u"openAINatural"_s},
                                        {u"openAIEndpointString"_s, u"https://my.example/t"_s},
                                        {u"hotKey"_s, u"40:256"_s}};
            platform.keychainFake.items[{u"com.local.Quillora"_s, u"openAIClientToken"_s}] = {"secret", {}};
        });
        QCOMPARE(f.controller->selectedSource().id, u"es-ES"_s);
        QCOMPARE(f.controller->selectedTarget().id, u"en"_s);
        QCOMPARE(f.controller->selectedTranslationEngine(), TranslationEngine::openAINatural);
        QCOMPARE(f.controller->openAIEndpointString(), u"https://my.example/t"_s);
        QCOMPARE(f.controller->openAIClientToken(), u"secret"_s);
        QCOMPARE(f.controller->hotKeyDisplayName(), u"Cmd K"_s);
    }

    void anUnknownStoredLanguageYieldsTheDefaultAndIsNotWrittenBack() {
        const ControllerFixture f(
            stored({{u"sourceLocaleIdentifier"_s, u"xx-XX"_s}, {u"targetLanguageIdentifier"_s, u"tlh"_s}}));
        QCOMPARE(f.controller->sourceLocaleIdentifier(), u"en-US"_s);
        QCOMPARE(f.controller->targetLanguageIdentifier(), u"ru"_s);
        QCOMPARE(f.platform.defaults.values.at(u"sourceLocaleIdentifier"_s), u"xx-XX"_s);
        QCOMPARE(f.platform.defaults.values.at(u"targetLanguageIdentifier"_s), u"tlh"_s);
    }

    void endpointIsMigratedAtEveryStart_data() {
        QTest::addColumn<QString>("storedEndpoint");
        QTest::addColumn<QString>("migrated");
        QTest::newRow("empty") << u""_s << defaultEndpoint;
        QTest::newRow("only blanks") << u" \t\n "_s << defaultEndpoint;
        QTest::newRow("the old local default") << u"http://127.0.0.1:8787/v1/translate"_s << defaultEndpoint;
        QTest::newRow("the old local default amid blanks")
            << u"  http://127.0.0.1:8787/v1/translate\n"_s << defaultEndpoint;
        QTest::newRow("the old local default with a slash more")
            << u"http://127.0.0.1:8787/v1/translate/"_s << u"http://127.0.0.1:8787/v1/translate/"_s;
        QTest::newRow("the old local default over https")
            << u"https://127.0.0.1:8787/v1/translate"_s << u"https://127.0.0.1:8787/v1/translate"_s;
        QTest::newRow("a custom one amid blanks") << u" https://my.example/t "_s << u"https://my.example/t"_s;
        QTest::newRow("nonsense") << u"not a url"_s << u"not a url"_s;
    }
    void endpointIsMigratedAtEveryStart() {
        QFETCH(QString, storedEndpoint);
        QFETCH(QString, migrated);
        const ControllerFixture f(stored({{u"openAIEndpointString"_s, storedEndpoint}}));
        QCOMPARE(f.controller->openAIEndpointString(), migrated);
        QCOMPARE(f.platform.defaults.values.at(u"openAIEndpointString"_s), migrated);
    }

    void anUnreadableHotKeyFallsBackToTheDefault() {
        const ControllerFixture f(stored({{u"hotKey"_s, u"49"_s}}));
        QCOMPARE(f.controller->hotKey(), AppHotKey::defaultValue);
        QCOMPARE(f.platform.defaults.values.at(u"hotKey"_s), u"49"_s);
    }

    void anUnknownEngineBehavesAsOnDeviceButStaysStored() {
        ControllerFixture f(stored({{u"translationEngineIdentifier"_s, u"wizardry"_s}}));
        QCOMPARE(f.controller->translationEngineIdentifier(), u"wizardry"_s);
        QCOMPARE(f.controller->selectedTranslationEngine(), TranslationEngine::appleLocal);
        QCOMPARE(f.platform.defaults.values.at(u"translationEngineIdentifier"_s), u"wizardry"_s);
        f.controller->setTargetLanguageIdentifier(u"kk"_s);
        QCOMPARE(f.controller->translationEngineIdentifier(), u"openAINatural"_s);
    }

    void aStoredPairThatNeedsTheHostedEngineSwitchesAtStartUp() {
        const ControllerFixture f(stored({{u"targetLanguageIdentifier"_s, u"uz"_s}}));
        QCOMPARE(f.controller->translationEngineIdentifier(), u"openAINatural"_s);
        QCOMPARE(f.platform.defaults.values.at(u"translationEngineIdentifier"_s), u"openAINatural"_s);
        QCOMPARE(f.controller->statusText(), u"Uzbek uses OpenAI Natural."_s);
    }

    void choosingOnDeviceForAnUnsupportedPairFlipsBackAndSaysSo() {
        ControllerFixture f(stored({{u"targetLanguageIdentifier"_s, u"ky"_s}}));
        f.takeCalls();
        f.controller->setTranslationEngineIdentifier(u"appleLocal"_s);
        QCOMPARE(f.takeCalls(), (QStringList{u"defaults.set translationEngineIdentifier=appleLocal"_s,
                                             u"defaults.set translationEngineIdentifier=openAINatural"_s}));
        QCOMPARE(f.controller->statusText(), u"Kyrgyz uses OpenAI Natural."_s);
    }

    void anUnsupportedSpokenLanguageNamesTheTarget() {
        ControllerFixture f;
        f.controller->setSourceLocaleIdentifier(u"kk-KZ"_s);
        QCOMPARE(f.controller->translationEngineIdentifier(), u"openAINatural"_s);
        QCOMPARE(f.controller->statusText(), u"Russian uses OpenAI Natural."_s);
    }

    void theSwitchToTheHostedEngineIsOneWay() {
        ControllerFixture f;
        f.controller->setTargetLanguageIdentifier(u"kk"_s);
        f.controller->setTargetLanguageIdentifier(u"es"_s);
        QCOMPARE(f.controller->translationEngineIdentifier(), u"openAINatural"_s);
        QCOMPARE(f.controller->effectiveTranslationEngine(), TranslationEngine::openAINatural);
    }

    void theSameLanguageNeedsNoSupport() {
        ControllerFixture f;
        f.controller->setTargetLanguageIdentifier(u"kk"_s);
        f.controller->setSourceLocaleIdentifier(u"kk-KZ"_s);
        QVERIFY(f.controller->canUseAppleLocalForSelectedLanguagePair());
        f.controller->setTranslationEngineIdentifier(u"appleLocal"_s);
        QCOMPARE(f.controller->effectiveTranslationEngine(), TranslationEngine::appleLocal);
    }

    void everyAssignmentIsPersistedAtOnce() {
        ControllerFixture f;
        f.controller->setSourceLocaleIdentifier(u"es-ES"_s);
        f.controller->setTargetLanguageIdentifier(u"en"_s);
        f.controller->setTranslationEngineIdentifier(u"openAINatural"_s);
        f.controller->setOpenAIEndpointString(u"  https://my.example \n"_s);
        f.controller->setOpenAIEndpointString(u"  https://my.example \n"_s);
        QCOMPARE(f.takeCalls(),
                 (QStringList{u"defaults.set sourceLocaleIdentifier=es-ES"_s,
                              u"defaults.set targetLanguageIdentifier=en"_s,
                              u"defaults.set translationEngineIdentifier=openAINatural"_s,
                              u"defaults.set openAIEndpointString=  https://my.example \n"_s,
                              u"defaults.set openAIEndpointString=  https://my.example \n"_s}));
    }

    void theTokenGoesToTheKeychainAndNowhereElse() {
        ControllerFixture f;
        f.controller->setOpenAIClientToken(u" s3cret "_s);
        QCOMPARE(f.takeCalls(), (QStringList{u"keychain.update com.local.Quillora openAIClientToken"_s,
                                             u"keychain.add com.local.Quillora openAIClientToken"_s}));
        QCOMPARE(f.platform.keychainFake.items.at({u"com.local.Quillora"_s, u"openAIClientToken"_s}).data,
                 std::optional<QByteArray>(" s3cret "));
        for (const auto &[key, value] : f.platform.defaults.values)
            QVERIFY(!value.contains(u"s3cret"));
    }

    void aBrokenKeychainReadsAsNoTokenAndLosesNothingTyped() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        QCOMPARE(f.controller->openAIClientToken(), QString());
        f.controller->setOpenAIClientToken(u"typed"_s);
        QCOMPARE(f.controller->openAIClientToken(), u"typed"_s);
    }

    void aKeychainThatIsUnlockedLaterIsReadAgain() {
        ControllerFixture f([](FakePlatform &platform) {
            platform.keychainFake.items[{u"com.local.Quillora"_s, u"openAIClientToken"_s}] = {"secret", {}};
            platform.keychainFake.isBroken = true;
        });
        QCOMPARE(f.controller->openAIClientToken(), QString());
        f.platform.keychainFake.isBroken = false;
        f.platform.keychainAvailabilityFake.becomeAvailable();
        QCOMPARE(f.controller->openAIClientToken(), u"secret"_s);
    }

    void aTokenTypedWhileTheKeychainWasLockedIsStoredOnceItIsUnlocked() {
        ControllerFixture f([](FakePlatform &platform) {
            platform.keychainFake.items[{u"com.local.Quillora"_s, u"openAIClientToken"_s}] = {"old", {}};
            platform.keychainFake.isBroken = true;
        });
        f.controller->setOpenAIClientToken(u"typed"_s);
        f.platform.keychainFake.isBroken = false;
        f.platform.keychainAvailabilityFake.becomeAvailable();
        QCOMPARE(f.controller->openAIClientToken(), u"typed"_s);
        QCOMPARE(f.platform.keychainFake.items.at({u"com.local.Quillora"_s, u"openAIClientToken"_s}).data,
                 std::optional<QByteArray>("typed"));
    }

    void aTokenThatWasStoredLaterIsNotStoredAgain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setOpenAIClientToken(u"typed"_s);
        f.platform.keychainFake.isBroken = false;
        f.platform.keychainAvailabilityFake.becomeAvailable();
        assertThatWhatIsStoredElsewhereIsRead(f);
    }

    void aTokenThatWasStoredAtOnceIsNotStoredAgain_data() {
        QTest::addColumn<QString>("token");
        QTest::newRow("a new one") << u"typed"_s;
        QTest::newRow("none any more") << QString();
    }
    void aTokenThatWasStoredAtOnceIsNotStoredAgain() {
        QFETCH(QString, token);
        ControllerFixture f;
        f.controller->setOpenAIClientToken(token);
        assertThatWhatIsStoredElsewhereIsRead(f);
    }

    void aTokenClearedWhileTheKeychainWasLockedIsDeletedOnceItIsUnlocked() {
        ControllerFixture f([](FakePlatform &platform) {
            platform.keychainFake.items[{u"com.local.Quillora"_s, u"openAIClientToken"_s}] = {"old", {}};
        });
        f.platform.keychainFake.isBroken = true;
        f.controller->setOpenAIClientToken({});
        f.platform.keychainFake.isBroken = false;
        f.platform.keychainAvailabilityFake.becomeAvailable();
        QCOMPARE(f.controller->openAIClientToken(), QString());
        QVERIFY(f.platform.keychainFake.items.empty());
    }

    void aTokenThatCouldNotBeDeletedIsDeletedLater() {
        ControllerFixture f([](FakePlatform &platform) {
            platform.keychainFake.items[{u"com.local.Quillora"_s, u"openAIClientToken"_s}] = {"old", {}};
        });
        f.platform.keychainFake.unremovableServices = {u"com.local.Quillora"_s};
        f.controller->setOpenAIClientToken({});
        f.platform.keychainFake.unremovableServices.clear();
        f.platform.keychainAvailabilityFake.becomeAvailable();
        QCOMPARE(f.controller->openAIClientToken(), QString());
        QVERIFY(f.platform.keychainFake.items.empty());
    }

    void aKeychainThatAppearsEmptyTakesNothingAway() {
        ControllerFixture f([](FakePlatform &platform) {
            platform.keychainFake.items[{u"com.local.Quillora"_s, u"openAIClientToken"_s}] = {"secret", {}};
        });
        f.platform.keychainFake.items.clear();
        f.platform.keychainAvailabilityFake.becomeAvailable();
        QCOMPARE(f.controller->openAIClientToken(), u"secret"_s);
    }

    void aTokenTypedIntoThePanelAsksForTheLockedKeychainAfterAPause() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.platform.queue.advance(999ms);
        f.controller->setOpenAIClientToken(u"to"_s);
        f.platform.queue.advance(999ms);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
        f.platform.queue.advance(1ms);
        QVERIFY(f.platform.keychainAvailabilityFake.isAsking());
        f.platform.keychainAvailabilityFake.unlockWhenAsked();
        QCOMPARE(f.platform.keychainFake.items.at({u"com.local.Quillora"_s, u"openAIClientToken"_s}).data,
                 std::optional<QByteArray>("to"));
    }

    void aDismissedKeychainIsAskedForAgainOnlyWhenThePanelIsOpenedAgain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.platform.queue.advance(1s);
        f.platform.keychainAvailabilityFake.dismissQuestion();
        f.controller->setOpenAIClientToken(u"to"_s);
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
        QCOMPARE(f.controller->openAIClientToken(), u"to"_s);

        f.controller->setPanelPresence(PanelPresence::closed);
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"tok"_s);
        f.platform.queue.advance(1s);
        QVERIFY(f.platform.keychainAvailabilityFake.isAsking());
    }

    void thePanelNeedsAttentionOnceTheUserHasAnsweredForTheKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.platform.queue.advance(1s);
        QCOMPARE(f.takeCalls(u"onNeedsAttention"_s), QStringList());
        f.platform.keychainAvailabilityFake.dismissQuestion();
        QCOMPARE(f.takeCalls(u"onNeedsAttention"_s), QStringList{u"onNeedsAttention"_s});
    }

    void aPanelThatWasLeftForTheKeychainsDialogStaysClosed() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.platform.queue.advance(1s);
        f.controller->setPanelPresence(PanelPresence::closed);
        f.platform.keychainAvailabilityFake.dismissQuestion();
        QCOMPARE(f.takeCalls(u"onNeedsAttention"_s), QStringList());
    }

    void aPanelThatClosesInThePauseAsksForNoKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.controller->setPanelPresence(PanelPresence::closed);
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void withoutThePanelNoKeychainIsAskedFor() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setOpenAIClientToken(u"t"_s);
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void whoeverLeavesThePanelInThePauseIsAskedForTheKeychainWhenHeComesBack() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.controller->setPanelPresence(PanelPresence::inBackground);
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
        f.controller->setPanelPresence(PanelPresence::active);
        f.platform.queue.advance(999ms);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
        f.platform.queue.advance(1ms);
        QVERIFY(f.platform.keychainAvailabilityFake.isAsking());
    }

    void aPanelThatIsLeftAndComeBackToIsStillTheSameOpening() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.platform.queue.advance(1s);
        f.controller->setPanelPresence(PanelPresence::inBackground);
        f.platform.keychainAvailabilityFake.dismissQuestion();
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"to"_s);
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void aKeychainThatIsUnlockedInThePauseIsNotAskedFor() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.platform.keychainFake.isBroken = false;
        f.platform.keychainAvailabilityFake.becomeAvailable();
        f.platform.keychainFake.isBroken = true;
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void aDictationInThePauseIsNotInterruptedForTheKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.controller->hotKeyPressed();
        f.platform.run();
        QVERIFY(f.controller->isRecording());
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void aStartThatWaitsForPermissionIsNotInterruptedForTheKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.platform.permissions.replies = test::FakeSpeechPermissions::Replies::byHand;
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.controller->toggleRecording();
        f.platform.queue.advance(1s);
        QVERIFY(!f.controller->isRecording());
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void aStartThatFailedIsFollowedByTheQuestionForTheKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.platform.permissions.isSpeechRecognitionGranted = false;
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.controller->toggleRecording();
        f.platform.queue.advance(1s);
        QCOMPARE(f.controller->statusText(), u"Speech failed: Speech recognition permission was denied."_s);
        QVERIFY(f.platform.keychainAvailabilityFake.isAsking());
    }

    void theKeychainIsAskedForAfterTheDictationThatPutThatOff() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.controller->hotKeyPressed();
        f.platform.queue.advance(1s);
        f.controller->hotKeyReleased();
        f.platform.queue.advance(1s);
        QVERIFY(f.controller->isProcessing());
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
        f.platform.speech.deliverFinal(u"hello"_s);
        f.run();
        QVERIFY(!f.controller->isProcessing());
        f.platform.queue.advance(999ms); // its keystrokes are posted now
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
        f.platform.queue.advance(1ms);
        QVERIFY(f.platform.keychainAvailabilityFake.isAsking());
    }

    void noDictationHasTheKeychainAskedForTwiceInOneOpeningOfThePanel() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.dictate(u"hello"_s);
        f.platform.queue.advance(1s);
        f.platform.keychainAvailabilityFake.dismissQuestion();
        f.dictate(u"hello"_s);
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void thePreparationOfModelsIsNotInterruptedForTheKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.platform.translation.replies = test::FakeTranslators::Replies::byHand;
        f.controller->setTargetLanguageIdentifier(u"es"_s);
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.controller->prepareTranslationModels();
        f.platform.queue.advance(1s);
        QVERIFY(f.controller->isProcessing());
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void theKeysOfAPasteAreNotTakenByTheQuestionForTheKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setTargetLanguageIdentifier(u"en"_s);
        f.dictate(u"hello"_s);
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_s);
        f.platform.queue.advance(999ms);
        f.controller->pasteLastTranslation();
        f.platform.queue.advance(999ms);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
        f.platform.queue.advance(1ms);
        QVERIFY(f.platform.keychainAvailabilityFake.isAsking());
    }

    void theKeychainIsNotWatchedLongerThanTheControllerLives() {
        ControllerFixture f;
        QVERIFY(f.platform.keychainAvailabilityFake.isObserved());
        f.endController();
        QVERIFY(!f.platform.keychainAvailabilityFake.isObserved());
    }

    void observersSeeEveryAssignment_data() {
        QTest::addColumn<QString>("value");
        QTest::newRow("sourceLocaleIdentifier") << u"es-ES"_s;
        QTest::newRow("targetLanguageIdentifier") << u"es"_s;
        QTest::newRow("translationEngineIdentifier") << u"openAINatural"_s;
        QTest::newRow("openAIEndpointString") << u"https://my.example/t"_s;
        QTest::newRow("openAIClientToken") << u"secret"_s;
        QTest::newRow("statusText") << u"hello"_s;
    }
    void observersSeeEveryAssignment() {
        QFETCH(QString, value);
        const ControllerFixture f;
        auto &controller = *f.controller;
        const auto &type = AppController::staticMetaObject;
        QStringList seen;
        test::onAnyChange(controller, [&](size_t place) {
            const auto property = type.property(type.propertyOffset() + static_cast<int>(place));
            seen += QString::fromLatin1(property.name()) + u'=' + property.read(&controller).toString();
        });
        QVERIFY(controller.setProperty(QTest::currentDataTag(), value));
        QVERIFY(controller.setProperty(QTest::currentDataTag(), value)); // the same again
        const QString change = QString::fromLatin1(QTest::currentDataTag()) + u'=' + value;
        QCOMPARE(seen, (QStringList{change, change}));
    }

    void anInterimWordChangesTheTranscriptAndTheStatusOnly() {
        ControllerFixture f;
        f.controller->startRecording();
        f.run();
        QList<size_t> changes;
        test::onAnyChange(*f.controller, [&](size_t place) { changes += place; });
        f.platform.speech.deliver(u"good"_s);
        f.run();
        const auto &type = AppController::staticMetaObject;
        const auto placeOf = [&](const char *name) {
            return static_cast<size_t>(type.indexOfProperty(name) - type.propertyOffset());
        };
        QCOMPARE(changes, (QList{placeOf("transcriptText"), placeOf("statusText")}));
    }

    void settingAValueCallsTheShellForNothing() {
        ControllerFixture f;
        f.controller->setSourceLocaleIdentifier(u"es-ES"_s);
        f.controller->setStatusText(u"hello"_s);
        QVERIFY(f.takeCalls(u"on"_s).isEmpty());
    }

    void anIdentifierThatIsNoOptionSelectsTheDefault() {
        ControllerFixture f;
        f.controller->setSourceLocaleIdentifier(u"xx"_s);
        f.controller->setTargetLanguageIdentifier(u"xx"_s);
        QCOMPARE(f.controller->selectedSource().id, u"en-US"_s);
        QCOMPARE(f.controller->selectedTarget().id, u"ru"_s);
    }

    void swappingExchangesThePair() {
        ControllerFixture f;
        QVERIFY(f.controller->canSwapLanguages());
        f.controller->swapLanguages();
        QCOMPARE(f.controller->sourceLocaleIdentifier(), u"ru-RU"_s);
        QCOMPARE(f.controller->targetLanguageIdentifier(), u"en"_s);
        QCOMPARE(f.controller->statusText(), u"Language pair updated."_s);
        QCOMPARE(f.takeCalls(), (QStringList{u"defaults.set sourceLocaleIdentifier=ru-RU"_s,
                                             u"defaults.set targetLanguageIdentifier=en"_s}));
    }

    void ofSeveralLocalesOfALanguageSwappingPrefersTheUsualRegion() {
        // Names sort the locales, so that the ones of the usual regions come last.
        ControllerFixture f([](FakePlatform &platform) {
            platform.speech.locales = {u"en-GB"_s, u"es-AR"_s, u"es-MX"_s, u"es-US"_s, u"ru-RU"_s};
        });
        f.controller->setSourceLocaleIdentifier(u"ru-RU"_s);
        f.controller->setTargetLanguageIdentifier(u"es"_s);
        f.controller->swapLanguages();
        QCOMPARE(f.controller->sourceLocaleIdentifier(), u"es-US"_s);
        QCOMPARE(f.controller->targetLanguageIdentifier(), u"ru"_s);
    }

    void withoutAUsualRegionSwappingTakesTheFirstLocaleOffered() {
        ControllerFixture f(
            [](FakePlatform &platform) { platform.speech.locales = {u"ru-RU"_s, u"en-GB"_s, u"en-AU"_s}; });
        f.controller->setSourceLocaleIdentifier(u"ru-RU"_s);
        f.controller->setTargetLanguageIdentifier(u"en"_s);
        f.controller->swapLanguages();
        QCOMPARE(f.controller->sourceLocaleIdentifier(), u"en-AU"_s);
    }

    void swappingThereAndBackNeedNotBringBackTheLocale() {
        ControllerFixture f(
            [](FakePlatform &platform) { platform.speech.locales = {u"en-US"_s, u"en-GB"_s, u"ru-RU"_s}; });
        f.controller->setSourceLocaleIdentifier(u"en-GB"_s);
        f.controller->swapLanguages();
        f.controller->swapLanguages();
        QCOMPARE(f.controller->sourceLocaleIdentifier(), u"en-US"_s);
    }

    void swappingWithATargetThatNobodySpeaksChangesNothing() {
        ControllerFixture f;
        f.controller->setTargetLanguageIdentifier(u"nl"_s);
        f.controller->setStatusText(u"before"_s);
        f.takeCalls();
        QVERIFY(!f.controller->canSwapLanguages());
        f.controller->swapLanguages();
        QCOMPARE(f.takeCalls(), QStringList());
        QCOMPARE(f.controller->sourceLocaleIdentifier(), u"en-US"_s);
        QCOMPARE(f.controller->targetLanguageIdentifier(), u"nl"_s);
        QCOMPARE(f.controller->statusText(), u"before"_s);
    }

    void swappingOverwritesTheEngineRulesText() {
        ControllerFixture f;
        f.controller->setTargetLanguageIdentifier(u"kk"_s);
        QCOMPARE(f.controller->statusText(), u"Kazakh uses OpenAI Natural."_s);
        f.controller->swapLanguages();
        QCOMPARE(f.controller->statusText(), u"Language pair updated."_s);
        QCOMPARE(f.controller->translationEngineIdentifier(), u"openAINatural"_s);
    }

    void swappingSaysSoOnceBothLanguagesAreChanged() {
        ControllerFixture f;
        QStringList turns;
        test::onAnyChange(*f.controller, [&](size_t) {
            turns += f.controller->sourceLocaleIdentifier() + u' ' +
                     f.controller->targetLanguageIdentifier() + u' ' + f.controller->statusText();
        });
        f.controller->swapLanguages();
        QCOMPARE(turns, (QStringList{u"ru-RU ru Ready."_s, u"ru-RU en Ready."_s,
                                     u"ru-RU en Language pair updated."_s}));
    }

    void theFirstFrontmostApplicationIsRemembered() {
        ControllerFixture f;
        f.platform.workspaceFake.frontmost = f.platform.workspaceFake.launch(u"Quillora"_s);
        f.dictate(u"hello"_s);
        QVERIFY(f.takeCalls().contains(u"activate editor"_s));
    }

    void destructionRemovesTheActivationObserver() {
        ControllerFixture f;
        QCOMPARE(f.platform.workspaceFake.observerCount(), 1);
        f.endController();
        QCOMPARE(f.platform.workspaceFake.observerCount(), 0);
    }

private:
    /// Another program changes the token, and the keychain is noticed once more.
    static void assertThatWhatIsStoredElsewhereIsRead(ControllerFixture &f) {
        f.platform.keychainFake.items[{u"com.local.Quillora"_s, u"openAIClientToken"_s}] = {"elsewhere", {}};
        f.takeCalls();
        f.platform.keychainAvailabilityFake.becomeAvailable();
        QCOMPARE(f.takeCalls(), QStringList{u"keychain.copyMatching com.local.Quillora openAIClientToken"_s});
        QCOMPARE(f.controller->openAIClientToken(), u"elsewhere"_s);
    }
};

QTEST_GUILESS_MAIN(AppControllerSettingsTest)
#include "AppControllerSettingsTest.moc"
