#include "translation/TranslationBridge.h"
#include "fakes/FakePlatform.h"
#include "support/Outcome.h"
#include "translation/TranslationHostView.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::Outcome;
using Replies = test::FakeTranslators::Replies;

class TranslationBridgeTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<test::FakePlatform>();
        m_bridge = std::make_unique<TranslationBridge>();
        m_host = std::make_unique<TranslationHostView>(*m_bridge);
    }
    void cleanup() {
        m_host.reset();
        m_bridge.reset();
        m_platform->translation.pendingPreparations.clear();
        m_platform->translation.pendingTranslations.clear();
        m_platform->run();
        m_platform.reset();
    }

    void aTranslationPreparesFirstAndReturnsTheTextAsItIs() {
        m_platform->translation.translation = [](const QString &) { return u"  hola \n"_s; };
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_s, u"en"_s, u"es"_s));
        QVERIFY(!outcome->isDone());
        m_platform->run();
        QCOMPARE(outcome->value(), u"  hola \n"_s);
        QCOMPARE(m_platform->log.calls(), (QStringList{u"translation.session en>es"_s, u"session.prepare"_s,
                                                       u"session.translate hello"_s}));
    }

    void theSessionComesInALaterTurn() {
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_s, u"en"_s, u"es"_s));
        QCOMPARE(m_platform->log.calls(), QStringList{u"translation.session en>es"_s});
        m_platform->run();
        QCOMPARE(outcome->value(), u"<hello>"_s);
    }

    void theSamePairAgainInvalidatesItsConfigurationAndDoesNotHang() {
        const auto first = Outcome<QString>::of(m_bridge->translate(u"one"_s, u"en"_s, u"es"_s));
        m_platform->run();
        const auto before = *m_bridge->configuration();
        const auto second = Outcome<QString>::of(m_bridge->translate(u"two"_s, u"en"_s, u"es"_s));
        QVERIFY(*m_bridge->configuration() != before);
        QCOMPARE(m_bridge->configuration()->source(), u"en"_s);
        m_platform->run();
        QCOMPARE(first->value(), u"<one>"_s);
        QCOMPARE(second->value(), u"<two>"_s);
    }

    void anotherPairReplacesTheConfiguration() {
        const auto first = Outcome<QString>::of(m_bridge->translate(u"one"_s, u"en"_s, u"es"_s));
        m_platform->run();
        const auto second = Outcome<QString>::of(m_bridge->translate(u"two"_s, u"en"_s, u"fr"_s));
        m_platform->run();
        QCOMPARE(*m_bridge->configuration(), TranslationConfiguration(u"en"_s, u"fr"_s));
        QCOMPARE(second->value(), u"<two>"_s);
    }

    void aWaiterThatTranslatesAgainAtOnceIsNotBusy() {
        QStringList results;
        const auto twice = [](TranslationBridge &bridge, QStringList &out) -> QCoro::Task<> {
            out += co_await bridge.translate(u"one"_s, u"en"_s, u"es"_s);
            out += co_await bridge.translate(u"two"_s, u"en"_s, u"es"_s);
        };
        const auto outcome = Outcome<>::of(twice(*m_bridge, results));
        m_platform->run();
        QVERIFY(outcome->isDone());
        QCOMPARE(outcome->error(), QString());
        QCOMPARE(results, (QStringList{u"<one>"_s, u"<two>"_s}));
    }

    void aTranslationWhileAPrepareStillRunsFailsAtOnceAsBusy() {
        m_platform->translation.replies = Replies::byHand;
        const auto preparation = Outcome<>::of(m_bridge->prepare(u"en"_s, u"es"_s));
        m_platform->run();
        QCOMPARE(m_platform->translation.pendingPreparations.size(), 1u);

        const auto translation = Outcome<QString>::of(m_bridge->translate(u"hello"_s, u"en"_s, u"fr"_s));
        QCOMPARE(translation->error(), u"A translation is already running."_s);
        QCOMPARE(m_bridge->configuration()->target(), u"es"_s);

        m_platform->translation.pendingPreparations.front().resume(true);
        m_platform->run();
        QVERIFY(preparation->isDone());
        QCOMPARE(preparation->error(), QString());
    }

    void aTranslationWhileOneWaitsForItsSessionIsBusy() {
        const auto first = Outcome<QString>::of(m_bridge->translate(u"one"_s, u"en"_s, u"es"_s));
        const auto second = Outcome<QString>::of(m_bridge->translate(u"two"_s, u"en"_s, u"es"_s));
        QCOMPARE(second->error(), u"A translation is already running."_s);
        m_platform->run();
        QCOMPARE(first->value(), u"<one>"_s);
    }

    void aSessionWithoutACurrentJobDoesNothing() {
        const auto outcome = Outcome<>::of(m_bridge->performCurrentJob(nullptr));
        QVERIFY(outcome->isDone());
        QCOMPARE(outcome->error(), QString());
        QVERIFY(m_platform->log.calls().isEmpty());
    }

    void aFailedPrepareLeavesTheBridgeIdle() {
        m_platform->translation.preparationError = u"No model."_s;
        const auto failed = Outcome<>::of(m_bridge->prepare(u"en"_s, u"es"_s));
        m_platform->run();
        QCOMPARE(failed->error(), u"No model."_s);

        m_platform->translation.preparationError.reset();
        const auto next = Outcome<QString>::of(m_bridge->translate(u"hello"_s, u"en"_s, u"es"_s));
        m_platform->run();
        QCOMPARE(next->value(), u"<hello>"_s);
    }

    void aFailureKeepsTheConfigurationForTheNextJobOfThePair() {
        m_platform->translation.translationError = u"The engine broke."_s;
        const auto failed = Outcome<QString>::of(m_bridge->translate(u"hello"_s, u"en"_s, u"es"_s));
        const auto before = m_bridge->configuration();
        m_platform->run();
        QCOMPARE(failed->error(), u"The engine broke."_s);
        QVERIFY(before.has_value());
        QVERIFY(m_bridge->configuration() == before);

        m_platform->translation.translationError.reset();
        const auto next = Outcome<QString>::of(m_bridge->translate(u"again"_s, u"en"_s, u"es"_s));
        auto invalidated = *before;
        invalidated.invalidate();
        QVERIFY(m_bridge->configuration() == invalidated);
        m_platform->run();
        QCOMPARE(next->value(), u"<again>"_s);
    }

    void aTranslationWhosePreparationFailsIsNotTried() {
        m_platform->translation.preparationError = u"No model."_s;
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_s, u"en"_s, u"es"_s));
        m_platform->run();
        QCOMPARE(outcome->error(), u"No model."_s);
        QCOMPARE(m_platform->log.calls(),
                 (QStringList{u"translation.session en>es"_s, u"session.prepare"_s}));
    }

    void theSessionsErrorIsPassedOnUnchanged() {
        m_platform->translation.translationError = u"The engine broke."_s;
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_s, u"en"_s, u"es"_s));
        m_platform->run();
        QCOMPARE(outcome->error(), u"The engine broke."_s);
    }

    void aPrepareTranslatesNothing() {
        const auto outcome = Outcome<>::of(m_bridge->prepare(u"en"_s, u"es"_s));
        m_platform->run();
        QVERIFY(outcome->isDone());
        QCOMPARE(m_platform->log.calls(),
                 (QStringList{u"translation.session en>es"_s, u"session.prepare"_s}));
    }

    void withoutAHostTheCallerStaysSuspendedAndLaterOnesAreBusy() {
        m_host.reset();
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_s, u"en"_s, u"es"_s));
        m_platform->queue.advance(std::chrono::hours(1));
        QVERIFY(!outcome->isDone());
        const auto second = Outcome<QString>::of(m_bridge->translate(u"hello"_s, u"en"_s, u"es"_s));
        QCOMPARE(second->error(), u"A translation is already running."_s);
    }

    void aHostThatComesLateServesTheWaitingJob() {
        m_host.reset();
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_s, u"en"_s, u"es"_s));
        m_host = std::make_unique<TranslationHostView>(*m_bridge);
        m_platform->run();
        QCOMPARE(outcome->value(), u"<hello>"_s);
    }

    void aSessionForAFormerPairIsDropped() {
        const auto first = Outcome<QString>::of(m_bridge->translate(u"one"_s, u"en"_s, u"es"_s));
        m_platform->run();
        m_host = std::make_unique<TranslationHostView>(*m_bridge); // asks for the pair that is still set
        const auto second = Outcome<QString>::of(m_bridge->translate(u"two"_s, u"en"_s, u"fr"_s));
        m_platform->run();
        QCOMPARE(second->value(), u"<two>"_s);
        QCOMPARE(m_platform->translation.preparedPairs, (QStringList{u"en>es"_s, u"en>fr"_s}));
    }

    void aSessionForAnInvalidatedConfigurationIsDropped() {
        const auto first = Outcome<QString>::of(m_bridge->translate(u"one"_s, u"en"_s, u"es"_s));
        m_platform->run();
        m_host = std::make_unique<TranslationHostView>(*m_bridge);
        m_platform->translation.replies = Replies::byHand;
        const auto second = Outcome<QString>::of(m_bridge->translate(u"two"_s, u"en"_s, u"es"_s));
        m_platform->run();
        QCOMPARE(m_platform->translation.pendingPreparations.size(), 1u);
    }

    void endingTheBridgeAtEachSuspensionFailsTheWaiter_data() {
        QTest::addColumn<int>("turns");
        QTest::newRow("waiting for a session") << 0;
        QTest::newRow("preparing") << 1;
        QTest::newRow("translating") << 2;
    }
    void endingTheBridgeAtEachSuspensionFailsTheWaiter() {
        QFETCH(int, turns);
        m_platform->translation.replies = Replies::byHand;
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_s, u"en"_s, u"es"_s));
        if (turns >= 1)
            m_platform->run();
        if (turns >= 2) {
            m_platform->translation.pendingPreparations.front().resume(true);
            m_platform->run();
            QCOMPARE(m_platform->translation.pendingTranslations.size(), 1u);
        }
        m_host.reset();
        m_bridge.reset();
        m_platform->run();
        QCOMPARE(outcome->error(), u"The operation was abandoned."_s);
    }

private:
    std::unique_ptr<test::FakePlatform> m_platform;
    std::unique_ptr<TranslationBridge> m_bridge;
    std::unique_ptr<TranslationHostView> m_host;
};

QTEST_GUILESS_MAIN(TranslationBridgeTest)
#include "TranslationBridgeTest.moc"
