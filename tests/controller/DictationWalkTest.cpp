#include "controller/AnyChange.h"
#include "controller/StateTables.h"
#include "fakes/FakePlatform.h"
#include "translation/TranslationHostView.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include <array>
#include <span>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;

namespace {

constexpr quint32 usualSequenceCount = 20000;
constexpr int longestSequence = 50;

const QString unnoticed = u"unnoticed "_s;

using Contents = std::vector<PasteboardItem>;

/// A fault that comes and goes.
struct Fault {
    const char *name;
    void (*set)(FakePlatform &platform, bool isThere);
};

const Fault faults[] = {
    {"keychain", [](auto &p, bool is) { p.keychainFake.isBroken = is; }},
    {"trust", [](auto &p, bool is) { p.keystrokesFake.isTrustGranted = !is; }},
    {"pasteboard", [](auto &p, bool is) { p.pasteboardFake.refusesWrites = is; }},
    {"paste chord", [](auto &p, bool is) { p.keystrokesFake.refusesChords = is; }},
    {"making a recognizer", [](auto &p, bool is) { p.speech.makesNoRecognizer = is; }},
    {"recognizer", [](auto &p, bool is) { p.speech.isAvailable = !is; }},
    {"microphone", [](auto &p, bool is) { p.microphoneFake.inputFormat.channelCount = is ? 0 : 1; }},
    {"sound server",
     [](auto &p, bool is) {
         p.microphoneFake.startError = is ? std::optional(u"The device is in use."_s) : std::nullopt;
     }},
    {"adding to the keychain", [](auto &p, bool is) { p.keychainFake.refusesAdditions = is; }},
    {"activation", [](auto &p, bool is) { p.workspaceFake.refusesActivation = is; }},
};

constexpr size_t keychainFault = 0;

/// What the backend may answer; "%1" stands for the number of the answer.
struct HostedAnswer {
    bool isHttp;
    int status;
    const char *body;
};

constexpr HostedAnswer hostedAnswers[] = {
    {true, 200, R"({"translation":"hola %1"})"},
    {true, 200, R"({"translation":" hola %1 \n"})"},
    {true, 299, R"({"translation":"hola %1","more":1})"},
    {true, 200, R"({"translation":" \n"})"},
    {true, 200, R"({"result":"hola"})"},
    {true, 200, R"({"translation":7})"},
    {true, 200, R"(["hola"])"},
    {true, 200, "<html>"},
    {true, 204, ""},
    {true, 199, R"({"translation":"hola"})"},
    {true, 300, R"({"translation":"hola"})"},
    {true, 401, R"({"error":"Who are you?"})"},
    {true, 500, R"({"error":""})"},
    {true, 502, "<html>"},
    {false, 0, R"({"translation":"hola"})"},
};

/// What the walk is worthless without: texts and calls that it must have met. Each comes up some 20 times or
/// more in a run of the usual length, so that none is missed by chance.
const QString mustBeMet[] = {
    u"statusText=Accessibility access is needed to paste."_s,
    u"statusText=Accessibility access is still not active."_s,
    u"statusText=Copied transcript. Enable Accessibility to auto-paste."_s,
    u"statusText=Copied translation. Enable Accessibility to auto-paste."_s,
    u"statusText=Could not register Cmd K."_s,
    u"statusText=Finishing transcription..."_s,
    u"statusText=Hotkey unchanged."_s,
    u"statusText=Hotkey updated to Cmd K."_s,
    u"statusText=Inserted transcript."_s,
    u"statusText=Inserted translation."_s,
    u"statusText=Kazakh uses OpenAI Natural."_s,
    u"statusText=Language pair updated."_s,
    u"statusText=Listening..."_s,
    u"statusText=No speech recognized."_s,
    u"statusText=Not inserted: the clipboard was taken."_s,
    u"statusText=OpenAI Natural uses your backend; no local model download needed."_s,
    u"statusText=Pasting..."_s,
    u"statusText=Preparing translation models..."_s,
    u"statusText=Press a shortcut with Ctrl, Option, or Cmd."_s,
    u"statusText=Requesting microphone and speech access..."_s,
    u"statusText=Same language selected; no translation model needed."_s,
    u"statusText=Same language selected; pasting transcript."_s,
    u"statusText=Speech failed: Microphone permission was denied."_s,
    u"statusText=Speech failed: No microphone input format is available."_s,
    u"statusText=Speech failed: Speech recognition permission was denied."_s,
    u"statusText=Speech failed: Speech recognizer does not support en-US."_s,
    u"statusText=Speech failed: Speech recognizer is unavailable for en-US."_s,
    u"statusText=Speech failed: The device is in use."_s,
    u"statusText=Speech failed: The operation was abandoned."_s,
    u"statusText=Translating locally..."_s,
    u"statusText=Translating with OpenAI..."_s,
    u"statusText=Translation failed: A translation is already running."_s,
    u"statusText=Translation failed: Connection refused."_s,
    u"statusText=Translation failed: Enter your own Backend URL, or choose languages that Apple Local can "
    u"translate. Connection refused."_s,
    u"statusText=Translation failed: OpenAI backend endpoint is invalid."_s,
    u"statusText=Translation failed: The engine broke."_s,
    u"statusText=Translation failed: The operation was abandoned."_s,
    u"statusText=Translation failed: "
    "The subscription token holds a line break or another control character. Enter it again."_s,
    u"statusText=Translation models are ready."_s,
    u"statusText=Translation setup failed: No model."_s,
    u"statusText=Use Ctrl, Option, or Cmd with another key."_s,
    u"activate nameless"_s,
    u"http prepare https://my.example/t"_s,
    u"pasteboard.restore 2"_s,
    u"keychain.add com.local.Quillora deviceIdentifier"_s,
    u"keychain.remove com.local.Cobaltwhisk openAIClientToken"_s,
    u"keystrokes.prompt"_s,
    u"notifications.show Dictation ended early"_s,
};

PasteboardItem pasteboardItem(const QStringList &data, const QStringList &strings) {
    PasteboardItem item;
    for (const QString &type : data)
        item.setData("bytes of " + type.toUtf8(), type);
    for (const QString &type : strings)
        item.setString(u"text of "_s + type, type);
    return item;
}

/// One way through what can happen to a controller.
class Walk {
public:
    using Order = StateTables::Order;

    Walk(quint32 seed, Order order, QSet<QString> &met)
        : m_order(order), m_random(seed), m_met(met), m_tables(order) {
        m_platform.permissions.replies = FakeSpeechPermissions::Replies::byHand;
        m_platform.translation.replies = FakeTranslators::Replies::byHand;
        m_platform.http.repliesByHand = true;
        m_platform.speech.locales = {u"en-US"_s, u"es-ES"_s, u"ru-RU"_s, u"kk-KZ"_s, u"sv-SE"_s};
        m_platform.pasteboardFake.unreadableTypes = {u"unreadable"_s};
        for (const auto &[name, identifier] : {std::pair(u"editor"_s, std::optional(u"editor"_s)),
                                               {u"browser"_s, u"browser"_s},
                                               {u"nameless"_s, std::nullopt},
                                               {u"panel"_s, u"Quillora"_s}}) {
            m_applications.push_back(m_platform.workspaceFake.launch(name, identifier));
        }
        arrange();
        m_controller = std::make_unique<AppController>();
        m_host = std::make_unique<TranslationHostView>(m_controller->translationBridge());
        connectShell();
        m_published = published();
    }

    ~Walk() {
        m_host.reset();
        m_controller.reset();
        m_platform.run();
    }

    /// Does something; says what.
    QString step() {
        const QString event = choose();
        m_isSettled = false;
        // Sometimes what was posted has not run yet when the next thing happens.
        switch (m_random.bounded(4)) {
        case 0:
            break;
        case 1:
            m_platform.queue.runOne();
            return event + u", one turn"_s;
        default:
            m_platform.run();
            m_isSettled = true;
            return event + u", settled"_s;
        }
        return event;
    }

    /// Looks at what has happened since the last time.
    void look() {
        for (size_t place = 0; place < propertyNames.size(); ++place)
            publish(unnoticed, place);
        const QStringList happened = m_platform.log.take();
        if (m_brokenRule.isNull())
            m_brokenRule = m_tables.broken(happened, *m_controller, m_platform, m_isSettled);
        for (const QString &line : happened) {
            m_met.insert(line);
            if (line.startsWith(unnoticed))
                breakRule(u"every change is published: %1"_s.arg(line));
        }
    }

    /// The first rule that was broken; null if none was.
    const QString &brokenRule() const { return m_brokenRule; }

    /// The controller goes, with whatever it was doing, and everybody who was asked answers after it.
    void end() {
        static const QRegularExpression givesPasteboardBack(u"^pasteboard\\.restore "_s);
        static const QRegularExpression mayFollowTheEnd(
            u"^(microphone\\.|recognition\\.|keystrokes\\.paste$|pasteboard\\.restore )"_s);
        const bool wasOpen = m_platform.microphoneFake.isCapturing();
        const bool owesPasteboard = m_controller->hasPendingPasteboardRestore();
        m_host.reset();
        m_controller.reset();
        for (const auto &reply : std::exchange(m_platform.permissions.speechRecognitionReplies, {}))
            reply(true);
        for (const auto &reply : std::exchange(m_platform.permissions.microphoneReplies, {}))
            reply(true);
        for (const auto &pending : std::exchange(m_platform.translation.pendingPreparations, {}))
            pending.resume(true);
        for (const auto &pending : std::exchange(m_platform.translation.pendingTranslations, {}))
            pending.resume(u"late"_s);
        for (const auto &pending : std::exchange(m_platform.http.pending, {}))
            pending.resume({true, 200, R"({"translation":"late"})"});
        for (const auto &recognition : m_platform.speech.recognitions)
            recognition->handler(platform::RecognitionResult{u"late"_s, true}, {});
        m_platform.keychainAvailabilityFake.becomeAvailable();
        m_platform.workspaceFake.notify(m_applications.front());
        m_platform.queue.advance(std::chrono::seconds(5));
        const QStringList calls = m_platform.log.take();
        if (wasOpen && !calls.contains(u"microphone.stop"_s))
            breakRule(u"the microphone does not stay open at the end"_s);
        if (owesPasteboard != !calls.filter(givesPasteboardBack).isEmpty())
            breakRule(u"a paste that was begun gives the pasteboard back: %1"_s.arg(calls.join(u", ")));
        for (const QString &call : calls) {
            if (!mayFollowTheEnd.match(call).hasMatch())
                breakRule(u"nothing else happens after the end: "_s + call);
        }
    }

private:
    struct Event {
        int weight;
        QString (Walk::*happen)(); ///< null where it cannot happen now
    };
    static std::span<const Event> events();

    bool oneIn(int n) { return m_random.bounded(n) == 0; }
    template <typename List>
    auto &oneOf(List &list) {
        return *(std::begin(list) + m_random.bounded(int(std::size(list))));
    }

    // Before the start.

    void arrange() {
        const auto setDefault = [this](const QString &key, const QStringList &values) {
            if (!oneIn(3))
                return;
            m_platform.defaults.values[key] = oneOf(values);
        };
        setDefault(u"sourceLocaleIdentifier"_s, sources());
        setDefault(u"targetLanguageIdentifier"_s, targets());
        setDefault(u"translationEngineIdentifier"_s, engines());
        setDefault(u"openAIEndpointString"_s, endpoints());
        setDefault(u"hotKey"_s, {u"40:256"_s, u"53:0"_s, u"49"_s});
        if (oneIn(3))
            changeKeychain();
        if (oneIn(8))
            m_platform.workspaceFake.ownIdentifier = std::nullopt;
        if (oneIn(6))
            comeOrGo(keychainFault); // the others show only later
        if (!oneIn(8))
            m_platform.workspaceFake.frontmost = oneIn(4) ? oneOf(m_applications) : m_applications.front();
        copySomething();
    }

    void connectShell() {
        m_controller->onStateChanged = [this] {
            m_platform.log.add(u"onStateChanged recording=%1 processing=%2"_s.arg(m_controller->isRecording())
                                   .arg(m_controller->isProcessing()));
        };
        m_controller->onNeedsAttention = [this] { m_platform.log.add(u"onNeedsAttention"_s); };
        if (!oneIn(8)) {
            m_controller->onHotKeyChangeRequested = [this](const AppHotKey &hotKey) {
                m_platform.log.add(u"onHotKeyChangeRequested "_s + hotKey.storageValue());
                return !oneIn(4);
            };
        }
        onAnyChange(*m_controller, [this](size_t place) { publish({}, place); });
    }

    // What is looked at.

    /// Everything that the controller publishes, in the order of `propertyNames`.
    using Published = std::array<QString, 12>;
    static constexpr std::array propertyNames{"sourceLocaleIdentifier",
                                              "targetLanguageIdentifier",
                                              "translationEngineIdentifier",
                                              "openAIEndpointString",
                                              "openAIClientToken",
                                              "isRecording",
                                              "isProcessing",
                                              "statusText",
                                              "transcriptText",
                                              "translatedText",
                                              "hotKey",
                                              "isRecordingHotKey"};

    static const QString &text(bool value) {
        static const QString yes = u"yes"_s;
        static const QString no = u"no"_s;
        return value ? yes : no;
    }

    Published published() const {
        const auto &c = *m_controller;
        return {c.sourceLocaleIdentifier(),
                c.targetLanguageIdentifier(),
                c.translationEngineIdentifier(),
                c.openAIEndpointString(),
                c.openAIClientToken(),
                text(c.isRecording()),
                text(c.isProcessing()),
                c.statusText(),
                c.transcriptText(),
                c.translatedText(),
                c.hotKey().storageValue(),
                text(c.isRecordingHotKey())};
    }

    /// Writes down, among the calls, whether that value has changed.
    void publish(const QString &prefix, size_t place) {
        const QString now = published()[place];
        if (now != m_published[place])
            m_platform.log.add(prefix + QString::fromLatin1(propertyNames[place]) + u'=' + now);
        m_published[place] = now;
    }

    void breakRule(const QString &rule) {
        if (m_brokenRule.isNull())
            m_brokenRule = rule;
    }

    // What is chosen from.

    static const QStringList &sources() {
        static const QStringList ids{u"en-US"_s, u"en-US"_s, u"en-US"_s, u"ru-RU"_s,
                                     u"kk-KZ"_s, u"es-ES"_s, u"xx-XX"_s};
        return ids;
    }
    static const QStringList &targets() {
        static const QStringList ids{u"es"_s, u"es"_s, u"en"_s, u"ru"_s, u"kk"_s, u"nl"_s, u"tlh"_s};
        return ids;
    }
    static const QStringList &engines() {
        static const QStringList ids{u"appleLocal"_s, u"openAINatural"_s, u"wizardry"_s};
        return ids;
    }
    static const QStringList &hotKeys() {
        static const QStringList values{u"49:6144"_s, u"40:256"_s, u"122:6656"_s, u"0:512"_s, u"53:0"_s};
        return values;
    }
    static const QStringList &endpoints() {
        static const QStringList texts{u"https://my.example/t"_s,
                                       u"  https://my.example/t \n"_s,
                                       u"http://127.0.0.1:8787/v1/translate"_s,
                                       u"ftp://files.example/t"_s,
                                       u"my.example:8787/v1/translate"_s,
                                       u" "_s};
        return texts;
    }
    static const QStringList &tokens() {
        static const QStringList texts{u"s3cret"_s,     u" s3cret \n"_s, u"gr\u00fcn"_s,
                                       u"two\nlines"_s, u" "_s,          u""_s};
        return texts;
    }

    template <typename List>
    auto takeFirst(List &list) {
        auto first = std::move(list.front());
        list.pop_front();
        return first;
    }

    QString choose() {
        static const int total = [] {
            int sum = 0;
            for (const auto &event : events())
                sum += event.weight;
            return sum;
        }();
        for (;;) {
            int ticket = m_random.bounded(total);
            auto event = events().begin();
            while ((ticket -= event->weight) >= 0)
                ++event;
            if (const QString what = (this->*event->happen)(); !what.isNull())
                return what;
        }
    }

    // What the user does.

    /// Whether the user waits for a start to show how it has gone.
    bool isPatient() const { return m_order == Order::oneByOne && m_tables.isStarting(); }

    /// While a hotkey is captured, the one that is registered does nothing.
    void expectNothingDuringCapture(bool isCapture, qsizetype callsBefore) {
        if (isCapture && m_platform.log.calls().size() != callsBefore)
            breakRule(u"a hotkey that is captured does nothing else"_s);
    }

    QString press() {
        if (isPatient())
            return {};
        const bool isCapture = m_controller->isRecordingHotKey();
        const auto callsBefore = m_platform.log.calls().size();
        m_controller->hotKeyPressed();
        expectNothingDuringCapture(isCapture, callsBefore);
        return u"press"_s;
    }
    QString release() {
        const bool isCapture = m_controller->isRecordingHotKey();
        const auto callsBefore = m_platform.log.calls().size();
        m_controller->hotKeyReleased();
        expectNothingDuringCapture(isCapture, callsBefore);
        return u"release"_s;
    }
    QString toggle() {
        if (isPatient())
            return {};
        m_controller->toggleRecording();
        return u"toggle"_s;
    }
    QString startCapture() {
        m_controller->startHotKeyRecording();
        return u"start capture"_s;
    }
    QString cancelCapture() {
        m_controller->cancelHotKeyRecording();
        return u"cancel capture"_s;
    }
    QString rejectHotKey() {
        m_controller->rejectRecordedHotKey();
        return u"reject hotkey"_s;
    }
    QString setHotKey() {
        const QString &value = oneOf(hotKeys());
        m_controller->setRecordedHotKey(*AppHotKey::fromStorageValue(value));
        return u"hotkey "_s + value;
    }
    QString resetHotKey() {
        m_controller->resetHotKey();
        return u"reset hotkey"_s;
    }
    QString prepareModels() {
        if (isPatient())
            return {};
        m_controller->prepareTranslationModels();
        return u"prepare"_s;
    }
    QString pasteLast() {
        m_controller->pasteLastTranslation();
        return u"paste last"_s;
    }
    QString requestAccessibility() {
        m_controller->requestAccessibilityIfNeeded();
        return u"request accessibility"_s;
    }
    QString refreshAccessibility() {
        m_controller->refreshAccessibilityStatus();
        return u"refresh accessibility"_s;
    }
    QString chooseSource() {
        const QString &id = oneOf(sources());
        m_controller->setSourceLocaleIdentifier(id);
        return u"source "_s + id;
    }
    QString chooseTarget() {
        const QString &id = oneOf(targets());
        m_controller->setTargetLanguageIdentifier(id);
        return u"target "_s + id;
    }
    QString chooseEngine() {
        const QString &id = oneOf(engines());
        m_controller->setTranslationEngineIdentifier(id);
        return u"engine "_s + id;
    }
    QString typeEndpoint() {
        const QString &text = oneOf(endpoints());
        m_controller->setOpenAIEndpointString(text);
        return u"endpoint [%1]"_s.arg(text);
    }
    QString typeToken() {
        const QString &text = oneOf(tokens());
        m_controller->setOpenAIClientToken(text);
        return u"token [%1]"_s.arg(text);
    }
    QString swap() {
        m_controller->swapLanguages();
        return u"swap"_s;
    }

    // What the platform answers.

    QString answerAuthorization() {
        if (m_platform.permissions.speechRecognitionReplies.empty())
            return {};
        const auto reply = takeFirst(m_platform.permissions.speechRecognitionReplies);
        if (oneIn(10)) {
            return u"authorization abandoned"_s; // `reply` goes, and with it whoever could answer
        }
        const bool isDenied = oneIn(8);
        reply(!isDenied);
        return isDenied ? u"authorization denied"_s : u"authorized"_s;
    }

    QString answerMicrophone() {
        if (m_platform.permissions.microphoneReplies.empty())
            return {};
        const auto reply = takeFirst(m_platform.permissions.microphoneReplies);
        if (oneIn(10)) {
            return u"microphone abandoned"_s;
        }
        const bool isDenied = oneIn(8);
        reply(!isDenied);
        return isDenied ? u"microphone denied"_s : u"microphone granted"_s;
    }

    QString deliver() {
        const auto &recognitions = m_platform.speech.recognitions;
        if (recognitions.empty())
            return {};
        // An old recognition may have something left to say too.
        const auto &recognition = oneIn(4) ? oneOf(recognitions) : recognitions.back();
        const QString text = oneIn(4) ? u" \n"_s : u" word %1 "_s.arg(m_random.bounded(100));
        const int kind = m_random.bounded(4);
        const bool hasText = kind != 1;
        const bool isFinal = kind == 0 || (kind == 2 && oneIn(2));
        const bool isError = kind == 1 || kind == 2;
        using Result = std::optional<platform::RecognitionResult>;
        recognition->handler(hasText ? Result({text, isFinal}) : Result(),
                             isError ? std::optional(LocalizedError(u"broken"_s)) : std::nullopt);
        return u"result [%1]%2%3"_s.arg(hasText ? text : QString(), isFinal ? u" final"_s : QString(),
                                        isError ? u" error"_s : QString());
    }

    QString captureDies() {
        if (!m_platform.microphoneFake.isCapturing())
            return {};
        m_platform.microphoneFake.die(u"The microphone was disconnected."_s);
        return u"the capture dies"_s;
    }

    QString answerPreparation() {
        auto &pendings = m_platform.translation.pendingPreparations;
        if (pendings.empty())
            return {};
        const auto pending = takeFirst(pendings);
        switch (m_random.bounded(8)) {
        case 0:
            pending.fail(std::make_exception_ptr(LocalizedError(u"No model."_s)));
            return u"preparation failed"_s;
        case 1:
            return u"preparation abandoned"_s;
        default:
            pending.resume(true);
            return u"prepared"_s;
        }
    }

    QString answerTranslation() {
        auto &pendings = m_platform.translation.pendingTranslations;
        if (pendings.empty())
            return {};
        const auto pending = takeFirst(pendings);
        switch (m_random.bounded(8)) {
        case 0:
            pending.fail(std::make_exception_ptr(LocalizedError(u"The engine broke."_s)));
            return u"translation failed"_s;
        case 1:
            return u"translation abandoned"_s;
        default:
            const QString text = oneIn(4) ? u" \n"_s : u" palabra %1"_s.arg(m_random.bounded(100));
            pending.resume(text);
            return u"translated [%1]"_s.arg(text);
        }
    }

    QString answerHosted() {
        if (m_platform.http.pending.empty())
            return {};
        const auto pending = takeFirst(m_platform.http.pending);
        switch (m_random.bounded(8)) {
        case 0:
            pending.fail(std::make_exception_ptr(LocalizedError(u"Connection refused."_s)));
            return u"no connection to the backend"_s;
        case 1:
            return u"request abandoned"_s;
        default:
            const auto &answer = oneIn(2) ? hostedAnswers[0] : oneOf(hostedAnswers);
            const QString number = QString::number(m_random.bounded(100));
            const auto filled = [&number](const char *text) {
                return QString::fromUtf8(text).replace(u"%1"_s, number);
            };
            pending.resume({answer.isHttp, answer.status, filled(answer.body).toUtf8()});
            return u"the backend answers %1 %2"_s.arg(answer.status).arg(filled(answer.body));
        }
    }

    // What happens around.

    QString advance() {
        const int duration = std::array{10, 150, 800, 1500}[m_random.bounded(4U)];
        m_platform.queue.advance(std::chrono::milliseconds(duration));
        return u"%1 ms pass"_s.arg(duration);
    }

    QString faultComesOrGoes() { return comeOrGo(m_random.bounded(quint32(std::size(faults)))); }

    QString comeOrGo(size_t index) {
        const bool isThere = m_isFaulty[index] = !m_isFaulty[index];
        faults[index].set(m_platform, isThere);
        return QString::fromLatin1(faults[index].name) + (isThere ? u" fails"_s : u" works"_s);
    }

    QString comeToFront() {
        if (oneIn(5)) {
            m_platform.workspaceFake.bringToFront(nullptr);
            return u"nothing in front"_s;
        }
        const auto &application = oneOf(m_applications);
        if (application->hasEnded)
            return {};
        if (oneIn(3)) {
            m_platform.workspaceFake.frontmost = application;
            return application->name() + u" in front without a word"_s;
        }
        m_platform.workspaceFake.bringToFront(application);
        return application->name() + u" in front"_s;
    }

    QString endOrRestartApplication() {
        const auto &application = oneOf(m_applications);
        const bool hasEnded = !application->hasEnded;
        application->hasEnded = hasEnded;
        if (hasEnded && m_platform.workspaceFake.frontmost == application)
            m_platform.workspaceFake.frontmost = nullptr;
        return application->name() + (hasEnded ? u" ends"_s : u" starts again"_s);
    }

    QString copySomething() {
        const Contents contents[] = {
            {},
            {pasteboardItem({u"text/html"_s, u"image/png"_s}, {u"text/plain;charset=utf-8"_s})},
            {pasteboardItem({u"a"_s, u"unreadable"_s}, {u"b"_s}), pasteboardItem({}, {u"c"_s})},
            {pasteboardItem({u"unreadable"_s}, {}), pasteboardItem({}, {})},
        };
        m_platform.pasteboardFake.contents = oneOf(contents);
        return u"%1 items copied"_s.arg(m_platform.pasteboardFake.contents.size());
    }

    QString changeKeychain() {
        const std::pair key{oneIn(2) ? u"com.local.Quillora"_s : u"com.local.Cobaltwhisk"_s,
                            oneIn(2) ? u"openAIClientToken"_s : u"deviceIdentifier"_s};
        static const QByteArrayList values{"stored", "other", "", "\xff"};
        if (oneIn(4)) {
            m_platform.keychainFake.items.erase(key);
            return u"%1 %2 leaves the keychain"_s.arg(key.first, key.second);
        }
        const QByteArray &value = oneOf(values);
        m_platform.keychainFake.items[key].data = value;
        return u"%1 %2 in the keychain becomes [%3]"_s.arg(key.first, key.second, QString::fromUtf8(value));
    }

    QString noticeKeychain() {
        m_platform.keychainAvailabilityFake.becomeAvailable();
        return u"keychain available"_s;
    }

    const Order m_order;
    QRandomGenerator m_random;
    QSet<QString> &m_met;
    FakePlatform m_platform;
    StateTables m_tables;
    QString m_brokenRule;
    bool m_isSettled = false;
    std::vector<std::shared_ptr<FakeRunningApplication>> m_applications;
    std::unique_ptr<AppController> m_controller;
    std::unique_ptr<TranslationHostView> m_host;
    Published m_published;
    std::array<bool, std::size(faults)> m_isFaulty{};
};

std::span<const Walk::Event> Walk::events() {
    static constexpr Event all[] = {
        {12, &Walk::press},
        {12, &Walk::release},
        {6, &Walk::toggle},
        {14, &Walk::answerAuthorization},
        {14, &Walk::answerMicrophone},
        {14, &Walk::deliver},
        {3, &Walk::captureDies},
        {12, &Walk::answerPreparation},
        {10, &Walk::answerTranslation},
        {14, &Walk::answerHosted},
        {8, &Walk::advance},
        {4, &Walk::faultComesOrGoes},
        {3, &Walk::pasteLast},
        {2, &Walk::prepareModels},
        {2, &Walk::startCapture},
        {3, &Walk::cancelCapture},
        {1, &Walk::rejectHotKey},
        {2, &Walk::setHotKey},
        {1, &Walk::resetHotKey},
        {1, &Walk::requestAccessibility},
        {1, &Walk::refreshAccessibility},
        {2, &Walk::chooseSource},
        {3, &Walk::chooseTarget},
        {3, &Walk::chooseEngine},
        {2, &Walk::typeEndpoint},
        {2, &Walk::typeToken},
        {2, &Walk::swap},
        {7, &Walk::comeToFront},
        {1, &Walk::endOrRestartApplication},
        {2, &Walk::copySomething},
        {1, &Walk::changeKeychain},
        {2, &Walk::noticeKeychain},
    };
    return all;
}

} // namespace

/// Everything that a user can do, everything that a platform can answer, and time, in any order, while each
/// service fails and recovers at random. After the start-up and after every step no rule of the state tables
/// is broken, which know what holds always and not what comes next, and nothing that is published has changed
/// without a word. In half of the sequences the user does one thing after the other, so that all of the rules
/// hold to the end there.
///
/// The controller's end comes at a random moment: from then on nothing happens but that the microphone is let
/// go and a paste that was begun gives the pasteboard back, whoever answers late.
class DictationWalkTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Each run takes other ways. The same ones again: DICTATION_WALK_SEED=<seed>, the first of so many
    /// sequences: DICTATION_WALK_LENGTH=<number>.
    void initTestCase() {
        const quint32 firstSeed =
            fromEnvironment("DICTATION_WALK_SEED", QRandomGenerator::system()->generate());
        m_sequenceCount = fromEnvironment("DICTATION_WALK_LENGTH", usualSequenceCount);
        qInfo("DICTATION_WALK_SEED=%u DICTATION_WALK_LENGTH=%u", firstSeed, m_sequenceCount);
        qint64 steps = 0;
        for (quint32 sequence = 0; sequence < m_sequenceCount; ++sequence)
            steps += walk(firstSeed + sequence);
        qInfo("%lld steps", static_cast<long long>(steps));
    }

    void everySequenceKeepsToTheTables() { QVERIFY2(m_brokenRule.isNull(), qPrintable(m_brokenRule)); }

    void theWalkMeetsWhatItIsWorthlessWithout() {
        if (m_sequenceCount < usualSequenceCount)
            QSKIP("so short a walk need not meet everything");
        for (const QString &line : mustBeMet)
            QVERIFY2(m_met.contains(line), qPrintable(u"never met: "_s + line));
    }

private:
    /// One sequence; says how many steps it had.
    int walk(quint32 seed) {
        Walk walk(seed, seed % 2 == 0 ? StateTables::Order::oneByOne : StateTables::Order::anyhow, m_met);
        QStringList history{u"start-up"_s};
        const auto look = [&] { note(m_brokenRule, walk.brokenRule(), seed, history); };
        walk.look();
        look();
        QRandomGenerator lengths(~seed);
        const int length = lengths.bounded(1, longestSequence);
        for (int step = 0; step < length; ++step) {
            history += walk.step();
            walk.look();
            look();
        }
        history += u"the controller ends"_s;
        walk.end();
        look();
        return length;
    }

    /// Keeps what is found first, and the way to it.
    static void note(QString &first, const QString &found, quint32 seed, const QStringList &history) {
        if (first.isNull() && !found.isNull())
            first = u"DICTATION_WALK_SEED=%1 DICTATION_WALK_LENGTH=1: %2\nafter:\n    %3"_s.arg(seed).arg(
                found, history.join(u"\n    "));
    }

    static quint32 fromEnvironment(const char *name, quint32 otherwise) {
        bool isNumber = false;
        const quint32 number = qEnvironmentVariable(name).toUInt(&isNumber);
        return isNumber ? number : otherwise;
    }

    quint32 m_sequenceCount = 0;
    QSet<QString> m_met;
    QString m_brokenRule;
};

QTEST_GUILESS_MAIN(DictationWalkTest)
#include "DictationWalkTest.moc"
