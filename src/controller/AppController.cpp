#include "controller/AppController.h"

#include "controller/HostedEndpoint.h"
#include "insertion/KeychainStore.h"
#include "platform/KeychainAvailability.h"
#include "platform/Keystrokes.h"
#include "platform/MainQueue.h"
#include "platform/Platform.h"
#include "platform/UserDefaults.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::Platform;

namespace {

const QString sourceKey = u"sourceLocaleIdentifier"_s;
const QString targetKey = u"targetLanguageIdentifier"_s;
const QString engineKey = u"translationEngineIdentifier"_s;
const QString endpointKey = u"openAIEndpointString"_s;
const QString tokenKey = u"openAIClientToken"_s;

} // namespace

AppController::AppController(QObject *parent)
    : QObject(parent), m_statusText(u"Ready."_s), m_spokenLanguageOptions(LanguageCatalog::spokenOptions()),
      m_targetLanguageOptions(LanguageCatalog::targets()) {
    auto &defaults = Platform::current().userDefaults();
    const auto storedSource = defaults.string(sourceKey);
    const auto storedTarget = defaults.string(targetKey);
    const QString endpoint = migratedEndpoint(defaults.string(endpointKey).value_or(QString()));

    const auto source = LanguageCatalog::spokenOption(storedSource, m_spokenLanguageOptions);
    m_sourceLocaleIdentifier =
        source ? source->id : LanguageCatalog::defaultSpoken(m_spokenLanguageOptions).id;
    const auto target = LanguageCatalog::targetOption(storedTarget, m_targetLanguageOptions);
    m_targetLanguageIdentifier = target ? target->id : LanguageCatalog::defaultTarget().id;
    m_translationEngineIdentifier =
        defaults.string(engineKey).value_or(rawValue(TranslationEngine::appleLocal));
    m_openAIEndpointString = endpoint;
    m_openAIClientToken = KeychainStore::string(tokenKey).value_or(QString());
    m_hotKey = storedHotKey();
    Platform::current().speechRecognizers().prepare(m_sourceLocaleIdentifier);

    defaults.setString(m_openAIEndpointString, endpointKey);
    enforceCompatibleTranslationEngine();
    warmLocalTranslation();
    observeFrontmostApplication();
    observeKeychain();
    connect(&m_speechService, &SpeechRecognizerService::captureDied, this, &AppController::endDeadRecording);
    connect(&m_keychainQuestion, &KeychainQuestion::asked, this, &AppController::keychainDialogExpected);
    connect(&m_keychainQuestion, &KeychainQuestion::answered, this, &AppController::needAttention);
    m_pasteboardInserter.setRestoreObserver([self = QPointer<AppController>(this)] {
        if (self)
            Q_EMIT self->pasteboardRestored();
    });
    observeTrust();
}

void AppController::prepareEngines() const {
    Platform::current().speechRecognizers().prepare(m_sourceLocaleIdentifier);
    warmLocalTranslation();
}

AppController::~AppController() {
    Platform::current().keychainAvailability().setObserver({});
    Platform::current().keystrokes().setTrustObserver({});
    Platform::current().workspace().removeActivationObserver(m_activationObserver);
}

void AppController::setSourceLocaleIdentifier(const QString &identifier) {
    m_sourceLocaleIdentifier = identifier;
    Q_EMIT sourceLocaleIdentifierChanged();
    Platform::current().userDefaults().setString(identifier, sourceKey);
    Platform::current().speechRecognizers().prepare(identifier);
    enforceCompatibleTranslationEngine();
    warmLocalTranslation();
}

void AppController::setTargetLanguageIdentifier(const QString &identifier) {
    m_targetLanguageIdentifier = identifier;
    Q_EMIT targetLanguageIdentifierChanged();
    Platform::current().userDefaults().setString(identifier, targetKey);
    enforceCompatibleTranslationEngine();
    warmLocalTranslation();
}

void AppController::setTranslationEngineIdentifier(const QString &identifier) {
    m_translationEngineIdentifier = identifier;
    Q_EMIT translationEngineIdentifierChanged();
    Platform::current().userDefaults().setString(identifier, engineKey);
    enforceCompatibleTranslationEngine();
    warmLocalTranslation();
}

void AppController::setOpenAIEndpointString(const QString &endpoint) {
    m_openAIEndpointString = endpoint;
    Q_EMIT openAIEndpointStringChanged();
    Platform::current().userDefaults().setString(endpoint, endpointKey);
}

void AppController::setOpenAIClientToken(const QString &token) {
    m_openAIClientToken = token;
    Q_EMIT openAIClientTokenChanged();
    storeClientToken();
    if (m_isClientTokenUnstored)
        m_keychainQuestion.tokenTyped();
}

void AppController::storeClientToken() {
    m_isClientTokenUnstored = !KeychainStore::setString(m_openAIClientToken, tokenKey);
    if (!m_isClientTokenUnstored)
        m_keychainQuestion.tokenStored();
}

SpokenLanguageOption AppController::selectedSource() const {
    const auto option = LanguageCatalog::spokenOption(m_sourceLocaleIdentifier, m_spokenLanguageOptions);
    return option ? *option : LanguageCatalog::defaultSpoken(m_spokenLanguageOptions);
}

TranslationLanguageOption AppController::selectedTarget() const {
    return LanguageCatalog::targetOption(m_targetLanguageIdentifier, m_targetLanguageOptions)
        .value_or(LanguageCatalog::defaultTarget());
}

TranslationEngine AppController::selectedTranslationEngine() const {
    return translationEngineFromRawValue(m_translationEngineIdentifier)
        .value_or(TranslationEngine::appleLocal);
}

bool AppController::canUseAppleLocalForSelectedLanguagePair() const {
    return canUseAppleLocalForTarget(selectedTarget().id);
}

bool AppController::canUseAppleLocalForTarget(const QString &target) const {
    const QString source = selectedSource().translationLanguageIdentifier;
    return source == target || (LanguageCatalog::supportsAppleLocalTranslation(source) &&
                                LanguageCatalog::supportsAppleLocalTranslation(target));
}

TranslationEngine AppController::effectiveTranslationEngine() const {
    const auto selected = selectedTranslationEngine();
    if (selected == TranslationEngine::appleLocal && !canUseAppleLocalForSelectedLanguagePair())
        return TranslationEngine::openAINatural;
    return selected;
}

DictationState AppController::dictationState() const {
    if (m_isRecording)
        return DictationState::recording;
    return m_isProcessing ? DictationState::processing : DictationState::idle;
}

QString AppController::hotKeyDisplayName() const {
    if (m_isRecordingHotKey)
        return u"Press shortcut"_s;
    return m_boundHotKeyName.isEmpty() ? m_hotKey.displayName() : m_boundHotKeyName;
}

bool AppController::canSwapLanguages() const {
    return LanguageCatalog::preferredSpeechLocale(selectedTarget().id, m_spokenLanguageOptions) &&
           LanguageCatalog::targetOption(selectedSource().translationLanguageIdentifier,
                                         m_targetLanguageOptions);
}

void AppController::swapLanguages() {
    if (!canSwapLanguages())
        return;
    const QString formerSourceLanguage = selectedSource().translationLanguageIdentifier;
    const auto newSource =
        LanguageCatalog::preferredSpeechLocale(selectedTarget().id, m_spokenLanguageOptions);
    if (!newSource)
        return;
    setSourceLocaleIdentifier(newSource->id);
    setTargetLanguageIdentifier(formerSourceLanguage);
    setStatusText(u"Language pair updated."_s);
}

/// The switch to the hosted engine is one-way: a pair that the on-device engine supports does not switch
/// back.
void AppController::enforceCompatibleTranslationEngine() {
    if (selectedTranslationEngine() != TranslationEngine::appleLocal)
        return;
    if (canUseAppleLocalForSelectedLanguagePair())
        return;
    setTranslationEngineIdentifier(rawValue(TranslationEngine::openAINatural));
    setStatusText(selectedTarget().name + u" uses OpenAI Natural."_s);
}

void AppController::observeFrontmostApplication() {
    auto &workspace = Platform::current().workspace();
    m_activationObserver =
        workspace.addActivationObserver([self = QPointer<AppController>(this)](const auto &application) {
            if (!application)
                return;
            Platform::current().mainQueue().async([self, application] {
                if (self && !self->isOwnApplication(application))
                    self->m_lastExternalApplication = application;
            });
        });
    if (const auto frontmost = workspace.frontmostApplication(); frontmost && !isOwnApplication(frontmost))
        m_lastExternalApplication = frontmost;
}

/// A keychain that was locked or absent so far may hold the token, or has not taken what the user typed.
void AppController::observeKeychain() {
    Platform::current().keychainAvailability().setObserver([self = QPointer<AppController>(this)] {
        if (!self)
            return;
        if (self->m_isClientTokenUnstored) {
            self->storeClientToken();
        } else if (const auto stored = KeychainStore::string(tokenKey)) {
            self->m_openAIClientToken = *stored;
            Q_EMIT self->openAIClientTokenChanged();
        }
    });
}

void AppController::observeTrust() {
    Platform::current().keystrokes().setTrustObserver([self = QPointer<AppController>(this)] {
        if (self && !self->m_isRecording && !self->m_isProcessing)
            self->refreshAccessibilityStatus();
    });
}

void AppController::setStatusText(const QString &text) {
    m_statusText = text;
    Q_EMIT statusTextChanged();
}

void AppController::setTranscriptText(const QString &text) {
    m_transcriptText = text;
    Q_EMIT transcriptTextChanged();
}

void AppController::setTranslatedText(const QString &text) {
    m_translatedText = text;
    Q_EMIT translatedTextChanged();
}

void AppController::setHotKey(const AppHotKey &hotKey) {
    m_hotKey = hotKey;
    Q_EMIT hotKeyChanged();
}

void AppController::setRecording(bool isRecording) {
    m_isRecording = isRecording;
    refreshKeychainQuestion();
    Q_EMIT isRecordingChanged();
    stateChanged();
}

void AppController::setProcessing(bool isProcessing) {
    m_isProcessing = isProcessing;
    refreshKeychainQuestion();
    Q_EMIT isProcessingChanged();
    stateChanged();
}

void AppController::refreshKeychainQuestion() {
    m_keychainQuestion.setDictating(m_startsUnderWay > 0 || m_isRecording || m_isProcessing);
}

void AppController::setRecordingHotKey(bool isRecordingHotKey) {
    m_isRecordingHotKey = isRecordingHotKey;
    Q_EMIT isRecordingHotKeyChanged();
}

void AppController::stateChanged() const {
    if (onStateChanged)
        onStateChanged();
}

void AppController::fail(const QString &sentence) {
    setStatusText(sentence);
    needAttention();
}

void AppController::needAttention() const {
    if (onNeedsAttention)
        onNeedsAttention();
}

} // namespace quillora
