#include "controller/AnyChange.h"
#include "controller/ControllerFixture.h"

#include <QTest>

using namespace quillora;
using namespace std::chrono_literals;
using test::ControllerFixture;
using test::FakePlatform;

namespace {

const QString defaultEndpoint = u"https://translate.quillora.example/v1/translate"_qs;

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
                 (QStringList{u"keychain.copyMatching com.local.Quillora openAIClientToken"_qs,
                              u"keychain.copyMatching com.local.Cobaltwhisk openAIClientToken"_qs,
                              u"defaults.set openAIEndpointString="_qs + defaultEndpoint}));
        QCOMPARE(controller.sourceLocaleIdentifier(), u"en-US"_qs);
        QCOMPARE(controller.targetLanguageIdentifier(), u"ru"_qs);
        QCOMPARE(controller.translationEngineIdentifier(), u"appleLocal"_qs);
        QCOMPARE(controller.openAIEndpointString(), defaultEndpoint);
        QCOMPARE(controller.openAIClientToken(), QString());
        QCOMPARE(controller.hotKey(), AppHotKey::defaultValue);
        QCOMPARE(controller.statusText(), u"Ready."_qs);
        QCOMPARE(controller.transcriptText(), QString());
        QCOMPARE(controller.translatedText(), QString());
        QVERIFY(!controller.isRecording());
        QVERIFY(!controller.isProcessing());
        QVERIFY(!controller.isRecordingHotKey());
    }

    void theSpokenLanguageIsMadeReadyAtTheStartAndAtEachChange() {
        const ControllerFixture f([](FakePlatform &platform) {
            platform.speech.locales = {u"en-US"_qs, u"es-ES"_qs};
            platform.defaults.values = {{u"sourceLocaleIdentifier"_qs, u"es-ES"_qs}};
        });
        f.controller->setSourceLocaleIdentifier(u"en-US"_qs);
        QCOMPARE(f.platform.speech.prepared, (QStringList{u"es-ES"_qs, u"en-US"_qs}));
    }

    void storedSettingsAreTakenUp() {
        const ControllerFixture f([](FakePlatform &platform) {
            platform.defaults.values = {{u"sourceLocaleIdentifier"_qs, u"es-ES"_qs},
                                        {u"targetLanguageIdentifier"_qs, u"en"_qs},
                                        {u"translationEngineIdentifier"_qs, u"openAINatural"_qs},
                                        {u"openAIEndpointString"_qs, u"https://my.example/t"_qs},
                                        {u"hotKey"_qs, u"40:256"_qs}};
            platform.keychainFake.items[{u"com.local.Quillora"_qs, u"openAIClientToken"_qs}] = {"secret", {}};
        });
        QCOMPARE(f.controller->selectedSource().id, u"es-ES"_qs);
        QCOMPARE(f.controller->selectedTarget().id, u"en"_qs);
        QCOMPARE(f.controller->selectedTranslationEngine(), TranslationEngine::openAINatural);
        QCOMPARE(f.controller->openAIEndpointString(), u"https://my.example/t"_qs);
        QCOMPARE(f.controller->openAIClientToken(), u"secret"_qs);
        QCOMPARE(f.controller->hotKeyDisplayName(), u"Cmd K"_qs);
    }

    void anUnknownStoredLanguageYieldsTheDefaultAndIsNotWrittenBack() {
        const ControllerFixture f(stored(
            {{u"sourceLocaleIdentifier"_qs, u"xx-XX"_qs}, {u"targetLanguageIdentifier"_qs, u"tlh"_qs}}));
        QCOMPARE(f.controller->sourceLocaleIdentifier(), u"en-US"_qs);
        QCOMPARE(f.controller->targetLanguageIdentifier(), u"ru"_qs);
        QCOMPARE(f.platform.defaults.values.at(u"sourceLocaleIdentifier"_qs), u"xx-XX"_qs);
        QCOMPARE(f.platform.defaults.values.at(u"targetLanguageIdentifier"_qs), u"tlh"_qs);
    }

    void endpointIsMigratedAtEveryStart_data() {
        QTest::addColumn<QString>("storedEndpoint");
        QTest::addColumn<QString>("migrated");
        QTest::newRow("empty") << u""_qs << defaultEndpoint;
        QTest::newRow("only blanks") << u" \t\n "_qs << defaultEndpoint;
        QTest::newRow("the old local default") << u"http://127.0.0.1:8787/v1/translate"_qs << defaultEndpoint;
        QTest::newRow("the old local default amid blanks")
            << u"  http://127.0.0.1:8787/v1/translate\n"_qs << defaultEndpoint;
        QTest::newRow("the old local default with a slash more")
            << u"http://127.0.0.1:8787/v1/translate/"_qs << u"http://127.0.0.1:8787/v1/translate/"_qs;
        QTest::newRow("the old local default over https")
            << u"https://127.0.0.1:8787/v1/translate"_qs << u"https://127.0.0.1:8787/v1/translate"_qs;
        QTest::newRow("a custom one amid blanks")
            << u" https://my.example/t "_qs << u"https://my.example/t"_qs;
        QTest::newRow("nonsense") << u"not a url"_qs << u"not a url"_qs;
    }
    void endpointIsMigratedAtEveryStart() {
        QFETCH(QString, storedEndpoint);
        QFETCH(QString, migrated);
        const ControllerFixture f(stored({{u"openAIEndpointString"_qs, storedEndpoint}}));
        QCOMPARE(f.controller->openAIEndpointString(), migrated);
        QCOMPARE(f.platform.defaults.values.at(u"openAIEndpointString"_qs), migrated);
    }

    void anUnreadableHotKeyFallsBackToTheDefault() {
        const ControllerFixture f(stored({{u"hotKey"_qs, u"49"_qs}}));
        QCOMPARE(f.controller->hotKey(), AppHotKey::defaultValue);
        QCOMPARE(f.platform.defaults.values.at(u"hotKey"_qs), u"49"_qs);
    }

    void anUnknownEngineBehavesAsOnDeviceButStaysStored() {
        ControllerFixture f(stored({{u"translationEngineIdentifier"_qs, u"wizardry"_qs}}));
        QCOMPARE(f.controller->translationEngineIdentifier(), u"wizardry"_qs);
        QCOMPARE(f.controller->selectedTranslationEngine(), TranslationEngine::appleLocal);
        QCOMPARE(f.platform.defaults.values.at(u"translationEngineIdentifier"_qs), u"wizardry"_qs);
        f.controller->setTargetLanguageIdentifier(u"kk"_qs);
        QCOMPARE(f.controller->translationEngineIdentifier(), u"openAINatural"_qs);
    }

    void aStoredPairThatNeedsTheHostedEngineSwitchesAtStartUp() {
        const ControllerFixture f(stored({{u"targetLanguageIdentifier"_qs, u"uz"_qs}}));
        QCOMPARE(f.controller->translationEngineIdentifier(), u"openAINatural"_qs);
        QCOMPARE(f.platform.defaults.values.at(u"translationEngineIdentifier"_qs), u"openAINatural"_qs);
        QCOMPARE(f.controller->statusText(), u"Uzbek uses OpenAI Natural."_qs);
    }

    void choosingOnDeviceForAnUnsupportedPairFlipsBackAndSaysSo() {
        ControllerFixture f(stored({{u"targetLanguageIdentifier"_qs, u"ky"_qs}}));
        f.takeCalls();
        f.controller->setTranslationEngineIdentifier(u"appleLocal"_qs);
        QCOMPARE(f.takeCalls(), (QStringList{u"defaults.set translationEngineIdentifier=appleLocal"_qs,
                                             u"defaults.set translationEngineIdentifier=openAINatural"_qs}));
        QCOMPARE(f.controller->statusText(), u"Kyrgyz uses OpenAI Natural."_qs);
    }

    void anUnsupportedSpokenLanguageNamesTheTarget() {
        ControllerFixture f;
        f.controller->setSourceLocaleIdentifier(u"kk-KZ"_qs);
        QCOMPARE(f.controller->translationEngineIdentifier(), u"openAINatural"_qs);
        QCOMPARE(f.controller->statusText(), u"Russian uses OpenAI Natural."_qs);
    }

    void theSwitchToTheHostedEngineIsOneWay() {
        ControllerFixture f;
        f.controller->setTargetLanguageIdentifier(u"kk"_qs);
        f.controller->setTargetLanguageIdentifier(u"es"_qs);
        QCOMPARE(f.controller->translationEngineIdentifier(), u"openAINatural"_qs);
        QCOMPARE(f.controller->effectiveTranslationEngine(), TranslationEngine::openAINatural);
    }

    void theSameLanguageNeedsNoSupport() {
        ControllerFixture f;
        f.controller->setTargetLanguageIdentifier(u"kk"_qs);
        f.controller->setSourceLocaleIdentifier(u"kk-KZ"_qs);
        QVERIFY(f.controller->canUseAppleLocalForSelectedLanguagePair());
        f.controller->setTranslationEngineIdentifier(u"appleLocal"_qs);
        QCOMPARE(f.controller->effectiveTranslationEngine(), TranslationEngine::appleLocal);
    }

    void everyAssignmentIsPersistedAtOnce() {
        ControllerFixture f;
        f.controller->setSourceLocaleIdentifier(u"es-ES"_qs);
        f.controller->setTargetLanguageIdentifier(u"en"_qs);
        f.controller->setTranslationEngineIdentifier(u"openAINatural"_qs);
        f.controller->setOpenAIEndpointString(u"  https://my.example \n"_qs);
        f.controller->setOpenAIEndpointString(u"  https://my.example \n"_qs);
        QCOMPARE(f.takeCalls(),
                 (QStringList{u"defaults.set sourceLocaleIdentifier=es-ES"_qs,
                              u"defaults.set targetLanguageIdentifier=en"_qs,
                              u"defaults.set translationEngineIdentifier=openAINatural"_qs,
                              u"defaults.set openAIEndpointString=  https://my.example \n"_qs,
                              u"defaults.set openAIEndpointString=  https://my.example \n"_qs}));
    }

    void theTokenGoesToTheKeychainAndNowhereElse() {
        ControllerFixture f;
        f.controller->setOpenAIClientToken(u" s3cret "_qs);
        QCOMPARE(f.takeCalls(), (QStringList{u"keychain.update com.local.Quillora openAIClientToken"_qs,
                                             u"keychain.add com.local.Quillora openAIClientToken"_qs}));
        QCOMPARE(f.platform.keychainFake.items.at({u"com.local.Quillora"_qs, u"openAIClientToken"_qs}).data,
                 std::optional<QByteArray>(" s3cret "));
        for (const auto &[key, value] : f.platform.defaults.values)
            QVERIFY(!value.contains(u"s3cret"));
    }

    void aBrokenKeychainReadsAsNoTokenAndLosesNothingTyped() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        QCOMPARE(f.controller->openAIClientToken(), QString());
        f.controller->setOpenAIClientToken(u"typed"_qs);
        QCOMPARE(f.controller->openAIClientToken(), u"typed"_qs);
    }

    void aKeychainThatIsUnlockedLaterIsReadAgain() {
        ControllerFixture f([](FakePlatform &platform) {
            platform.keychainFake.items[{u"com.local.Quillora"_qs, u"openAIClientToken"_qs}] = {"secret", {}};
            platform.keychainFake.isBroken = true;
        });
        QCOMPARE(f.controller->openAIClientToken(), QString());
        f.platform.keychainFake.isBroken = false;
        f.platform.keychainAvailabilityFake.becomeAvailable();
        QCOMPARE(f.controller->openAIClientToken(), u"secret"_qs);
    }

    void aTokenTypedWhileTheKeychainWasLockedIsStoredOnceItIsUnlocked() {
        ControllerFixture f([](FakePlatform &platform) {
            platform.keychainFake.items[{u"com.local.Quillora"_qs, u"openAIClientToken"_qs}] = {"old", {}};
            platform.keychainFake.isBroken = true;
        });
        f.controller->setOpenAIClientToken(u"typed"_qs);
        f.platform.keychainFake.isBroken = false;
        f.platform.keychainAvailabilityFake.becomeAvailable();
        QCOMPARE(f.controller->openAIClientToken(), u"typed"_qs);
        QCOMPARE(f.platform.keychainFake.items.at({u"com.local.Quillora"_qs, u"openAIClientToken"_qs}).data,
                 std::optional<QByteArray>("typed"));
    }

    void aTokenThatWasStoredLaterIsNotStoredAgain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setOpenAIClientToken(u"typed"_qs);
        f.platform.keychainFake.isBroken = false;
        f.platform.keychainAvailabilityFake.becomeAvailable();
        assertThatWhatIsStoredElsewhereIsRead(f);
    }

    void aTokenThatWasStoredAtOnceIsNotStoredAgain_data() {
        QTest::addColumn<QString>("token");
        QTest::newRow("a new one") << u"typed"_qs;
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
            platform.keychainFake.items[{u"com.local.Quillora"_qs, u"openAIClientToken"_qs}] = {"old", {}};
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
            platform.keychainFake.items[{u"com.local.Quillora"_qs, u"openAIClientToken"_qs}] = {"old", {}};
        });
        f.platform.keychainFake.unremovableServices = {u"com.local.Quillora"_qs};
        f.controller->setOpenAIClientToken({});
        f.platform.keychainFake.unremovableServices.clear();
        f.platform.keychainAvailabilityFake.becomeAvailable();
        QCOMPARE(f.controller->openAIClientToken(), QString());
        QVERIFY(f.platform.keychainFake.items.empty());
    }

    void aKeychainThatAppearsEmptyTakesNothingAway() {
        ControllerFixture f([](FakePlatform &platform) {
            platform.keychainFake.items[{u"com.local.Quillora"_qs, u"openAIClientToken"_qs}] = {"secret", {}};
        });
        f.platform.keychainFake.items.clear();
        f.platform.keychainAvailabilityFake.becomeAvailable();
        QCOMPARE(f.controller->openAIClientToken(), u"secret"_qs);
    }

    void aTokenTypedIntoThePanelAsksForTheLockedKeychainAfterAPause() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.platform.queue.advance(999ms);
        f.controller->setOpenAIClientToken(u"to"_qs);
        f.platform.queue.advance(999ms);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
        f.platform.queue.advance(1ms);
        QVERIFY(f.platform.keychainAvailabilityFake.isAsking());
        f.platform.keychainAvailabilityFake.unlockWhenAsked();
        QCOMPARE(f.platform.keychainFake.items.at({u"com.local.Quillora"_qs, u"openAIClientToken"_qs}).data,
                 std::optional<QByteArray>("to"));
    }

    void aDismissedKeychainIsAskedForAgainOnlyWhenThePanelIsOpenedAgain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.platform.queue.advance(1s);
        f.platform.keychainAvailabilityFake.dismissQuestion();
        f.controller->setOpenAIClientToken(u"to"_qs);
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
        QCOMPARE(f.controller->openAIClientToken(), u"to"_qs);

        f.controller->setPanelPresence(PanelPresence::closed);
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"tok"_qs);
        f.platform.queue.advance(1s);
        QVERIFY(f.platform.keychainAvailabilityFake.isAsking());
    }

    void thePanelNeedsAttentionOnceTheUserHasAnsweredForTheKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.platform.queue.advance(1s);
        QCOMPARE(f.takeCalls(u"onNeedsAttention"_qs), QStringList());
        f.platform.keychainAvailabilityFake.dismissQuestion();
        QCOMPARE(f.takeCalls(u"onNeedsAttention"_qs), QStringList{u"onNeedsAttention"_qs});
    }

    void aPanelThatWasLeftForTheKeychainsDialogStaysClosed() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.platform.queue.advance(1s);
        f.controller->setPanelPresence(PanelPresence::closed);
        f.platform.keychainAvailabilityFake.dismissQuestion();
        QCOMPARE(f.takeCalls(u"onNeedsAttention"_qs), QStringList());
    }

    void aPanelThatClosesInThePauseAsksForNoKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.controller->setPanelPresence(PanelPresence::closed);
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void withoutThePanelNoKeychainIsAskedFor() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void whoeverLeavesThePanelInThePauseIsAskedForTheKeychainWhenHeComesBack() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_qs);
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
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.platform.queue.advance(1s);
        f.controller->setPanelPresence(PanelPresence::inBackground);
        f.platform.keychainAvailabilityFake.dismissQuestion();
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"to"_qs);
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void aKeychainThatIsUnlockedInThePauseIsNotAskedFor() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.platform.keychainFake.isBroken = false;
        f.platform.keychainAvailabilityFake.becomeAvailable();
        f.platform.keychainFake.isBroken = true;
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void aDictationInThePauseIsNotInterruptedForTheKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_qs);
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
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.controller->toggleRecording();
        f.platform.queue.advance(1s);
        QVERIFY(!f.controller->isRecording());
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void aStartThatFailedIsFollowedByTheQuestionForTheKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.platform.permissions.isSpeechRecognitionGranted = false;
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.controller->toggleRecording();
        f.platform.queue.advance(1s);
        QCOMPARE(f.controller->statusText(), u"Speech failed: Speech recognition permission was denied."_qs);
        QVERIFY(f.platform.keychainAvailabilityFake.isAsking());
    }

    void theKeychainIsAskedForAfterTheDictationThatPutThatOff() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.controller->hotKeyPressed();
        f.platform.queue.advance(1s);
        f.controller->hotKeyReleased();
        f.platform.queue.advance(1s);
        QVERIFY(f.controller->isProcessing());
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
        f.platform.speech.deliverFinal(u"hello"_qs);
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
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.dictate(u"hello"_qs);
        f.platform.queue.advance(1s);
        f.platform.keychainAvailabilityFake.dismissQuestion();
        f.dictate(u"hello"_qs);
        f.platform.queue.advance(1s);
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void thePreparationOfModelsIsNotInterruptedForTheKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.platform.translation.replies = test::FakeTranslators::Replies::byHand;
        f.controller->setTargetLanguageIdentifier(u"es"_qs);
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_qs);
        f.controller->prepareTranslationModels();
        f.platform.queue.advance(1s);
        QVERIFY(f.controller->isProcessing());
        QVERIFY(!f.platform.keychainAvailabilityFake.isAsking());
    }

    void theKeysOfAPasteAreNotTakenByTheQuestionForTheKeychain() {
        ControllerFixture f([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        f.controller->setTargetLanguageIdentifier(u"en"_qs);
        f.dictate(u"hello"_qs);
        f.controller->setPanelPresence(PanelPresence::active);
        f.controller->setOpenAIClientToken(u"t"_qs);
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
        QTest::newRow("sourceLocaleIdentifier") << u"es-ES"_qs;
        QTest::newRow("targetLanguageIdentifier") << u"es"_qs;
        QTest::newRow("translationEngineIdentifier") << u"openAINatural"_qs;
        QTest::newRow("openAIEndpointString") << u"https://my.example/t"_qs;
        QTest::newRow("openAIClientToken") << u"secret"_qs;
        QTest::newRow("statusText") << u"hello"_qs;
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
        f.platform.speech.deliver(u"good"_qs);
        f.run();
        const auto &type = AppController::staticMetaObject;
        const auto placeOf = [&](const char *name) {
            return static_cast<size_t>(type.indexOfProperty(name) - type.propertyOffset());
        };
        QCOMPARE(changes, (QList{placeOf("transcriptText"), placeOf("statusText")}));
    }

    void settingAValueCallsTheShellForNothing() {
        ControllerFixture f;
        f.controller->setSourceLocaleIdentifier(u"es-ES"_qs);
        f.controller->setStatusText(u"hello"_qs);
        QVERIFY(f.takeCalls(u"on"_qs).isEmpty());
    }

    void anIdentifierThatIsNoOptionSelectsTheDefault() {
        ControllerFixture f;
        f.controller->setSourceLocaleIdentifier(u"xx"_qs);
        f.controller->setTargetLanguageIdentifier(u"xx"_qs);
        QCOMPARE(f.controller->selectedSource().id, u"en-US"_qs);
        QCOMPARE(f.controller->selectedTarget().id, u"ru"_qs);
    }

    void swappingExchangesThePair() {
        ControllerFixture f;
        QVERIFY(f.controller->canSwapLanguages());
        f.controller->swapLanguages();
        QCOMPARE(f.controller->sourceLocaleIdentifier(), u"ru-RU"_qs);
        QCOMPARE(f.controller->targetLanguageIdentifier(), u"en"_qs);
        QCOMPARE(f.controller->statusText(), u"Language pair updated."_qs);
        QCOMPARE(f.takeCalls(), (QStringList{u"defaults.set sourceLocaleIdentifier=ru-RU"_qs,
                                             u"defaults.set targetLanguageIdentifier=en"_qs}));
    }

    void ofSeveralLocalesOfALanguageSwappingPrefersTheUsualRegion() {
        // Names sort the locales, so that the ones of the usual regions come last.
        ControllerFixture f([](FakePlatform &platform) {
            platform.speech.locales = {u"en-GB"_qs, u"es-AR"_qs, u"es-MX"_qs, u"es-US"_qs, u"ru-RU"_qs};
        });
        f.controller->setSourceLocaleIdentifier(u"ru-RU"_qs);
        f.controller->setTargetLanguageIdentifier(u"es"_qs);
        f.controller->swapLanguages();
        QCOMPARE(f.controller->sourceLocaleIdentifier(), u"es-US"_qs);
        QCOMPARE(f.controller->targetLanguageIdentifier(), u"ru"_qs);
    }

    void withoutAUsualRegionSwappingTakesTheFirstLocaleOffered() {
        ControllerFixture f([](FakePlatform &platform) {
            platform.speech.locales = {u"ru-RU"_qs, u"en-GB"_qs, u"en-AU"_qs};
        });
        f.controller->setSourceLocaleIdentifier(u"ru-RU"_qs);
        f.controller->setTargetLanguageIdentifier(u"en"_qs);
        f.controller->swapLanguages();
        QCOMPARE(f.controller->sourceLocaleIdentifier(), u"en-AU"_qs);
    }

    void swappingThereAndBackNeedNotBringBackTheLocale() {
        ControllerFixture f([](FakePlatform &platform) {
            platform.speech.locales = {u"en-US"_qs, u"en-GB"_qs, u"ru-RU"_qs};
        });
        f.controller->setSourceLocaleIdentifier(u"en-GB"_qs);
        f.controller->swapLanguages();
        f.controller->swapLanguages();
        QCOMPARE(f.controller->sourceLocaleIdentifier(), u"en-US"_qs);
    }

    void swappingWithATargetThatNobodySpeaksChangesNothing() {
        ControllerFixture f;
        f.controller->setTargetLanguageIdentifier(u"nl"_qs);
        f.controller->setStatusText(u"before"_qs);
        f.takeCalls();
        QVERIFY(!f.controller->canSwapLanguages());
        f.controller->swapLanguages();
        QCOMPARE(f.takeCalls(), QStringList());
        QCOMPARE(f.controller->sourceLocaleIdentifier(), u"en-US"_qs);
        QCOMPARE(f.controller->targetLanguageIdentifier(), u"nl"_qs);
        QCOMPARE(f.controller->statusText(), u"before"_qs);
    }

    void swappingOverwritesTheEngineRulesText() {
        ControllerFixture f;
        f.controller->setTargetLanguageIdentifier(u"kk"_qs);
        QCOMPARE(f.controller->statusText(), u"Kazakh uses OpenAI Natural."_qs);
        f.controller->swapLanguages();
        QCOMPARE(f.controller->statusText(), u"Language pair updated."_qs);
        QCOMPARE(f.controller->translationEngineIdentifier(), u"openAINatural"_qs);
    }

    void swappingSaysSoOnceBothLanguagesAreChanged() {
        ControllerFixture f;
        QStringList turns;
        test::onAnyChange(*f.controller, [&](size_t) {
            turns += f.controller->sourceLocaleIdentifier() + u' ' +
                     f.controller->targetLanguageIdentifier() + u' ' + f.controller->statusText();
        });
        f.controller->swapLanguages();
        QCOMPARE(turns, (QStringList{u"ru-RU ru Ready."_qs, u"ru-RU en Ready."_qs,
                                     u"ru-RU en Language pair updated."_qs}));
    }

    void theFirstFrontmostApplicationIsRemembered() {
        ControllerFixture f;
        f.platform.workspaceFake.frontmost = f.platform.workspaceFake.launch(u"Quillora"_qs);
        f.dictate(u"hello"_qs);
        QVERIFY(f.takeCalls().contains(u"activate editor"_qs));
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
        f.platform.keychainFake.items[{u"com.local.Quillora"_qs, u"openAIClientToken"_qs}] = {"elsewhere",
                                                                                              {}};
        f.takeCalls();
        f.platform.keychainAvailabilityFake.becomeAvailable();
        QCOMPARE(f.takeCalls(),
                 QStringList{u"keychain.copyMatching com.local.Quillora openAIClientToken"_qs});
        QCOMPARE(f.controller->openAIClientToken(), u"elsewhere"_qs);
    }
};

QTEST_GUILESS_MAIN(AppControllerSettingsTest)
#include "AppControllerSettingsTest.moc"
