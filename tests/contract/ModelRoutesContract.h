#pragma once

#include "contract/Subjects.h"
#include "platform/ModelRoutes.h"

#include <QObject>
#include <QTest>

#include <memory>
#include <optional>
#include <utility>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// Routes on a computer where these can be had, none of them installed at first:
///
/// - "small" and "large" for English to Russian, the small one recommended,
/// - "de-en" and "en-fr", each for the pair that it is called by,
/// - "es" for English to Spanish, which the system can do by itself,
/// - "hears-de" for hearing German.
class ModelRoutesHarness {
public:
    virtual ~ModelRoutesHarness() = default;

    virtual platform::ModelRoutes &routes() = 0;

    virtual void install(const QString &id) = 0;

    /// Its files are not what was installed any more.
    virtual void damage(const QString &id) = 0;

    /// An engine has rejected it.
    virtual void reject(const QString &id) = 0;
};

/// What all routes keep to.
class ModelRoutesContract : public QObject {
    Q_OBJECT

    using Task = platform::ModelTask;
    using Route = platform::ModelRoute;

public:
    explicit ModelRoutesContract(Subjects<ModelRoutesHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void whatNothingCanDoHasNoRoute() {
        for (const Task &task : {Task::translating(u"en"_s, u"kk"_s), Task::translating(u"fr"_s, u"de"_s),
                                 Task::hearing(u"kk-KZ"_s)}) {
            QVERIFY(!routes().route(task));
            QCOMPARE(routes().choices(task), QStringList());
            QCOMPARE(routes().chosen(task), QString());
        }
    }

    void theRecommendedModelComesFirst() { QCOMPARE(routes().choices(russian), (QStringList{small, large})); }

    void whatIsNotInstalledWouldGoByTheRecommendedModel() {
        QCOMPARE(routes().route(russian), (Route{{small}, false, false}));
    }

    void anInstalledModelIsUsable() {
        m_harness->install(small);
        QCOMPARE(routes().route(russian), (Route{{small}, true, false}));
    }

    void aDamagedModelIsNot() {
        m_harness->install(small);
        m_harness->damage(small);
        QCOMPARE(routes().route(russian), (Route{{small}, false, false}));
    }

    void aRejectedModelMakesWayForAnotherThatIsInstalled() {
        m_harness->install(small);
        m_harness->install(large);
        m_harness->reject(small);
        QCOMPARE(routes().route(russian), (Route{{large}, true, false}));
    }

    void aRejectedModelIsNotWhatIsToBeInstalled() {
        m_harness->install(small);
        m_harness->reject(small);
        QCOMPARE(routes().route(russian), (Route{{large}, false, false}));
        routes().choose(russian, small);
        QCOMPARE(routes().route(russian), (Route{{large}, false, false}));
    }

    void whereAllAreRejectedTheFirstMayBeTriedAgain() {
        m_harness->install(u"hears-de"_s);
        m_harness->reject(u"hears-de"_s);
        QCOMPARE(routes().route(Task::hearing(u"de-DE"_s)), (Route{{u"hears-de"_s}, false, false}));
    }

    void aModelThatIsLeftOutMakesWayForAnotherThatIsInstalled() {
        m_harness->install(small);
        m_harness->install(large);
        QCOMPARE(routes().routeWithout({small}, russian), (Route{{large}, true, false}));
        routes().choose(russian, small);
        QCOMPARE(routes().routeWithout({small}, russian), (Route{{large}, true, false}));
    }

    void whereNoOtherIsInstalledItIsNotUsable() {
        m_harness->install(small);
        QCOMPARE(routes().routeWithout({small}, russian), (Route{{large}, false, false}));
    }

    void withoutAnyOfItsModelsATaskHasNoRoute() {
        m_harness->install(small);
        m_harness->install(large);
        QVERIFY(!routes().routeWithout({large, small}, russian));
        QVERIFY(!routes().routeWithout({u"en-fr"_s}, french));
    }

    void aHalfThatIsLeftOutMakesWayForAnother() {
        m_harness->install(u"de-en"_s);
        m_harness->install(small);
        m_harness->install(large);
        QCOMPARE(routes().routeWithout({small}, Task::translating(u"de"_s, u"ru"_s)),
                 (Route{{u"de-en"_s, large}, true, true}));
    }

    void theSystemStandsInForOneThatIsLeftOut() {
        m_harness->install(u"es"_s);
        QCOMPARE(routes().routeWithout({u"es"_s}, spanish), (Route{{}, true, false}));
    }

    void anInstalledModelGoesBeforeTheRecommendedOne() {
        m_harness->install(large);
        QCOMPARE(routes().route(russian), (Route{{large}, true, false}));
    }

    void theRecommendedOneGoesBeforeAnotherThatIsInstalledToo() {
        m_harness->install(large);
        m_harness->install(small);
        QCOMPARE(routes().route(russian), (Route{{small}, true, false}));
    }

    void nothingIsChosenAtFirst() { QCOMPARE(routes().chosen(russian), QString()); }

    void whatIsChosenIsTold() {
        routes().choose(russian, large);
        QCOMPARE(routes().chosen(russian), large);
    }

    void theChosenModelGoesBeforeTheRecommendedOne() {
        routes().choose(russian, large);
        QCOMPARE(routes().route(russian), (Route{{large}, false, false}));
        m_harness->install(small);
        m_harness->install(large);
        QCOMPARE(routes().route(russian), (Route{{large}, true, false}));
    }

    void untilItIsThereAnotherServes() {
        m_harness->install(small);
        routes().choose(russian, large);
        QCOMPARE(routes().route(russian), (Route{{small}, true, false}));
    }

    void aChoiceCanBeLeftToTheRecommendationAgain() {
        routes().choose(russian, large);
        routes().choose(russian, {});
        QCOMPARE(routes().chosen(russian), QString());
        QCOMPARE(routes().route(russian), (Route{{small}, false, false}));
    }

    void theRecommendationStaysWhatItIs() {
        routes().choose(russian, large);
        QCOMPARE(routes().choices(russian), (QStringList{small, large}));
    }

    void whatDoesNotDoTheTaskIsNotChosen() {
        routes().choose(russian, u"en-fr"_s);
        QCOMPARE(routes().chosen(russian), QString());
        QCOMPARE(routes().route(russian), (Route{{small}, false, false}));
    }

    void whereNoModelDoesAPairTwoDoByWayOfEnglish() {
        QCOMPARE(routes().route(french), (Route{{u"de-en"_s, u"en-fr"_s}, false, true}));
    }

    void bothOfThemMustBeThere() {
        m_harness->install(u"en-fr"_s);
        QCOMPARE(routes().route(french), (Route{{u"de-en"_s, u"en-fr"_s}, false, true}));
        m_harness->install(u"de-en"_s);
        QCOMPARE(routes().route(french), (Route{{u"de-en"_s, u"en-fr"_s}, true, true}));
    }

    void whatIsChosenForAHalfCounts() {
        const Task task = Task::translating(u"de"_s, u"ru"_s);
        routes().choose(russian, large);
        QCOMPARE(routes().route(task), (Route{{u"de-en"_s, large}, false, true}));
    }

    void noneOfTheHalvesIsAChoice() { QCOMPARE(routes().choices(french), QStringList()); }

    void whatCameWithTheSystemNeedsNoModel() {
        QCOMPARE(routes().route(spanish), (Route{{}, true, false}));
        QCOMPARE(routes().choices(spanish), QStringList{u"es"_s});
    }

    void anInstalledModelGoesBeforeTheSystem() {
        m_harness->install(u"es"_s);
        QCOMPARE(routes().route(spanish), (Route{{u"es"_s}, true, false}));
    }

    void theSystemStandsInForADamagedOne() {
        m_harness->install(u"es"_s);
        m_harness->damage(u"es"_s);
        QCOMPARE(routes().route(spanish), (Route{{}, true, false}));
    }

    void hearingGoesTheSameWay() {
        const Task german = Task::hearing(u"de-DE"_s);
        QCOMPARE(routes().route(german), (Route{{u"hears-de"_s}, false, false}));
        m_harness->install(u"hears-de"_s);
        QCOMPARE(routes().route(german), (Route{{u"hears-de"_s}, true, false}));
        QCOMPARE(routes().choices(german), QStringList{u"hears-de"_s});
    }

    void aLanguageIsItsOwnTranslation() {
        QCOMPARE(routes().route(Task::translating(u"de"_s, u"de"_s)), (Route{{}, true, false}));
    }

private:
    platform::ModelRoutes &routes() { return m_harness->routes(); }

    inline static const QString small = QStringLiteral("small");
    inline static const QString large = QStringLiteral("large");
    inline static const Task russian = Task::translating(QStringLiteral("en"), QStringLiteral("ru"));
    inline static const Task french = Task::translating(QStringLiteral("de"), QStringLiteral("fr"));
    inline static const Task spanish = Task::translating(QStringLiteral("en"), QStringLiteral("es"));

    const Subjects<ModelRoutesHarness> m_subjects;
    std::unique_ptr<ModelRoutesHarness> m_harness;
};

} // namespace quillora::test
