#include "support/DownloadedTranslation.h"
#include "support/Files.h"
#include "support/Outcome.h"
#include "support/Sessions.h"
#include "support/ThrowAwayAuthority.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora::platform;
using namespace quillora::test;

namespace {

using Session = std::shared_ptr<TranslationSession>;
using TextOutcome = std::shared_ptr<Outcome<QString>>;

} // namespace

/// From nothing to a translated text, with everything real but the person.
class DownloadedTranslationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        m_authority.emplace();
        m_authority->trustHere();
    }
    void init() {
        m_desk.emplace(m_authority->issue(u"127.0.0.1"_s));
        m_desk->seatPerson(DownloadAnswer::download);
    }
    void cleanup() { m_desk.reset(); }

    void oneAnswerBringsAnInstalledModelAndATranslation() {
        m_desk->server.delivery = Delivery::everything;
        QCOMPARE(translation(u"en"_s, u"ru"_s, u"hello world, thanks."_s), u"привет мир, спасибо."_s);
        QCOMPARE(m_desk->questions,
                 (QList{DownloadQuestion{{ModelTask::translating(u"en"_s, u"ru"_s)}, {u"en-ru"_s}}}));
        QCOMPARE(m_desk->store->state(u"en-ru"_s).presence, ModelState::Presence::installed);
        QCOMPARE(translation(u"en"_s, u"ru"_s, u"thanks"_s), u"спасибо"_s);
        QCOMPARE(m_desk->questions.size(), 1);
    }

    void oneAnswerBringsBothHalvesOfAWay() {
        m_desk->server.delivery = Delivery::everything;
        QCOMPARE(translation(u"de"_s, u"ru"_s, u"hallo Welt. danke!"_s), u"привет мир. спасибо!"_s);
        QCOMPARE(m_desk->questions, (QList{DownloadQuestion{{ModelTask::translating(u"de"_s, u"ru"_s)},
                                                            {u"de-en"_s, u"en-ru"_s}}}));
    }

    void aDeclinedDownloadIsNotAskedForAgainUntilTheLanguagesAreChosen() {
        m_desk->seatPerson(DownloadAnswer::notNow);
        const QString sentence = u"English to Russian needs a download that was not agreed to. Choose the "
                                 "languages again to be asked again, or open Models in the tray menu."_s;
        QCOMPARE(translation(u"en"_s, u"ru"_s, u"hello"_s), sentence);
        QCOMPARE(translation(u"en"_s, u"ru"_s, u"hello"_s), sentence);
        QCOMPARE(m_desk->questions.size(), 1);
        m_desk->consent->forget(ModelTask::translating(u"en"_s, u"ru"_s));
        QCOMPARE(translation(u"en"_s, u"ru"_s, u"hello"_s), sentence);
        QCOMPARE(m_desk->questions.size(), 2);
        QVERIFY(m_desk->server.http().requests().isEmpty());
    }

    void aDownloadThatIsCancelledOnItsWayEndsTheTranslation() {
        const auto outcome = begun(u"en"_s, u"ru"_s, u"hello"_s);
        QVERIFY(m_desk->waitUntil([&] { return !m_desk->server.http().requests().isEmpty(); }));
        m_desk->store->cancel(u"en-ru"_s);
        QVERIFY(m_desk->waitUntil([&] { return outcome->isDone(); }));
        QCOMPARE(outcome->error(),
                 u"The download for English to Russian was cancelled. Translate again to be asked "
                 "again, or open Models in the tray menu."_s);
    }

    void aPausedDownloadEndsTheTranslationAndTheNextOneGoesOn() {
        m_desk->server.delivery = Delivery::part;
        const auto outcome = begun(u"en"_s, u"ru"_s, u"hello"_s);
        QVERIFY(m_desk->waitUntil([&] {
            const auto progress = m_desk->store->state(u"en-ru"_s).progress;
            return progress && progress->receivedBytes > 0;
        }));
        m_desk->store->pause(u"en-ru"_s);
        QVERIFY(m_desk->waitUntil([&] { return outcome->isDone(); }));
        QCOMPARE(
            outcome->error(),
            u"The download for English to Russian is paused. Go on with it under Models in the tray menu."_s);
        m_desk->server.delivery = Delivery::everything;
        QCOMPARE(translation(u"en"_s, u"ru"_s, u"hello"_s), u"привет"_s);
    }

    void aDownloadThatBreaksOffInTheMiddleHasFailed() {
        m_desk->server.delivery = Delivery::part;
        const auto outcome = begun(u"en"_s, u"ru"_s, u"hello"_s);
        QVERIFY(m_desk->waitUntil([&] {
            const auto progress = m_desk->store->state(u"en-ru"_s).progress;
            return progress && progress->receivedBytes > 0;
        }));
        QVERIFY(m_desk->waitUntil([&] {
            m_desk->server.http().closeAll();
            return outcome->isDone();
        }));
        const auto state = m_desk->store->state(u"en-ru"_s);
        QVERIFY(state.isPaused); // it can go on
        QCOMPARE(outcome->error(),
                 u"The download for English to Russian failed: %1 Try again under Models in "
                 "the tray menu."_s.arg(state.problem));
        m_desk->server.delivery = Delivery::everything;
        QCOMPARE(translation(u"en"_s, u"ru"_s, u"hello"_s), u"привет"_s);
    }

    void aPublisherWhoRefusesIsNamed() {
        m_desk->server.delivery = Delivery::refusal;
        QCOMPARE(
            translation(u"en"_s, u"ru"_s, u"hello"_s),
            u"The download for English to Russian failed: 127.0.0.1 answered with the error 404. Try again "
            "under Models in the tray menu."_s);
    }

    void aModelThatIsRemovedInMidSessionTranslatesOn() {
        m_desk->server.delivery = Delivery::everything;
        const Session one = m_desk->translators->session(u"en"_s, u"ru"_s);
        QCOMPARE(outcomeOf(translated(one, u"hello"_s))->value(), u"привет"_s);
        m_desk->store->remove(u"en-ru"_s);
        QVERIFY(m_desk->waitUntil(
            [&] { return m_desk->store->state(u"en-ru"_s).presence == ModelState::Presence::absent; }));
        const auto response = Outcome<TranslationResponse>::of(one->translate(u"world"_s));
        QVERIFY(m_desk->waitUntil([&] { return response->isDone(); }));
        QCOMPARE(response->value().targetText, u"мир"_s);
        m_desk->seatPerson(DownloadAnswer::notNow);
        QVERIFY(translation(u"en"_s, u"ru"_s, u"hello"_s).startsWith(u"English to Russian needs"_s));
    }

    void aModelThatIsDamagedIsNamedAndThenRepaired() {
        m_desk->server.delivery = Delivery::everything;
        QCOMPARE(translation(u"en"_s, u"ru"_s, u"hello"_s), u"привет"_s);
        changeSecretly(m_desk->store->use(u"en-ru"_s)->folder() + u"/model.bin"_s, "not a model");
        m_desk->start(); // what is in memory is not damaged

        const QString sentence = translation(u"en"_s, u"ru"_s, u"hello"_s);
        QVERIFY2(sentence.startsWith(u"The on-device translation from English to Russian cannot be used: "),
                 qPrintable(sentence));
        QVERIFY(m_desk->waitUntil(
            [&] { return m_desk->store->state(u"en-ru"_s).presence == ModelState::Presence::damaged; }));
        QCOMPARE(translation(u"en"_s, u"ru"_s, u"hello"_s), u"привет"_s);
        QCOMPARE(m_desk->questions.size(), 2);
    }

    void apertiumTakesThePlaceOfAModelThatCannotBeLoaded() {
        m_desk->isApertiumInstalled = true;
        m_desk->start();
        m_desk->server.delivery = Delivery::everything;
        m_desk->server.files[u"/en-es/model.bin"_s] = "none";
        m_desk->store->install(u"en-es"_s);
        QVERIFY(m_desk->waitUntil([&] {
            const ModelState state = m_desk->store->state(u"en-es"_s);
            return state.isInstalled() && !state.progress;
        }));

        QCOMPARE(translation(u"en"_s, u"es"_s, u"The house is big."_s), u"La casa es grande."_s);
        const ModelState state = m_desk->store->state(u"en-es"_s);
        QCOMPARE(state.presence, ModelState::Presence::unfit);
        QCOMPARE(state.problem, u"The model is damaged: it ends within its header."_s);
        QCOMPARE(translation(u"en"_s, u"es"_s, u"The house is big."_s), u"La casa es grande."_s);
        QVERIFY(m_desk->questions.isEmpty());
    }

    void aModelThatIsDamagedWhileItIsInUseTranslatesOn() {
        m_desk->server.delivery = Delivery::everything;
        const Session one = m_desk->translators->session(u"en"_s, u"ru"_s);
        QCOMPARE(outcomeOf(translated(one, u"hello"_s))->value(), u"привет"_s);
        QVERIFY(m_desk->waitUntil([&] { return !m_desk->store->state(u"en-ru"_s).progress; }));
        changeSecretly(m_desk->store->use(u"en-ru"_s)->folder() + u"/model.bin"_s, "not a model");
        QCOMPARE(outcomeOf(translated(one, u"world"_s))->value(), u"мир"_s);
        m_desk->store->check(u"en-ru"_s);
        QVERIFY(m_desk->waitUntil(
            [&] { return m_desk->store->state(u"en-ru"_s).presence == ModelState::Presence::damaged; }));
        const auto response = Outcome<TranslationResponse>::of(one->translate(u"hello"_s));
        QVERIFY(m_desk->waitUntil([&] { return response->isDone(); }));
        QCOMPARE(response->value().targetText, u"привет"_s);
        m_desk->seatPerson(DownloadAnswer::notNow);
        const QString error = translation(u"en"_s, u"ru"_s, u"hello"_s);
        QVERIFY2(error.startsWith(u"English to Russian needs"_s), qPrintable(error));
    }

    void theEndInMidDownloadIsAnErrorAndTheNextStartGoesOn() {
        const auto outcome = begun(u"en"_s, u"ru"_s, u"hello"_s);
        QVERIFY(m_desk->waitUntil([&] { return !m_desk->server.http().requests().isEmpty(); }));
        m_desk->translators.reset();
        QVERIFY(m_desk->waitUntil([&] { return outcome->isDone(); }));
        QVERIFY(!outcome->error().isEmpty());
        m_desk->server.delivery = Delivery::everything;
        m_desk->start();
        QCOMPARE(translation(u"en"_s, u"ru"_s, u"hello"_s), u"привет"_s);
        QCOMPARE(m_desk->questions.size(), 1); // it joined the download
    }

private:
    TextOutcome begun(const QString &source, const QString &target, const QString &text) {
        return Outcome<QString>::of(translated(m_desk->translators->session(source, target), text));
    }
    TextOutcome outcomeOf(QCoro::Task<QString> task) {
        auto outcome = Outcome<QString>::of(std::move(task));
        m_desk->waitUntil([&] { return outcome->isDone(); });
        return outcome;
    }
    /// Or the error instead.
    QString translation(const QString &source, const QString &target, const QString &text) {
        const auto outcome = outcomeOf(translated(m_desk->translators->session(source, target), text));
        return outcome->error().isNull() ? outcome->value() : outcome->error();
    }

    std::optional<ThrowAwayAuthority> m_authority;
    std::optional<DownloadedTranslation> m_desk;
};

QTEST_GUILESS_MAIN(DownloadedTranslationTest)
#include "DownloadedTranslationTest.moc"
