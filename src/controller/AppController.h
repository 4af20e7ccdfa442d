#pragma once

#include "controller/DictationState.h"
#include "controller/KeychainQuestion.h"
#include "hotkey/AppHotKey.h"
#include "insertion/PasteboardInserter.h"
#include "platform/HotKeys.h"
#include "platform/Workspace.h"
#include "speech/SpeechRecognizerService.h"
#include "translation/LanguageCatalog.h"
#include "translation/OpenAITranslationService.h"
#include "translation/TranslationBridge.h"
#include "translation/TranslationEngine.h"

#include <QCoroTask>
#include <QObject>

#include <functional>
#include <optional>

namespace quillora {

/// The centre of the program: the user's settings, what the panel shows, and the workflows from the hotkey to
/// the inserted text. One lives for the whole run. Main thread only.
///
/// No operation fails outwards: every outcome reaches the user through `statusText`. After each suspension a
/// workflow asks whether the controller still lives, so it may be destroyed while any of them waits, but not
/// from within its own signal or callbacks.
class AppController : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString sourceLocaleIdentifier READ sourceLocaleIdentifier WRITE setSourceLocaleIdentifier
                   NOTIFY sourceLocaleIdentifierChanged)
    Q_PROPERTY(QString targetLanguageIdentifier READ targetLanguageIdentifier WRITE
                   setTargetLanguageIdentifier NOTIFY targetLanguageIdentifierChanged)
    Q_PROPERTY(QString translationEngineIdentifier READ translationEngineIdentifier WRITE
                   setTranslationEngineIdentifier NOTIFY translationEngineIdentifierChanged)
    Q_PROPERTY(QString openAIEndpointString READ openAIEndpointString WRITE setOpenAIEndpointString NOTIFY
                   openAIEndpointStringChanged)
    Q_PROPERTY(QString openAIClientToken READ openAIClientToken WRITE setOpenAIClientToken NOTIFY
                   openAIClientTokenChanged)
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY isRecordingChanged)
    Q_PROPERTY(bool isProcessing READ isProcessing NOTIFY isProcessingChanged)
    Q_PROPERTY(QString statusText READ statusText WRITE setStatusText NOTIFY statusTextChanged)
    Q_PROPERTY(QString transcriptText READ transcriptText NOTIFY transcriptTextChanged)
    Q_PROPERTY(QString translatedText READ translatedText NOTIFY translatedTextChanged)
    Q_PROPERTY(quillora::AppHotKey hotKey READ hotKey NOTIFY hotKeyChanged)
    Q_PROPERTY(bool isRecordingHotKey READ isRecordingHotKey NOTIFY isRecordingHotKeyChanged)

public:
    /// Loads the settings. The platform must recognize at least one language.
    explicit AppController(QObject *parent = nullptr);
    ~AppController() override;

    // Callbacks of the shell, each optional, called on the main thread.
    std::function<void()> onStateChanged;   ///< `isRecording` or `isProcessing` was written
    std::function<void()> onNeedsAttention; ///< there is something the user should see
    /// Asks for the hotkey to be registered; true if it was.
    std::function<bool(const AppHotKey &)> onHotKeyChangeRequested;

    // Settings. Every assignment is persisted at once.
    const QString &sourceLocaleIdentifier() const { return m_sourceLocaleIdentifier; }
    void setSourceLocaleIdentifier(const QString &identifier);
    const QString &targetLanguageIdentifier() const { return m_targetLanguageIdentifier; }
    void setTargetLanguageIdentifier(const QString &identifier);
    const QString &translationEngineIdentifier() const { return m_translationEngineIdentifier; }
    void setTranslationEngineIdentifier(const QString &identifier);
    const QString &openAIEndpointString() const { return m_openAIEndpointString; }
    void setOpenAIEndpointString(const QString &endpoint);
    const QString &openAIClientToken() const { return m_openAIClientToken; }
    void setOpenAIClientToken(const QString &token);
    const AppHotKey &hotKey() const { return m_hotKey; }

    // What the panel shows.
    bool isRecording() const { return m_isRecording; }
    bool isProcessing() const { return m_isProcessing; }
    const QString &statusText() const { return m_statusText; }
    void setStatusText(const QString &text);
    const QString &transcriptText() const { return m_transcriptText; }
    const QString &translatedText() const { return m_translatedText; }
    bool isRecordingHotKey() const { return m_isRecordingHotKey; }

    const QList<SpokenLanguageOption> &spokenLanguageOptions() const { return m_spokenLanguageOptions; }
    const QList<TranslationLanguageOption> &targetLanguageOptions() const { return m_targetLanguageOptions; }

    // Derived from the above.
    SpokenLanguageOption selectedSource() const;
    TranslationLanguageOption selectedTarget() const;
    TranslationEngine selectedTranslationEngine() const;
    bool canUseAppleLocalForSelectedLanguagePair() const;
    /// The same for another target than the selected one.
    bool canUseAppleLocalForTarget(const QString &target) const;
    /// The engine that translates: the selected one where it can.
    TranslationEngine effectiveTranslationEngine() const;
    DictationState dictationState() const;
    QString hotKeyDisplayName() const;
    bool canSwapLanguages() const;

    void swapLanguages();

    // Dictation.
    QCoro::Task<> hotKeyPressed();
    QCoro::Task<> hotKeyReleased();
    QCoro::Task<> toggleRecording();
    QCoro::Task<> startRecording();
    QCoro::Task<> stopRecording();
    void pasteLastTranslation();

    /// The program is about to end: no dictation begins and nothing is inserted any more. What was pasted
    /// before still gives the pasteboard back.
    void prepareToEnd() { m_isEnding = true; }

    /// Gets ready in the background what the next dictation takes. To be called when other models do it than
    /// before.
    void prepareEngines() const;

    /// Whether a paste has still to give the pasteboard back; that takes less than a second.
    bool hasPendingPasteboardRestore() const { return m_pasteboardInserter.hasPendingRestore(); }

    /// Asks, once in a run, for leave to synthesise keystrokes where it is missing.
    void requestAccessibilityIfNeeded();
    void refreshAccessibilityStatus();

    QCoro::Task<> prepareTranslationModels();

    // Changing the hotkey.
    void startHotKeyRecording();
    void cancelHotKeyRecording();
    void rejectRecordedHotKey();
    void setRecordedHotKey(const AppHotKey &hotKey);
    void resetHotKey();
    /// What became of a hotkey after it was registered; ignored unless that is still the hotkey.
    void noteHotKeyOutcome(const AppHotKey &hotKey, const platform::HotKeyOutcome &outcome);

    /// Only while the user has the panel before him may he be asked, once in an opening, to unlock the
    /// keychain for a token that he has typed. The panel needs attention again when he has answered.
    void setPanelPresence(PanelPresence presence) { m_keychainQuestion.setPanelPresence(presence); }

    TranslationBridge &translationBridge() { return m_translationBridge; }

Q_SIGNALS:
    /// The desktop is asked for a dialog that unlocks the keychain; it will lie over the panel.
    void keychainDialogExpected();

    /// A paste has given the pasteboard back; another may still have to.
    void pasteboardRestored();

    // The published value was written, be it with what it was.
    void sourceLocaleIdentifierChanged();
    void targetLanguageIdentifierChanged();
    void translationEngineIdentifierChanged();
    void openAIEndpointStringChanged();
    void openAIClientTokenChanged();
    void isRecordingChanged();
    void isProcessingChanged();
    void statusTextChanged();
    void transcriptTextChanged();
    void translatedTextChanged();
    void hotKeyChanged();
    void isRecordingHotKeyChanged();

private:
    static AppHotKey storedHotKey();
    static void storeHotKey(const AppHotKey &hotKey);
    void failToRegister(const AppHotKey &hotKey);
    void restorePreviousHotKey();

    void enforceCompatibleTranslationEngine();
    void observeFrontmostApplication();
    void observeKeychain();
    void observeTrust();
    void storeClientToken();
    void captureTargetApplication();
    bool isOwnApplication(const platform::RunningApplicationHandle &application) const;

    void endDeadRecording(const QString &reason);
    void warmLocalTranslation() const;
    void prepareHostedTranslation() const;
    QCoro::Task<QString> translate(QString text);
    QCoro::Task<> translateAndPaste(QString transcript);
    void pasteOrCopy(const QString &text, const QString &insertedStatus, const QString &copiedStatus);

    void setTranscriptText(const QString &text);
    void setTranslatedText(const QString &text);
    void setHotKey(const AppHotKey &hotKey);
    // Both tell the shell.
    void setRecording(bool isRecording);
    void setProcessing(bool isProcessing);
    void refreshKeychainQuestion();
    void setRecordingHotKey(bool isRecordingHotKey);
    void stateChanged() const;
    /// Says what went wrong and asks for attention.
    void fail(const QString &sentence);
    void needAttention() const;

    QString m_sourceLocaleIdentifier;
    QString m_targetLanguageIdentifier;
    QString m_translationEngineIdentifier;
    QString m_openAIEndpointString;
    QString m_openAIClientToken;
    bool m_isClientTokenUnstored = false; ///< what was typed wins over the keychain until it is in there
    KeychainQuestion m_keychainQuestion;
    bool m_isRecording = false;
    bool m_isProcessing = false;
    QString m_statusText;
    QString m_transcriptText;
    QString m_translatedText;
    AppHotKey m_hotKey = AppHotKey::defaultValue;
    std::optional<AppHotKey> m_previousHotKey; ///< before the last change, until that is refused
    QString m_boundHotKeyName; ///< of the combination that the desktop has put in the hotkey's place
    bool m_isRecordingHotKey = false;

    TranslationBridge m_translationBridge;
    SpeechRecognizerService m_speechService;
    PasteboardInserter m_pasteboardInserter;
    OpenAITranslationService m_openAITranslationService;

    QList<SpokenLanguageOption> m_spokenLanguageOptions;
    QList<TranslationLanguageOption> m_targetLanguageOptions;

    platform::RunningApplicationHandle m_targetApplication;       ///< receives the next paste
    platform::RunningApplicationHandle m_lastExternalApplication; ///< the last other one to be active
    platform::Workspace::ObserverToken m_activationObserver = 0;
    bool m_didRequestAccessibilityAccess = false;
    bool m_isEnding = false;

    int m_startsUnderWay = 0; ///< waiting for permission; the hotkey and the panel may each have begun one
    int m_dictationCount = 0; ///< how many have begun

    // The hotkey may go up while the start that its press began is still waiting for permission.
    bool m_isHotKeyHeld = false;
    bool m_isStartingHotKeyRecording = false;
    bool m_shouldStopAfterHotKeyStart = false;
};

} // namespace quillora
