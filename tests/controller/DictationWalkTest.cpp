#include "controller/AnyChange.h"
#include "controller/DictationOracle.h"
#include "controller/StateTables.h"
#include "fakes/FakePlatform.h"
#include "translation/TranslationHostView.h"

#include <QJsonDocument>
#include <QJsonObject>
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

using Contents = std::vector<PasteboardItem>;

/// A fault that comes and goes, in both worlds.
struct Fault {
    const char *name;
    void (*set)(FakePlatform &platform, DictationOracle &oracle, bool isThere);
};

const Fault faults[] = {
    {"keychain", [](auto &p, auto &o, bool is) { p.keychainFake.isBroken = o.isKeychainBroken = is; }},
    {"trust", [](auto &p, auto &o, bool is) { p.keystrokesFake.isTrustGranted = o.isTrusted = !is; }},
    {"pasteboard", [](auto &p, auto &o, bool is) { p.pasteboardFake.refusesWrites = o.refusesWrites = is; }},
    {"paste chord", [](auto &p, auto &o, bool is) { p.keystrokesFake.refusesChords = o.refusesChords = is; }},
    {"making a recognizer",
     [](auto &p, auto &o, bool is) {
         p.speech.makesNoRecognizer = is;
         o.canMakeRecognizer = !is;
     }},
    {"recognizer", [](auto &p, auto &o, bool is) { p.speech.isAvailable = o.isRecognizerAvailable = !is; }},
    {"microphone",
     [](auto &p, auto &o, bool is) {
         p.microphoneFake.inputFormat.channelCount = (o.hasChannels = !is) ? 1 : 0;
     }},
    {"sound server",
     [](auto &p, auto &o, bool is) {
         o.canCapture = !is;
         p.microphoneFake.startError = is ? std::optional(u"The device is in use."_s) : std::nullopt;
     }},
    {"adding to the keychain",
     [](auto &p, auto &o, bool is) { p.keychainFake.refusesAdditions = o.keychainRefusesAdditions = is; }},
    {"activation",
     [](auto &p, auto &o, bool is) { p.workspaceFake.refusesActivation = o.refusesActivation = is; }},
    {"hotkey registration", [](auto &, auto &o, bool is) { o.refusesHotKeys = is; }},
};

constexpr size_t keychainFault = 0;

/// What the backend may answer, and what it comes to; "%1" stands for the number of the answer.
struct HostedAnswer {
    bool isHttp;
    int status;
    const char *body;
    const char *text; ///< null if the answer is a failure
    const char *failure;
};

constexpr HostedAnswer hostedAnswers[] = {
    {true, 200, R"({"translation":"hola %1"})", "hola %1", nullptr},
    {true, 200, R"({"translation":" hola %1 \n"})", "hola %1", nullptr},
    {true, 299, R"({"translation":"hola %1","more":1})", "hola %1", nullptr},
    {true, 200, R"({"translation":" \n"})", nullptr, "OpenAI backend returned an empty translation."},
    {true, 200, R"({"result":"hola"})", nullptr, R"(The backend's answer holds no "translation".)"},
    {true, 200, R"({"translation":7})", nullptr,
     R"(The backend's answer holds a "translation" that is not a text.)"},
    {true, 200, R"(["hola"])", nullptr, "The backend's answer is not a JSON object."},
    {true, 200, "<html>", nullptr, "The backend's answer is not valid JSON."},
    {true, 204, "", nullptr, "The backend's answer is empty."},
    {true, 199, R"({"translation":"hola"})", nullptr, "Translation backend returned HTTP 199."},
    {true, 300, R"({"translation":"hola"})", nullptr, "Translation backend returned HTTP 300."},
    {true, 401, R"({"error":"Who are you?"})", nullptr, "Who are you?"},
    {true, 500, R"({"error":""})", nullptr, ""},
    {true, 502, "<html>", nullptr, "Translation backend returned HTTP 502."},
    {false, 0, R"({"translation":"hola"})", nullptr, "OpenAI backend returned an invalid response."},
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

QStringList rendered(const PasteboardItem &item) {
    QStringList values;
    for (const auto &r : item.representations())
        values += r.type + (r.isString ? u'~' + r.string : u'=' + QString::fromUtf8(r.data));
    return values;
}

QList<QStringList> rendered(const Contents &contents) {
    QList<QStringList> items;
    for (const auto &item : contents)
        items += rendered(item);
    return items;
}

PasteboardItem pasteboardItem(const QStringList &data, const QStringList &strings) {
    PasteboardItem item;
    for (const QString &type : data)
        item.setData("bytes of " + type.toUtf8(), type);
    for (const QString &type : strings)
        item.setString(u"text of "_s + type, type);
    return item;
}

/// The real controller and the oracle, side by side: every event happens to both.
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
            m_applications.push_back({m_platform.workspaceFake.launch(name, identifier),
                                      std::make_shared<DictationOracle::Application>(
                                          DictationOracle::Application{name, identifier})});
        }
        arrange();
        m_controller = std::make_unique<AppController>();
        m_host = std::make_unique<TranslationHostView>(m_controller->translationBridge());
        m_oracle.startUp();
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
            m_oracle.runOne();
            return event + u", one turn"_s;
        default:
            m_platform.run();
            m_oracle.run();
            m_isSettled = true;
            return event + u", settled"_s;
        }
        return event;
    }

    /// Looks at what has happened since the last time.
    void look() {
        for (size_t place = 0; place < propertyNames.size(); ++place)
            publish(u"unnoticed "_s, place);
        const QStringList happened = m_platform.log.take();
        if (m_brokenRule.isNull())
            m_brokenRule = m_tables.broken(happened, *m_controller, m_platform, m_isSettled);
        compare(happened);
    }

    /// The first rule of the state tables that was broken, and the first thing that the oracle would have had
    /// otherwise; null if there is none. Neither keeps the walk from going on, so that one does not hide the
    /// other.
    const QString &brokenRule() const { return m_brokenRule; }
    const QString &difference() const { return m_difference; }

    /// The controller goes, with whatever it was doing, and everybody who was asked answers after it.
    void end() {
        const bool wasOpen = m_platform.microphoneFake.isCapturing();
        m_host.reset();
        m_controller.reset();
        m_oracle.end();
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
        m_platform.workspaceFake.notify(m_applications.front().real);
        m_platform.queue.advance(std::chrono::seconds(5));
        m_oracle.advance(5000);
        QStringList calls = m_platform.log.take();
        if (wasOpen && !calls.contains(u"microphone.stop"_s) && m_brokenRule.isNull())
            m_brokenRule = u"the microphone does not stay open at the end"_s;
        calls.removeIf([](const QString &call) {
            return call.startsWith(u"microphone.") || call.startsWith(u"recognition.");
        });
        compare(calls);
    }

private:
    struct Event {
        int weight;
        QString (Walk::*happen)(); ///< null where it cannot happen now
    };
    static std::span<const Event> events();

    struct Application {
        std::shared_ptr<FakeRunningApplication> real;
        DictationOracle::ApplicationHandle expected;
    };

    bool oneIn(int n) { return m_random.bounded(n) == 0; }
    template <typename List>
    auto &oneOf(List &list) {
        return *(std::begin(list) + m_random.bounded(int(std::size(list))));
    }

    // The two worlds before the start.

    void arrange() {
        const auto setDefault = [this](const QString &key, const QStringList &values) {
            if (!oneIn(3))
                return;
            m_oracle.defaults[key] = m_platform.defaults.values[key] = oneOf(values);
        };
        setDefault(u"sourceLocaleIdentifier"_s, sources());
        setDefault(u"targetLanguageIdentifier"_s, targets());
        setDefault(u"translationEngineIdentifier"_s, engines());
        setDefault(u"openAIEndpointString"_s, endpoints());
        setDefault(u"hotKey"_s, {u"40:256"_s, u"53:0"_s, u"49"_s});
        if (oneIn(3))
            changeKeychain();
        if (oneIn(8))
            m_oracle.ownIdentifier = m_platform.workspaceFake.ownIdentifier = std::nullopt;
        if (oneIn(6))
            comeOrGo(keychainFault); // the others show only later
        m_oracle.hasRegistrar = !oneIn(8);
        if (!oneIn(8))
            setInFront(oneIn(4) ? oneOf(m_applications) : m_applications.front());
        copySomething();
    }

    void connectShell() {
        m_controller->onStateChanged = [this] {
            m_platform.log.add(u"onStateChanged recording=%1 processing=%2"_s.arg(m_controller->isRecording())
                                   .arg(m_controller->isProcessing()));
        };
        m_controller->onNeedsAttention = [this] { m_platform.log.add(u"onNeedsAttention"_s); };
        if (m_oracle.hasRegistrar) {
            m_controller->onHotKeyChangeRequested = [this](const AppHotKey &hotKey) {
                m_platform.log.add(u"onHotKeyChangeRequested "_s + hotKey.storageValue());
                return !m_oracle.refusesHotKeys;
            };
        }
        onAnyChange(*m_controller, [this](size_t place) { publish({}, place); });
    }

    // What is compared.

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

    Published wantedValues() const {
        const auto &o = m_oracle;
        return {o.source,
                o.target,
                o.engine,
                o.endpoint,
                o.token,
                text(o.isRecording),
                text(o.isProcessing),
                o.status,
                o.transcript,
                o.translated,
                o.hotKey.storageValue,
                text(o.isRecordingHotKey)};
    }

    /// Writes down, among the calls, whether that value has changed.
    void publish(const QString &prefix, size_t place) {
        const QString now = published()[place];
        if (now != m_published[place])
            m_platform.log.add(prefix + QString::fromLatin1(propertyNames[place]) + u'=' + now);
        m_published[place] = now;
    }

    /// Once the worlds have gone apart there is nothing to compare any more.
    void compare(const QStringList &happened) {
        if (m_difference.isNull())
            m_difference = differenceOf(happened);
        else
            m_oracle.log.clear();
    }

    QString differenceOf(const QStringList &actual) {
        const QStringList expected = std::exchange(m_oracle.log, {});
        if (actual != expected)
            return u"this happened:\n    %1\nthis should have:\n    %2"_s.arg(actual.join(u"\n    "),
                                                                              expected.join(u"\n    "));
        for (const QString &line : actual)
            m_met.insert(line);
        const Published wanted = wantedValues();
        for (size_t i = 0; i < wanted.size(); ++i) {
            if (m_published[i] != wanted[i])
                return u"%1 is [%2], should be [%3]"_s.arg(QString::fromLatin1(propertyNames[i]),
                                                           m_published[i], wanted[i]);
        }
        if (m_platform.defaults.values != m_oracle.defaults)
            return u"the stored settings differ"_s;
        if (!requestsAreAsExpected())
            return u"the last request to the backend differs"_s;
        if (!keychainIsAsExpected())
            return u"the keychain's items differ"_s;
        const auto contents = rendered(m_platform.pasteboardFake.contents);
        if (contents != m_oracle.pasteboard)
            return u"the pasteboard differs"_s;
        if (m_controller && m_controller->hasPendingPasteboardRestore() != (m_oracle.pendingRestores > 0))
            return u"whether the pasteboard is still to be given back differs"_s;
        return {};
    }

    /// Whether `actual` is what the oracle calls `expected`; which random identifier is meant by a "fresh"
    /// one shows at its first use.
    bool isMeantBy(const QString &expected, const QString &actual) {
        if (!expected.startsWith(u"fresh"))
            return actual == expected;
        static const QRegularExpression doubledUuid(
            u"^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$"_s);
        const auto known = m_fresh.find(expected);
        if (known != m_fresh.end())
            return actual == known->second;
        for (const auto &[name, identifier] : m_fresh) {
            if (identifier == actual)
                return false;
        }
        m_fresh[expected] = actual;
        return doubledUuid.match(actual).hasMatch();
    }

    bool requestsAreAsExpected() {
        const auto &actual = m_platform.http.requests;
        if (actual.size() != size_t(m_oracle.requests.size()))
            return false;
        for (; m_comparedRequests < actual.size(); ++m_comparedRequests) {
            const auto &request = actual[m_comparedRequests];
            auto expected = m_oracle.requests[qsizetype(m_comparedRequests)];
            const QString device = QString::fromUtf8(request.headers.constLast().second);
            if (!isMeantBy(expected.device, device))
                return false;
            QList<std::pair<QByteArray, QByteArray>> headers{{"Content-Type", "application/json"}};
            if (!expected.authorization.isNull())
                headers.emplaceBack("Authorization", expected.authorization.toUtf8());
            headers.emplaceBack("X-Quillora-Device-Id", device.toUtf8());
            headers.emplaceBack("X-Cobaltwhisk-Device-Id", device.toUtf8());
            const QJsonObject body{{u"text"_s, expected.text},
                                   {u"sourceLanguage"_s, expected.sourceLanguage},
                                   {u"targetLanguage"_s, expected.targetLanguage}};
            if (request.headers != headers || request.timeoutInterval != std::chrono::seconds(45) ||
                QJsonDocument::fromJson(request.body).object() != body)
                return false;
        }
        return true;
    }

    bool keychainIsAsExpected() {
        const auto &items = m_platform.keychainFake.items;
        return items.size() == m_oracle.keychain.size() &&
               std::ranges::equal(items, m_oracle.keychain, [this](const auto &actual, const auto &expected) {
                   return actual.first == expected.first &&
                          isMeantBy(QString::fromUtf8(expected.second),
                                    QString::fromUtf8(actual.second.data.value_or("none")));
               });
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
        if (isCapture && m_platform.log.calls().size() != callsBefore && m_brokenRule.isNull())
            m_brokenRule = u"a hotkey that is captured does nothing else"_s;
    }

    QString press() {
        if (isPatient())
            return {};
        const bool isCapture = m_controller->isRecordingHotKey();
        const auto callsBefore = m_platform.log.calls().size();
        m_controller->hotKeyPressed();
        expectNothingDuringCapture(isCapture, callsBefore);
        m_oracle.press();
        return u"press"_s;
    }
    QString release() {
        const bool isCapture = m_controller->isRecordingHotKey();
        const auto callsBefore = m_platform.log.calls().size();
        m_controller->hotKeyReleased();
        expectNothingDuringCapture(isCapture, callsBefore);
        m_oracle.release();
        return u"release"_s;
    }
    QString toggle() {
        if (isPatient())
            return {};
        m_controller->toggleRecording();
        m_oracle.toggle();
        return u"toggle"_s;
    }
    QString startCapture() {
        m_controller->startHotKeyRecording();
        m_oracle.startCapture();
        return u"start capture"_s;
    }
    QString cancelCapture() {
        m_controller->cancelHotKeyRecording();
        m_oracle.cancelCapture();
        return u"cancel capture"_s;
    }
    QString rejectHotKey() {
        m_controller->rejectRecordedHotKey();
        m_oracle.rejectHotKey();
        return u"reject hotkey"_s;
    }
    QString setHotKey() {
        const auto &hotKey = oneOf(DictationOracle::hotKeys());
        m_controller->setRecordedHotKey(*AppHotKey::fromStorageValue(hotKey.storageValue));
        m_oracle.setHotKey(hotKey);
        return u"hotkey "_s + hotKey.storageValue;
    }
    QString resetHotKey() {
        m_controller->resetHotKey();
        m_oracle.setHotKey(DictationOracle::hotKeys().first());
        return u"reset hotkey"_s;
    }
    QString prepareModels() {
        if (isPatient())
            return {};
        m_controller->prepareTranslationModels();
        m_oracle.prepareModels();
        return u"prepare"_s;
    }
    QString pasteLast() {
        m_controller->pasteLastTranslation();
        m_oracle.pasteLast();
        return u"paste last"_s;
    }
    QString requestAccessibility() {
        m_controller->requestAccessibilityIfNeeded();
        m_oracle.requestAccessibility();
        return u"request accessibility"_s;
    }
    QString refreshAccessibility() {
        m_controller->refreshAccessibilityStatus();
        m_oracle.refreshAccessibility();
        return u"refresh accessibility"_s;
    }
    QString chooseSource() {
        const QString &id = oneOf(sources());
        m_controller->setSourceLocaleIdentifier(id);
        m_oracle.chooseSource(id);
        return u"source "_s + id;
    }
    QString chooseTarget() {
        const QString &id = oneOf(targets());
        m_controller->setTargetLanguageIdentifier(id);
        m_oracle.chooseTarget(id);
        return u"target "_s + id;
    }
    QString chooseEngine() {
        const QString &id = oneOf(engines());
        m_controller->setTranslationEngineIdentifier(id);
        m_oracle.chooseEngine(id);
        return u"engine "_s + id;
    }
    QString typeEndpoint() {
        const QString &text = oneOf(endpoints());
        m_controller->setOpenAIEndpointString(text);
        m_oracle.typeEndpoint(text);
        return u"endpoint [%1]"_s.arg(text);
    }
    QString typeToken() {
        const QString &text = oneOf(tokens());
        m_controller->setOpenAIClientToken(text);
        m_oracle.typeToken(text);
        return u"token [%1]"_s.arg(text);
    }
    QString swap() {
        m_controller->swapLanguages();
        m_oracle.swap();
        return u"swap"_s;
    }

    // What the platform answers.

    QString answerAuthorization() {
        if (m_platform.permissions.speechRecognitionReplies.empty())
            return {};
        const auto reply = takeFirst(m_platform.permissions.speechRecognitionReplies);
        if (oneIn(10)) {
            m_oracle.answer(m_oracle.authorizations, u"The operation was abandoned."_s);
            return u"authorization abandoned"_s; // `reply` goes, and with it whoever could answer
        }
        const bool isDenied = oneIn(8);
        reply(!isDenied);
        m_oracle.answer(m_oracle.authorizations,
                        isDenied ? std::optional(u"Speech recognition permission was denied."_s)
                                 : std::nullopt);
        return isDenied ? u"authorization denied"_s : u"authorized"_s;
    }

    QString answerMicrophone() {
        if (m_platform.permissions.microphoneReplies.empty())
            return {};
        const auto reply = takeFirst(m_platform.permissions.microphoneReplies);
        if (oneIn(10)) {
            m_oracle.answer(m_oracle.microphones, u"The operation was abandoned."_s);
            return u"microphone abandoned"_s;
        }
        const bool isDenied = oneIn(8);
        reply(!isDenied);
        m_oracle.answer(m_oracle.microphones,
                        isDenied ? std::optional(u"Microphone permission was denied."_s) : std::nullopt);
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
        m_oracle.deliver(hasText ? std::optional(text) : std::nullopt, isFinal, isError);
        return u"result [%1]%2%3"_s.arg(hasText ? text : QString(), isFinal ? u" final"_s : QString(),
                                        isError ? u" error"_s : QString());
    }

    QString captureDies() {
        if (!m_platform.microphoneFake.isCapturing())
            return {};
        m_platform.microphoneFake.die(u"The microphone was disconnected."_s);
        m_oracle.captureDies();
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
            m_oracle.answer(m_oracle.preparations, u"No model."_s);
            return u"preparation failed"_s;
        case 1:
            m_oracle.answer(m_oracle.preparations, u"The operation was abandoned."_s);
            return u"preparation abandoned"_s;
        default:
            pending.resume(true);
            m_oracle.answer(m_oracle.preparations, {});
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
            m_oracle.answer(m_oracle.translations, {}, u"The engine broke."_s);
            return u"translation failed"_s;
        case 1:
            m_oracle.answer(m_oracle.translations, {}, u"The operation was abandoned."_s);
            return u"translation abandoned"_s;
        default:
            const QString text = oneIn(4) ? u" \n"_s : u" palabra %1"_s.arg(m_random.bounded(100));
            pending.resume(text);
            m_oracle.answer(m_oracle.translations, text, {});
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
            m_oracle.answer(m_oracle.hosted, {}, u"Connection refused."_s);
            return u"no connection to the backend"_s;
        case 1:
            m_oracle.answer(m_oracle.hosted, {}, u"The operation was abandoned."_s);
            return u"request abandoned"_s;
        default:
            const auto &answer = oneIn(2) ? hostedAnswers[0] : oneOf(hostedAnswers);
            const QString number = QString::number(m_random.bounded(100));
            const auto filled = [&number](const char *text) {
                return QString::fromUtf8(text).replace(u"%1"_s, number);
            };
            pending.resume({answer.isHttp, answer.status, filled(answer.body).toUtf8()});
            if (answer.text)
                m_oracle.answer(m_oracle.hosted, filled(answer.text), {});
            else
                m_oracle.answer(m_oracle.hosted, {}, QString::fromUtf8(answer.failure));
            return u"the backend answers %1 %2"_s.arg(answer.status).arg(filled(answer.body));
        }
    }

    // What happens around.

    QString advance() {
        const int duration = std::array{10, 150, 800, 1500}[m_random.bounded(4U)];
        m_platform.queue.advance(std::chrono::milliseconds(duration));
        m_oracle.advance(duration);
        return u"%1 ms pass"_s.arg(duration);
    }

    QString faultComesOrGoes() { return comeOrGo(m_random.bounded(quint32(std::size(faults)))); }

    QString comeOrGo(size_t index) {
        const bool isThere = m_isFaulty[index] = !m_isFaulty[index];
        faults[index].set(m_platform, m_oracle, isThere);
        return QString::fromLatin1(faults[index].name) + (isThere ? u" fails"_s : u" works"_s);
    }

    void setInFront(const Application &application) {
        m_platform.workspaceFake.frontmost = application.real;
        m_oracle.frontmost = application.expected;
    }

    QString comeToFront() {
        if (oneIn(5)) {
            m_platform.workspaceFake.bringToFront(nullptr);
            m_oracle.bringToFront(nullptr);
            return u"nothing in front"_s;
        }
        const auto &application = oneOf(m_applications);
        if (application.real->hasEnded)
            return {};
        if (oneIn(3)) {
            setInFront(application);
            return application.real->name() + u" in front without a word"_s;
        }
        m_platform.workspaceFake.bringToFront(application.real);
        m_oracle.bringToFront(application.expected);
        return application.real->name() + u" in front"_s;
    }

    QString endOrRestartApplication() {
        const auto &application = oneOf(m_applications);
        const bool hasEnded = !application.real->hasEnded;
        application.real->hasEnded = application.expected->hasEnded = hasEnded;
        if (hasEnded && m_oracle.frontmost == application.expected) {
            m_platform.workspaceFake.frontmost = nullptr;
            m_oracle.frontmost = nullptr;
        }
        return application.real->name() + (hasEnded ? u" ends"_s : u" starts again"_s);
    }

    QString copySomething() {
        const Contents contents[] = {
            {},
            {pasteboardItem({u"text/html"_s, u"image/png"_s}, {u"text/plain;charset=utf-8"_s})},
            {pasteboardItem({u"a"_s, u"unreadable"_s}, {u"b"_s}), pasteboardItem({}, {u"c"_s})},
            {pasteboardItem({u"unreadable"_s}, {}), pasteboardItem({}, {})},
        };
        m_platform.pasteboardFake.contents = oneOf(contents);
        m_oracle.pasteboard = rendered(m_platform.pasteboardFake.contents);
        return u"%1 items copied"_s.arg(m_oracle.pasteboard.size());
    }

    QString changeKeychain() {
        const DictationOracle::KeychainKey key{oneIn(2) ? u"com.local.Quillora"_s
                                                        : u"com.local.Cobaltwhisk"_s,
                                               oneIn(2) ? u"openAIClientToken"_s : u"deviceIdentifier"_s};
        static const QByteArrayList values{"stored", "other", "", "\xff"};
        if (oneIn(4)) {
            m_platform.keychainFake.items.erase(key);
            m_oracle.keychain.erase(key);
            return u"%1 %2 leaves the keychain"_s.arg(key.first, key.second);
        }
        const QByteArray &value = oneOf(values);
        m_platform.keychainFake.items[key].data = value;
        m_oracle.keychain[key] = value;
        return u"%1 %2 in the keychain becomes [%3]"_s.arg(key.first, key.second, QString::fromUtf8(value));
    }

    QString noticeKeychain() {
        m_platform.keychainAvailabilityFake.becomeAvailable();
        m_oracle.keychainBecameAvailable();
        return u"keychain available"_s;
    }

    const Order m_order;
    QRandomGenerator m_random;
    QSet<QString> &m_met;
    FakePlatform m_platform;
    DictationOracle m_oracle;
    StateTables m_tables;
    QString m_brokenRule;
    QString m_difference;
    bool m_isSettled = false;
    std::vector<Application> m_applications;
    std::unique_ptr<AppController> m_controller;
    std::unique_ptr<TranslationHostView> m_host;
    Published m_published;
    std::array<bool, std::size(faults)> m_isFaulty{};
    std::map<QString, QString> m_fresh; ///< the random identifiers by the oracle's names for them
    size_t m_comparedRequests = 0;
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
/// service fails and recovers at random. One walk through many such sequences is looked at twice, after the
/// start-up and after every step:
///
/// - No rule of the state tables is broken, which know what holds always and not what comes next. In half of
/// the sequences the user does one thing after the other, so that all of the rules hold to the end there.
/// - All goes as the oracle says: each change that the controller publishes, intermediate texts included, and
/// each call of the platform and of the shell is one that the oracle makes too, and all of them come in the
/// oracle's order. Every published value is the oracle's, and none has changed without a word. Settings,
/// keychain and pasteboard hold what they hold in the oracle's world, and the backend was sent what it should
/// be sent, headers included.
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

    void everySequenceGoesAsTheOracleSays() { QVERIFY2(m_difference.isNull(), qPrintable(m_difference)); }

    void theWalkMeetsWhatItIsWorthlessWithout() {
        if (m_sequenceCount < usualSequenceCount)
            QSKIP("so short a walk need not meet everything");
        if (!m_difference.isNull())
            QSKIP("where the worlds have gone apart nothing is met");
        for (const QString &line : mustBeMet)
            QVERIFY2(m_met.contains(line), qPrintable(u"never met: "_s + line));
    }

private:
    /// One sequence; says how many steps it had.
    int walk(quint32 seed) {
        Walk walk(seed, seed % 2 == 0 ? StateTables::Order::oneByOne : StateTables::Order::anyhow, m_met);
        QStringList history{u"start-up"_s};
        const auto look = [&] {
            note(m_brokenRule, walk.brokenRule(), seed, history);
            note(m_difference, walk.difference(), seed, history);
        };
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
    QString m_difference;
};

QTEST_GUILESS_MAIN(DictationWalkTest)
#include "DictationWalkTest.moc"
