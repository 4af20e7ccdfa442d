#include "controller/DictationOracle.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

const QString service = u"com.local.Quillora"_s;
const QString legacyService = u"com.local.Cobaltwhisk"_s;
const QString defaultEndpoint = u"https://translate.quillora.example/v1/translate"_s;
const QString insertedTranslation = u"Inserted translation."_s;
const QString copiedTranslation = u"Copied translation. Enable Accessibility to auto-paste."_s;

/// What to do comes first where nobody answers.
const QString advice = u"Enter your own Backend URL, or choose languages that Apple Local can translate. "_s;

/// The backend's own words, and what is said of its answer in the words of the translation client.
bool isOfTheBackend(const QString &error) {
    return error.isEmpty() || error == u"Who are you?"_s || error.startsWith(u"OpenAI backend returned "_s) ||
           error.startsWith(u"Translation backend returned "_s);
}

struct Language {
    QString id;
    QString name;
    QString code;
};

/// The languages that this world can hear, and those that it is asked to write; the first is the default.
const QList<Language> spokenLanguages{{u"en-US"_s, u"English (United States)"_s, u"en"_s},
                                      {u"ru-RU"_s, u"Russian (Russia)"_s, u"ru"_s},
                                      {u"kk-KZ"_s, u"Kazakh (Kazakhstan)"_s, u"kk"_s},
                                      {u"es-ES"_s, u"Spanish (Spain)"_s, u"es"_s}};
const QList<Language> targetLanguages{{u"ru"_s, u"Russian"_s, u"ru"_s},
                                      {u"en"_s, u"English"_s, u"en"_s},
                                      {u"kk"_s, u"Kazakh"_s, u"kk"_s},
                                      {u"es"_s, u"Spanish"_s, u"es"_s},
                                      {u"nl"_s, u"Dutch"_s, u"nl"_s}};

const Language *find(const QList<Language> &languages, QString Language::*member, const QString &value) {
    for (const auto &language : languages) {
        if (language.*member == value)
            return &language;
    }
    return nullptr;
}

const Language &chosen(const QList<Language> &languages, const QString &id) {
    const auto *found = find(languages, &Language::id, id);
    return found ? *found : languages.first();
}

QString textOf(const QString &value) { return value; }
QString textOf(bool value) { return value ? u"yes"_s : u"no"_s; }
QString textOf(const DictationOracle::HotKey &value) { return value.storageValue; }

} // namespace

const QList<DictationOracle::HotKey> &DictationOracle::hotKeys() {
    static const QList<HotKey> keys{{u"49:6144"_s, u"Ctrl Option Space"_s},
                                    {u"40:256"_s, u"Cmd K"_s},
                                    {u"122:6656"_s, u"Ctrl Option Shift F1"_s},
                                    {u"0:512"_s, u"Shift A"_s, false},
                                    {u"53:0"_s, u"Esc"_s, false}};
    return keys;
}

// Settings

void DictationOracle::startUp() {
    const auto stored = [this](const QString &key) {
        const auto found = defaults.find(key);
        return found == defaults.end() ? QString() : found->second;
    };
    source = chosen(spokenLanguages, stored(u"sourceLocaleIdentifier"_s)).id;
    target = chosen(targetLanguages, stored(u"targetLanguageIdentifier"_s)).id;
    engine = defaults.contains(u"translationEngineIdentifier"_s) ? stored(u"translationEngineIdentifier"_s)
                                                                 : u"appleLocal"_s;
    endpoint = stored(u"openAIEndpointString"_s).trimmed();
    if (endpoint.isEmpty() || endpoint == u"http://127.0.0.1:8787/v1/translate")
        endpoint = defaultEndpoint;
    token = storedSecret(u"openAIClientToken"_s).value_or(QString());
    for (const auto &known : hotKeys()) {
        if (known.storageValue == stored(u"hotKey"_s))
            hotKey = known;
    }
    store(u"openAIEndpointString"_s, endpoint);
    enforceEngine();
    if (frontmost && !isOwn(*frontmost))
        m_lastExternal = frontmost;
    m_isObserved = true;
}

void DictationOracle::end() {
    m_posted.clear();
    m_finalWaiter = nullptr;
    m_job.reset();
    if (m_timeout)
        *m_timeout = true;
    m_isObserved = false;
}

template <typename T>
void DictationOracle::publish(const char *property, T &value, const T &newValue) {
    if (value == newValue)
        return;
    value = newValue;
    if (m_isObserved)
        log += QString::fromLatin1(property) + u'=' + textOf(newValue);
}

void DictationOracle::store(const QString &key, const QString &value) {
    defaults[key] = value;
    log += u"defaults.set "_s + key + u'=' + value;
}

void DictationOracle::chooseSource(const QString &id) {
    publish("sourceLocaleIdentifier", source, id);
    store(u"sourceLocaleIdentifier"_s, id);
    enforceEngine();
}

void DictationOracle::chooseTarget(const QString &id) {
    publish("targetLanguageIdentifier", target, id);
    store(u"targetLanguageIdentifier"_s, id);
    enforceEngine();
}

void DictationOracle::chooseEngine(const QString &id) {
    publish("translationEngineIdentifier", engine, id);
    store(u"translationEngineIdentifier"_s, id);
    enforceEngine();
}

void DictationOracle::typeEndpoint(const QString &text) {
    publish("openAIEndpointString", endpoint, text);
    store(u"openAIEndpointString"_s, text);
}

void DictationOracle::typeToken(const QString &text) {
    publish("openAIClientToken", token, text);
    m_isTokenUnstored = !storeSecret(u"openAIClientToken"_s, text);
}

bool DictationOracle::canTranslateHere() const {
    const QString from = chosen(spokenLanguages, source).code;
    const QString to = chosen(targetLanguages, target).id;
    return from == to || (from != u"kk" && to != u"kk");
}

void DictationOracle::enforceEngine() {
    if (isHostedSelected() || canTranslateHere())
        return;
    chooseEngine(u"openAINatural"_s);
    say(chosen(targetLanguages, target).name + u" uses OpenAI Natural."_s);
}

void DictationOracle::swap() {
    const auto *heard = find(spokenLanguages, &Language::code, chosen(targetLanguages, target).id);
    const QString formerSource = chosen(spokenLanguages, source).code;
    if (!heard || !find(targetLanguages, &Language::id, formerSource))
        return;
    chooseSource(heard->id);
    chooseTarget(formerSource);
    say(u"Language pair updated."_s);
}

// The hotkey's events and its changes

void DictationOracle::press() {
    if (isRecordingHotKey || isRecording || isProcessing || m_isHeld || m_isStarting)
        return;
    m_isHeld = true;
    m_stopsAfterStart = false;
    m_isStarting = true;
    startRecording([this] {
        m_isStarting = false;
        if (m_stopsAfterStart || !m_isHeld) {
            m_stopsAfterStart = false;
            if (isRecording)
                stopRecording([] {});
        }
    });
}

void DictationOracle::release() {
    if (isRecordingHotKey)
        return;
    if (!m_isHeld && !m_isStarting)
        return;
    m_isHeld = false;
    if (m_isStarting) {
        m_stopsAfterStart = true;
        return;
    }
    if (isRecording)
        stopRecording([] {});
}

void DictationOracle::toggle() {
    if (isRecording)
        stopRecording([] {});
    else
        startRecording([] {});
}

void DictationOracle::startCapture() {
    if (isRecording || isProcessing)
        return;
    publish("isRecordingHotKey", isRecordingHotKey, true);
    say(u"Press a shortcut with Ctrl, Option, or Cmd."_s);
}

void DictationOracle::cancelCapture() {
    publish("isRecordingHotKey", isRecordingHotKey, false);
    say(u"Hotkey unchanged."_s);
}

void DictationOracle::rejectHotKey() { say(u"Use Ctrl, Option, or Cmd with another key."_s); }

void DictationOracle::setHotKey(const HotKey &newHotKey) {
    if (!newHotKey.isUsable)
        return rejectHotKey();
    if (hasRegistrar) {
        log += u"onHotKeyChangeRequested "_s + newHotKey.storageValue;
        if (refusesHotKeys) {
            publish("isRecordingHotKey", isRecordingHotKey, false);
            say(u"Could not register "_s + newHotKey.displayName + u'.');
            needAttention();
            return;
        }
    }
    publish("hotKey", hotKey, newHotKey);
    publish("isRecordingHotKey", isRecordingHotKey, false);
    store(u"hotKey"_s, newHotKey.storageValue);
    say(u"Hotkey updated to "_s + newHotKey.displayName + u'.');
}

// Recording

void DictationOracle::setRecording(bool value) {
    publish("isRecording", isRecording, value);
    stateChanged();
}

void DictationOracle::setProcessing(bool value) {
    publish("isProcessing", isProcessing, value);
    stateChanged();
}

void DictationOracle::stateChanged() {
    log += u"onStateChanged recording=%1 processing=%2"_s.arg(isRecording).arg(isProcessing);
}

void DictationOracle::startRecording(const Next &next) {
    if (isRecording || isProcessing)
        return next();
    ++m_dictations;
    captureTarget();
    if (!isTrusted)
        say(u"Accessibility access is needed to paste."_s);
    publish("transcriptText", transcript, QString());
    publish("translatedText", translated, QString());
    say(u"Requesting microphone and speech access..."_s);
    serviceStart(
        chosen(spokenLanguages, source).id,
        [this, next] {
            setRecording(true);
            say(u"Listening..."_s);
            next();
        },
        [this, next](const QString &error) {
            say(u"Speech failed: "_s + error);
            needAttention();
            next();
        });
}

void DictationOracle::stopRecording(const Next &next) {
    if (!isRecording)
        return next();
    setRecording(false);
    setProcessing(true);
    say(u"Finishing transcription..."_s);
    if (!transcript.trimmed().isEmpty())
        prepareHosted();
    serviceStop([this, next](const QString &text) {
        publish("transcriptText", transcript, text.trimmed());
        if (!transcript.isEmpty())
            return translateAndPaste(transcript, next);
        setProcessing(false);
        say(u"No speech recognized."_s);
        needAttention();
        next();
    });
}

// Translating and pasting

void DictationOracle::prepareHosted() {
    const QString url = endpoint.trimmed();
    const bool isSameLanguage = chosen(spokenLanguages, source).code == chosen(targetLanguages, target).id;
    if (!isSameLanguage && isHostedEffective() && url.contains(u"://") && url != defaultEndpoint)
        log += u"http prepare "_s + url;
}

void DictationOracle::translate(const QString &text, const Done &done, const Failed &failed) {
    if (!isHostedEffective())
        return bridge(text, done, failed);
    Request request{endpoint.trimmed(),
                    text,
                    chosen(spokenLanguages, source).name,
                    chosen(targetLanguages, target).name,
                    {},
                    deviceIdentifier()};
    const Failed failedHosted = [failed, url = request.url](const QString &error) {
        failed((url == defaultEndpoint && !isOfTheBackend(error) ? advice : QString()) + error);
    };
    if (!request.url.contains(u"://"))
        return failed(u"OpenAI backend endpoint is invalid."_s);
    const QString sentToken = token.trimmed();
    if (sentToken.contains(u'\n'))
        return failedHosted(
            u"The subscription token holds a line break or another control character. Enter it again."_s);
    if (!sentToken.isEmpty())
        request.authorization = u"Bearer "_s + sentToken;
    log += u"http POST "_s + request.url;
    requests += request;
    hosted.push_back({done, failedHosted});
}

void DictationOracle::translateAndPaste(const QString &text, const Next &next) {
    const auto finish = [this, next] {
        setProcessing(false);
        next();
    };
    if (chosen(spokenLanguages, source).code == chosen(targetLanguages, target).id) {
        publish("translatedText", translated, text);
        say(u"Same language selected; pasting transcript."_s);
        pasteOrCopy(text, u"Inserted transcript."_s,
                    u"Copied transcript. Enable Accessibility to auto-paste."_s);
        return finish();
    }
    say(isHostedEffective() ? u"Translating with OpenAI..."_s : u"Translating locally..."_s);
    translate(
        text,
        [this, finish](const QString &result) {
            publish("translatedText", translated, result);
            say(u"Pasting..."_s);
            pasteOrCopy(result, insertedTranslation, copiedTranslation);
            finish();
        },
        [this, finish](const QString &error) {
            say(u"Translation failed: "_s + error);
            needAttention();
            finish();
        });
}

void DictationOracle::pasteOrCopy(const QString &text, const QString &inserted, const QString &copied) {
    if (paste(text))
        return say(inserted);
    copy(text);
    requestAccessibility();
    if (!refusesWrites)
        return say(copied);
    say(u"Not copied: only the window in front may copy here. Use \"Paste last translation\"."_s);
    needAttention();
}

void DictationOracle::pasteLast() {
    if (translated.trimmed().isEmpty())
        return;
    captureTarget();
    pasteOrCopy(translated, insertedTranslation, copiedTranslation);
}

void DictationOracle::captureTarget() {
    if (frontmost && !isOwn(*frontmost))
        m_lastExternal = frontmost;
    m_pasteTarget = m_lastExternal;
}

bool DictationOracle::isOwn(const Application &application) const {
    return ownIdentifier && application.identifier && *ownIdentifier == *application.identifier;
}

void DictationOracle::bringToFront(const ApplicationHandle &application) {
    frontmost = application;
    if (!application)
        return;
    post([this, application] {
        if (!isOwn(*application))
            m_lastExternal = application;
    });
}

void DictationOracle::requestAccessibility() {
    if (isTrusted)
        return;
    if (m_didPrompt)
        return say(u"Accessibility access is still not active."_s);
    m_didPrompt = true;
    log += u"keystrokes.prompt"_s;
}

void DictationOracle::refreshAccessibility() {
    if (!isTrusted)
        say(u"Accessibility access is needed to paste."_s);
}

void DictationOracle::prepareModels() {
    if (isRecording || isProcessing)
        return;
    const Language &from = chosen(spokenLanguages, source);
    const Language &to = chosen(targetLanguages, target);
    if (isHostedSelected())
        return say(u"OpenAI Natural uses your backend; no local model download needed."_s);
    // That a selected on-device engine cannot serve the pair never lasts until somebody asks.
    if (from.code == to.id)
        return say(u"Same language selected; no translation model needed."_s);
    setProcessing(true);
    say(u"Preparing translation models..."_s);
    bridge(
        std::nullopt,
        [this](const QString &) {
            say(u"Translation models are ready."_s);
            setProcessing(false);
        },
        [this](const QString &error) {
            say(u"Translation setup failed: "_s + error);
            needAttention();
            setProcessing(false);
        });
}

// The pasteboard

bool DictationOracle::paste(const QString &text) {
    if (!isTrusted)
        return false;
    log += u"pasteboard.save"_s;
    auto saved = pasteboard;
    for (auto &item : saved)
        item.removeIf([](const QString &value) { return value.startsWith(u"unreadable"); });
    if (std::ranges::all_of(saved, &QStringList::isEmpty))
        saved.clear();
    const bool isOurs = copy(text);
    if (m_pasteTarget) {
        log += u"activate "_s + m_pasteTarget->name;
        if (!m_pasteTarget->hasEnded && !refusesActivation)
            bringToFront(m_pasteTarget);
    }
    ++pendingRestores;
    after(150, [this, saved, text, isOurs, dictation = m_dictations] {
        const bool isGiven = isOurs && plainText() == text && !plainText().isNull();
        if (isGiven)
            pressPasteKeys();
        after(800, [this, saved] {
            log += u"pasteboard.restore "_s + QString::number(saved.size());
            pasteboard = saved;
            --pendingRestores;
        });
        if (isGiven || !m_isObserved || m_dictations != dictation)
            return;
        say(u"Not inserted: the clipboard was taken."_s);
        needAttention();
    });
    return true;
}

QString DictationOracle::plainText() const {
    static const QString type = u"text/plain;charset=utf-8"_s;
    for (const QStringList &item : pasteboard) {
        for (const QString &value : item) {
            if (value.startsWith(type + u'~'))
                return value.mid(type.size() + 1);
        }
    }
    return {};
}

bool DictationOracle::copy(const QString &text) {
    log += u"pasteboard.write "_s + text;
    if (refusesWrites)
        return false;
    pasteboard = {{u"text/plain;charset=utf-8~"_s + text}};
    return true;
}

void DictationOracle::pressPasteKeys() {
    if (!refusesChords && isTrusted)
        log += u"keystrokes.paste"_s;
}

// The keychain

std::optional<QString> DictationOracle::lookUp(const QString &ofService, const QString &account) {
    log += u"keychain.copyMatching "_s + ofService + u' ' + account;
    const auto found = keychain.find({ofService, account});
    if (isKeychainBroken || found == keychain.end() || found->second == "\xff")
        return {};
    return QString::fromUtf8(found->second);
}

std::optional<QString> DictationOracle::storedSecret(const QString &account) {
    if (const auto value = lookUp(service, account))
        return value;
    const auto legacy = lookUp(legacyService, account);
    if (legacy)
        storeSecret(account, *legacy);
    return legacy;
}

bool DictationOracle::storeSecret(const QString &account, const QString &value) {
    if (value.isEmpty()) {
        for (const QString &each : {service, legacyService}) {
            log += u"keychain.remove "_s + each + u' ' + account;
            if (!isKeychainBroken)
                keychain.erase({each, account});
        }
        return !isKeychainBroken;
    }
    log += u"keychain.update "_s + service + u' ' + account;
    if (isKeychainBroken)
        return false;
    const auto found = keychain.find({service, account});
    if (found != keychain.end()) {
        found->second = value.toUtf8();
        return true;
    }
    log += u"keychain.add "_s + service + u' ' + account;
    if (!keychainRefusesAdditions)
        keychain[{service, account}] = value.toUtf8();
    return !keychainRefusesAdditions;
}

QString DictationOracle::deviceIdentifier() {
    const QString account = u"deviceIdentifier"_s;
    if (const auto stored = storedSecret(account); stored && !stored->isEmpty())
        return *stored;
    const QString fresh = u"fresh %1"_s.arg(++m_freshIdentifiers);
    storeSecret(account, fresh);
    return fresh;
}

void DictationOracle::keychainBecameAvailable() {
    if (m_isTokenUnstored)
        m_isTokenUnstored = !storeSecret(u"openAIClientToken"_s, token);
    else if (const auto stored = storedSecret(u"openAIClientToken"_s))
        publish("openAIClientToken", token, *stored);
}

// The speech service

void DictationOracle::serviceStart(const QString &locale, const Next &next, const Failed &failed) {
    log += u"permissions.requestSpeechRecognition"_s;
    authorizations.push_back(
        {[this, locale, next, failed] {
             log += u"permissions.requestMicrophone"_s;
             microphones.push_back(
                 {[this, locale, next, failed] { serviceBegin(locale, next, failed); }, failed});
         },
         failed});
}

void DictationOracle::serviceBegin(const QString &locale, const Next &next, const Failed &failed) {
    serviceCleanup(true);
    log += u"recognizers.makeRecognizer "_s + locale;
    if (!canMakeRecognizer)
        return failed(u"Speech recognizer does not support "_s + locale + u'.');
    if (!isRecognizerAvailable)
        return failed(u"Speech recognizer is unavailable for "_s + locale + u'.');
    m_lastTranscript.clear();
    if (!hasChannels)
        return failed(u"No microphone input format is available."_s);
    log += u"recognizer.recognize"_s;
    m_hasRecognition = true;
    log += u"microphone.capture frames=1024"_s;
    if (!canCapture)
        return failed(u"The device is in use."_s);
    m_capture = std::make_shared<bool>(false);
    m_serviceRuns = true;
    next();
}

void DictationOracle::endCapture() {
    if (std::exchange(m_capture, nullptr))
        log += u"microphone.stop"_s;
}

void DictationOracle::captureDies() {
    if (!m_capture || std::exchange(*m_capture, true))
        return;
    post([this, capture = std::weak_ptr(m_capture)] {
        if (capture.expired())
            return;
        stopRecording([] {});
        log += u"notifications.show Dictation ended early"_s;
    });
}

void DictationOracle::serviceStop(const Done &next) {
    if (!m_serviceRuns)
        return next(m_lastTranscript);
    m_serviceRuns = false;
    endCapture();
    m_finalWaiter = next;
    if (m_hasRecognition)
        log += u"recognition.endAudio"_s;
    m_timeout = after(1500, [this] { post([this] { serviceFinish(true); }); });
}

void DictationOracle::serviceFinish(bool cancels) {
    if (!m_finalWaiter)
        return;
    if (m_timeout)
        *std::exchange(m_timeout, nullptr) = true;
    post([waiter = std::exchange(m_finalWaiter, nullptr), text = m_lastTranscript] { waiter(text); });
    serviceCleanup(cancels);
}

void DictationOracle::serviceCleanup(bool cancels) {
    endCapture();
    if (cancels && m_hasRecognition)
        log += u"recognition.cancel"_s;
    m_hasRecognition = false;
    if (m_timeout)
        *std::exchange(m_timeout, nullptr) = true;
}

void DictationOracle::deliver(const std::optional<QString> &text, bool isFinal, bool isError) {
    post([this, text, isFinal, isError] {
        if (text) {
            m_lastTranscript = *text;
            const bool isFirstWord = transcript.trimmed().isEmpty() && !text->trimmed().isEmpty();
            publish("transcriptText", transcript, *text);
            say(u"Listening..."_s);
            if (isFirstWord)
                prepareHosted();
            if (isFinal)
                return serviceFinish(false);
        }
        if (isError)
            serviceFinish(true);
    });
}

// Translating on this device

void DictationOracle::bridge(const std::optional<QString> &text, const Done &done, const Failed &failed) {
    if (m_job)
        return failed(u"A translation is already running."_s);
    m_job = std::make_shared<Job>(Job{text, done, failed});
    log += u"translation.session "_s + chosen(spokenLanguages, source).code + u'>' +
           chosen(targetLanguages, target).id;
    post([this] { performJob(); });
}

void DictationOracle::performJob() {
    if (!m_job)
        return;
    const auto job = m_job;
    const Failed failed = [this, job](const QString &error) {
        post([job, error] { job->failed(error); });
        m_job.reset();
    };
    const auto done = [this, job](const QString &text) {
        post([job, text] { job->done(text); });
        m_job.reset();
    };
    log += u"session.prepare"_s;
    preparations.push_back({[this, job, done, failed] {
                                if (!job->text)
                                    return done({});
                                log += u"session.translate "_s + *job->text;
                                translations.push_back({done, failed});
                            },
                            failed});
}

// Answers and time

void DictationOracle::answer(std::deque<Question> &questions, const std::optional<QString> &refusal) {
    if (questions.empty())
        return;
    const auto question = questions.front();
    questions.pop_front();
    if (refusal)
        post([no = question.no, error = *refusal] { no(error); });
    else
        post(question.yes);
}

void DictationOracle::answer(std::deque<Translation> &waiting, const std::optional<QString> &text,
                             const QString &failure) {
    if (waiting.empty())
        return;
    const auto translation = waiting.front();
    waiting.pop_front();
    if (text)
        post([done = translation.done, result = *text] { done(result); });
    else
        post([failed = translation.failed, failure] { failed(failure); });
}

std::shared_ptr<bool> DictationOracle::after(int milliseconds, Next work) {
    auto isCancelled = std::make_shared<bool>(false);
    m_timers.push_back({m_now + milliseconds, m_order++, std::move(work), isCancelled});
    return isCancelled;
}

bool DictationOracle::runOne() {
    if (m_posted.empty())
        return false;
    const auto work = std::move(m_posted.front());
    m_posted.pop_front();
    work();
    return true;
}

void DictationOracle::run() {
    while (runOne()) {
    }
}

void DictationOracle::advance(int milliseconds) {
    const int end = m_now + milliseconds;
    run();
    for (;;) {
        std::erase_if(m_timers, [](const Timer &timer) { return *timer.isCancelled; });
        const auto next =
            std::min_element(m_timers.begin(), m_timers.end(), [](const Timer &a, const Timer &b) {
                return std::pair(a.due, a.order) < std::pair(b.due, b.order);
            });
        if (next == m_timers.end() || next->due > end)
            break;
        const Timer timer = *next;
        m_timers.erase(next);
        m_now = timer.due;
        timer.work();
        run();
    }
    m_now = end;
}

} // namespace quillora::test
