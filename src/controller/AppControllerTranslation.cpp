#include "controller/AppController.h"

#include "controller/Attempt.h"
#include "controller/HostedEndpoint.h"
#include "insertion/DeviceIdentifier.h"
#include "platform/Platform.h"
#include "translation/OpenAITranslationServiceError.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::Platform;

/// Nobody shall wait for what can be got ready while he chooses, speaks, or does something else.
void AppController::warmLocalTranslation() const {
    const QString source = selectedSource().translationLanguageIdentifier;
    const QString target = selectedTarget().id;
    if (source != target && effectiveTranslationEngine() == TranslationEngine::appleLocal)
        Platform::current().translators().warm(source, target);
}

/// Speaking takes longer than connecting: the backend can be reached by the time there is something to ask.
void AppController::prepareHostedTranslation() const {
    const QString endpoint = m_openAIEndpointString.trimmed();
    const bool isSameLanguage = selectedSource().translationLanguageIdentifier == selectedTarget().id;
    if (isSameLanguage || effectiveTranslationEngine() != TranslationEngine::openAINatural ||
        leadsNowhere(endpoint))
        return;
    m_openAITranslationService.prepare(endpoint);
}

QCoro::Task<QString> AppController::translate(QString text) {
    if (effectiveTranslationEngine() == TranslationEngine::appleLocal)
        co_return co_await m_translationBridge.translate(
            std::move(text), selectedSource().translationLanguageIdentifier, selectedTarget().id);
    const QString endpoint = m_openAIEndpointString.trimmed();
    try {
        co_return co_await m_openAITranslationService.translate(
            std::move(text), selectedSource().name, selectedTarget().name, endpoint,
            m_openAIClientToken.trimmed(), DeviceIdentifier::current());
    } catch (const OpenAITranslationServiceError &) {
        throw; // somebody has answered
    } catch (const LocalizedError &error) {
        if (!leadsNowhere(endpoint))
            throw;
        // Where room is short, what to do about it counts.
        throw LocalizedError(adviceWithoutDefaultEndpoint() + u' ' + error.errorDescription());
    }
}

QCoro::Task<> AppController::translateAndPaste(QString transcript) {
    if (selectedSource().translationLanguageIdentifier == selectedTarget().id) {
        setTranslatedText(transcript);
        setStatusText(u"Same language selected; pasting transcript."_s);
        pasteOrCopy(transcript, u"Inserted transcript."_s,
                    u"Copied transcript. Enable Accessibility to auto-paste."_s);
        setProcessing(false);
        co_return;
    }

    setStatusText(effectiveTranslationEngine() == TranslationEngine::openAINatural
                      ? u"Translating with OpenAI..."_s
                      : u"Translating locally..."_s);

    const QPointer<AppController> self(this);
    const auto translation = co_await attempt(translate(transcript));
    if (!self)
        co_return;
    if (translation.hasSucceeded()) {
        setTranslatedText(*translation.result);
        setStatusText(u"Pasting..."_s);
        pasteOrCopy(*translation.result, u"Inserted translation."_s,
                    u"Copied translation. Enable Accessibility to auto-paste."_s);
    } else {
        fail(u"Translation failed: "_s + translation.failure);
    }
    setProcessing(false);
}

void AppController::pasteOrCopy(const QString &text, const QString &insertedStatus,
                                const QString &copiedStatus) {
    if (m_isEnding)
        return;
    m_keychainQuestion.textPasted();
    const auto onTaken = [self = QPointer<AppController>(this), dictation = m_dictationCount] {
        // The status of a dictation that has begun since is worth more.
        if (self && self->m_dictationCount == dictation)
            self->fail(u"Not inserted: the clipboard was taken."_s);
    };
    if (m_pasteboardInserter.paste(text, m_targetApplication, onTaken)) {
        setStatusText(insertedStatus);
        return;
    }
    const bool isCopied = m_pasteboardInserter.copy(text);
    requestAccessibilityIfNeeded();
    if (isCopied)
        setStatusText(copiedStatus);
    else
        fail(u"Not copied: only the window in front may copy here. Use \"Paste last translation\"."_s);
}

void AppController::pasteLastTranslation() {
    if (m_translatedText.trimmed().isEmpty())
        return;
    captureTargetApplication();
    pasteOrCopy(m_translatedText, u"Inserted translation."_s,
                u"Copied translation. Enable Accessibility to auto-paste."_s);
}

void AppController::captureTargetApplication() {
    const auto frontmost = Platform::current().workspace().frontmostApplication();
    if (frontmost && !isOwnApplication(frontmost))
        m_lastExternalApplication = frontmost;
    m_targetApplication = m_lastExternalApplication;
}

bool AppController::isOwnApplication(const platform::RunningApplicationHandle &application) const {
    const auto own = Platform::current().workspace().mainBundleIdentifier();
    const auto other = application->bundleIdentifier();
    return own && other && *own == *other;
}

void AppController::requestAccessibilityIfNeeded() {
    if (m_pasteboardInserter.hasAccessibilityAccess())
        return;
    if (m_didRequestAccessibilityAccess) {
        setStatusText(u"Accessibility access is still not active."_s);
        return;
    }
    m_didRequestAccessibilityAccess = true;
    m_pasteboardInserter.requestAccessibilityAccess();
}

void AppController::refreshAccessibilityStatus() {
    if (!m_pasteboardInserter.hasAccessibilityAccess())
        setStatusText(u"Accessibility access is needed to paste."_s);
}

QCoro::Task<> AppController::prepareTranslationModels() {
    if (m_isRecording || m_isProcessing)
        co_return;
    if (selectedTranslationEngine() == TranslationEngine::openAINatural) {
        setStatusText(u"OpenAI Natural uses your backend; no local model download needed."_s);
        co_return;
    }
    if (!canUseAppleLocalForSelectedLanguagePair()) {
        setStatusText(selectedTarget().name + u" uses OpenAI Natural; no local model download needed."_s);
        enforceCompatibleTranslationEngine();
        co_return;
    }
    const QString source = selectedSource().translationLanguageIdentifier;
    const QString target = selectedTarget().id;
    if (source == target) {
        setStatusText(u"Same language selected; no translation model needed."_s);
        co_return;
    }

    setProcessing(true);
    setStatusText(u"Preparing translation models..."_s);
    const QPointer<AppController> self(this);
    const auto preparation = co_await attempt(m_translationBridge.prepare(source, target));
    if (!self)
        co_return;
    if (preparation.hasSucceeded())
        setStatusText(u"Translation models are ready."_s);
    else
        fail(u"Translation setup failed: "_s + preparation.failure);
    setProcessing(false);
}

} // namespace quillora
