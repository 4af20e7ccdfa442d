#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// What a dictation must do, step by step, written without a coroutine, an object of the product or a fake:
/// every operation takes what comes after it as a function. The walk compares it with the real thing.
class DictationOracle {
public:
    using Next = std::function<void()>;
    using Done = std::function<void(const QString &)>;
    using Failed = std::function<void(const QString &)>;

    // What the world is like.
    struct Application {
        QString name;
        std::optional<QString> identifier;
        bool hasEnded = false;
    };
    using ApplicationHandle = std::shared_ptr<Application>;
    struct HotKey {
        QString storageValue;
        QString displayName;
        bool isUsable = true;

        bool operator==(const HotKey &) const = default;
    };
    using KeychainKey = std::pair<QString, QString>; ///< service, account

    /// The hotkeys of this world; the first is the default.
    static const QList<HotKey> &hotKeys();

    bool isTrusted = true;
    bool refusesWrites = false;
    bool refusesChords = false;
    bool canMakeRecognizer = true;
    bool isRecognizerAvailable = true;
    bool hasChannels = true;
    bool canCapture = true;
    bool isKeychainBroken = false;
    bool keychainRefusesAdditions = false;
    bool refusesActivation = false;
    bool refusesHotKeys = false;
    bool hasRegistrar = true; ///< somebody registers hotkeys
    std::optional<QString> ownIdentifier = u"Quillora"_s;
    ApplicationHandle frontmost;
    std::map<QString, QString> defaults;
    std::map<KeychainKey, QByteArray> keychain;
    QList<QStringList>
        pasteboard; ///< items as lists of values; one that begins with "unreadable" is not given

    // What the user sees.
    QString source;
    QString target;
    QString engine;
    QString endpoint;
    QString token;
    bool isRecording = false;
    bool isProcessing = false;
    QString status = u"Ready."_s;
    QString transcript;
    QString translated;
    HotKey hotKey = hotKeys().first();
    bool isRecordingHotKey = false;
    int pendingRestores = 0;

    /// Every change of what the user sees and every call of the platform or the shell, in their order.
    QStringList log;

    struct Request {
        QString url;
        QString text;
        QString sourceLanguage;
        QString targetLanguage;
        QString authorization; ///< null where none is sent
        QString device;        ///< "fresh" and a number stands for an identifier made at random

        bool operator==(const Request &) const = default;
    };
    QList<Request> requests;

    // Questions that wait for an answer, oldest first.
    struct Question {
        Next yes;
        Failed no;
    };
    std::deque<Question> authorizations;
    std::deque<Question> microphones;
    std::deque<Question> preparations;
    struct Translation {
        Done done;
        Failed failed;
    };
    std::deque<Translation> translations; ///< on this device
    std::deque<Translation> hosted;

    /// Loads the settings; the world must be as it is by then.
    void startUp();
    /// The controller goes; what was begun on the pasteboard is completed.
    void end();

    // Events of the user.
    void press();
    void release();
    void toggle();
    void startCapture();
    void cancelCapture();
    void rejectHotKey();
    void setHotKey(const HotKey &newHotKey);
    void prepareModels();
    void pasteLast();
    void requestAccessibility();
    void refreshAccessibility();
    void chooseSource(const QString &id);
    void chooseTarget(const QString &id);
    void chooseEngine(const QString &id);
    void typeEndpoint(const QString &text);
    void typeToken(const QString &text);
    void swap();

    // Events of the platform. Answers reach their waiter in a later turn; one to a question that was not
    // asked in this world reaches nobody.
    void answer(std::deque<Question> &questions, const std::optional<QString> &refusal);
    void answer(std::deque<Translation> &waiting, const std::optional<QString> &text, const QString &failure);
    void deliver(const std::optional<QString> &text, bool isFinal, bool isError);
    void bringToFront(const ApplicationHandle &application);
    void keychainBecameAvailable();
    void captureDies();

    bool runOne();
    void run();
    void advance(int milliseconds);

private:
    struct Timer {
        int due;
        int order;
        Next work;
        std::shared_ptr<bool> isCancelled;
    };

    void post(Next work) { m_posted.push_back(std::move(work)); }
    std::shared_ptr<bool> after(int milliseconds, Next work);

    template <typename T>
    void publish(const char *property, T &value, const T &newValue);
    void say(const QString &text) { publish("statusText", status, text); }
    void setRecording(bool value);
    void setProcessing(bool value);
    void stateChanged();
    void needAttention() { log += u"onNeedsAttention"_s; }
    void store(const QString &key, const QString &value);

    bool canTranslateHere() const;
    bool isHostedSelected() const { return engine == u"openAINatural"_s; }
    bool isHostedEffective() const { return isHostedSelected() || !canTranslateHere(); }
    void enforceEngine();

    void startRecording(const Next &next);
    void stopRecording(const Next &next);
    void prepareHosted();
    void translate(const QString &text, const Done &done, const Failed &failed);
    void translateAndPaste(const QString &text, const Next &next);
    void pasteOrCopy(const QString &text, const QString &inserted, const QString &copied);
    void captureTarget();
    bool isOwn(const Application &application) const;

    bool paste(const QString &text);
    QString plainText() const;
    /// Whether the text stands on the pasteboard then.
    bool copy(const QString &text);
    void pressPasteKeys();

    std::optional<QString> storedSecret(const QString &account);
    std::optional<QString> lookUp(const QString &service, const QString &account);
    /// Whether the keychain holds the value then.
    bool storeSecret(const QString &account, const QString &value);
    QString deviceIdentifier();

    void serviceStart(const QString &locale, const Next &next, const Failed &failed);
    void serviceBegin(const QString &locale, const Next &next, const Failed &failed);
    void endCapture();
    void serviceStop(const Done &next);
    void serviceFinish(bool cancels);
    void serviceCleanup(bool cancels);

    void bridge(const std::optional<QString> &text, const Done &done, const Failed &failed);
    void performJob();

    bool m_isObserved = false; ///< nobody sees what happens during the start-up
    bool m_isTokenUnstored = false;
    bool m_didPrompt = false;
    int m_dictations = 0; ///< begun so far
    int m_freshIdentifiers = 0;
    ApplicationHandle m_pasteTarget;
    ApplicationHandle m_lastExternal;

    // The hold flags.
    bool m_isHeld = false;
    bool m_isStarting = false;
    bool m_stopsAfterStart = false;

    // The speech service.
    std::shared_ptr<bool> m_capture; ///< whether it has died; none while nothing is recorded
    bool m_serviceRuns = false;
    bool m_hasRecognition = false;
    QString m_lastTranscript;
    Done m_finalWaiter;
    std::shared_ptr<bool> m_timeout;

    // The translation bridge: at most one job.
    struct Job {
        std::optional<QString> text;
        Done done;
        Failed failed;
    };
    std::shared_ptr<Job> m_job;

    std::deque<Next> m_posted;
    std::vector<Timer> m_timers;
    int m_now = 0;
    int m_order = 0;
};

} // namespace quillora::test
