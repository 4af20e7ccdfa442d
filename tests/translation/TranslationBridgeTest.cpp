#include "translation/TranslationBridge.h"
#include "fakes/FakePlatform.h"
#include "support/Outcome.h"
#include "translation/TranslationHostView.h"

#include <QTest>

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
        m_platform->translation.translation = [](const QString &) { return u"  hola \n"_qs; };
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_qs, u"en"_qs, u"es"_qs));
        QVERIFY(!outcome->isDone());
        m_platform->run();
        QCOMPARE(outcome->value(), u"  hola \n"_qs);
        QCOMPARE(m_platform->log.calls(), (QStringList{u"translation.session en>es"_qs, u"session.prepare"_qs,
                                                       u"session.translate hello"_qs}));
    }

    void theSessionComesInALaterTurn() {
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_qs, u"en"_qs, u"es"_qs));
        QCOMPARE(m_platform->log.calls(), QStringList{u"translation.session en>es"_qs});
        m_platform->run();
        QCOMPARE(outcome->value(), u"<hello>"_qs);
    }

    void theSamePairAgainInvalidatesItsConfigurationAndDoesNotHang() {
        const auto first = Outcome<QString>::of(m_bridge->translate(u"one"_qs, u"en"_qs, u"es"_qs));
        m_platform->run();
        const auto before = *m_bridge->configuration();
        const auto second = Outcome<QString>::of(m_bridge->translate(u"two"_qs, u"en"_qs, u"es"_qs));
        QVERIFY(*m_bridge->configuration() != before);
        QCOMPARE(m_bridge->configuration()->source(), u"en"_qs);
        m_platform->run();
        QCOMPARE(first->value(), u"<one>"_qs);
        QCOMPARE(second->value(), u"<two>"_qs);
    }

    void anotherPairReplacesTheConfiguration() {
        const auto first = Outcome<QString>::of(m_bridge->translate(u"one"_qs, u"en"_qs, u"es"_qs));
        m_platform->run();
        const auto second = Outcome<QString>::of(m_bridge->translate(u"two"_qs, u"en"_qs, u"fr"_qs));
        m_platform->run();
        QCOMPARE(*m_bridge->configuration(), TranslationConfiguration(u"en"_qs, u"fr"_qs));
        QCOMPARE(second->value(), u"<two>"_qs);
    }

    void aWaiterThatTranslatesAgainAtOnceIsNotBusy() {
        QStringList results;
        const auto twice = [](TranslationBridge &bridge, QStringList &out) -> QCoro::Task<> {
            out += co_await bridge.translate(u"one"_qs, u"en"_qs, u"es"_qs);
            out += co_await bridge.translate(u"two"_qs, u"en"_qs, u"es"_qs);
        };
        const auto outcome = Outcome<>::of(twice(*m_bridge, results));
        m_platform->run();
        QVERIFY(outcome->isDone());
        QCOMPARE(outcome->error(), QString());
        QCOMPARE(results, (QStringList{u"<one>"_qs, u"<two>"_qs}));
    }

    void aTranslationWhileAPrepareStillRunsFailsAtOnceAsBusy() {
        m_platform->translation.replies = Replies::byHand;
        const auto preparation = Outcome<>::of(m_bridge->prepare(u"en"_qs, u"es"_qs));
        m_platform->run();
        QCOMPARE(m_platform->translation.pendingPreparations.size(), 1u);

        const auto translation = Outcome<QString>::of(m_bridge->translate(u"hello"_qs, u"en"_qs, u"fr"_qs));
        QCOMPARE(translation->error(), u"A translation is already running."_qs);
        QCOMPARE(m_bridge->configuration()->target(), u"es"_qs);

        m_platform->translation.pendingPreparations.front().resume(true);
        m_platform->run();
        QVERIFY(preparation->isDone());
        QCOMPARE(preparation->error(), QString());
    }

    void aTranslationWhileOneWaitsForItsSessionIsBusy() {
        const auto first = Outcome<QString>::of(m_bridge->translate(u"one"_qs, u"en"_qs, u"es"_qs));
        const auto second = Outcome<QString>::of(m_bridge->translate(u"two"_qs, u"en"_qs, u"es"_qs));
        QCOMPARE(second->error(), u"A translation is already running."_qs);
        m_platform->run();
        QCOMPARE(first->value(), u"<one>"_qs);
    }

    void aSessionWithoutACurrentJobDoesNothing() {
        const auto outcome = Outcome<>::of(m_bridge->performCurrentJob(nullptr));
        QVERIFY(outcome->isDone());
        QCOMPARE(outcome->error(), QString());
        QVERIFY(m_platform->log.calls().isEmpty());
    }

    void aFailedPrepareLeavesTheBridgeIdle() {
        m_platform->translation.preparationError = u"No model."_qs;
        const auto failed = Outcome<>::of(m_bridge->prepare(u"en"_qs, u"es"_qs));
        m_platform->run();
        QCOMPARE(failed->error(), u"No model."_qs);

        m_platform->translation.preparationError.reset();
        const auto next = Outcome<QString>::of(m_bridge->translate(u"hello"_qs, u"en"_qs, u"es"_qs));
        m_platform->run();
        QCOMPARE(next->value(), u"<hello>"_qs);
    }

    void aFailureKeepsTheConfigurationForTheNextJobOfThePair() {
        m_platform->translation.translationError = u"The engine broke."_qs;
        const auto failed = Outcome<QString>::of(m_bridge->translate(u"hello"_qs, u"en"_qs, u"es"_qs));
        const auto before = m_bridge->configuration();
        m_platform->run();
        QCOMPARE(failed->error(), u"The engine broke."_qs);
        QVERIFY(before.has_value());
        QVERIFY(m_bridge->configuration() == before);

        m_platform->translation.translationError.reset();
        const auto next = Outcome<QString>::of(m_bridge->translate(u"again"_qs, u"en"_qs, u"es"_qs));
        auto invalidated = *before;
        invalidated.invalidate();
        QVERIFY(m_bridge->configuration() == invalidated);
        m_platform->run();
        QCOMPARE(next->value(), u"<again>"_qs);
    }

    void aTranslationWhosePreparationFailsIsNotTried() {
        m_platform->translation.preparationError = u"No model."_qs;
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_qs, u"en"_qs, u"es"_qs));
        m_platform->run();
        QCOMPARE(outcome->error(), u"No model."_qs);
        QCOMPARE(m_platform->log.calls(),
                 (QStringList{u"translation.session en>es"_qs, u"session.prepare"_qs}));
    }

    void theSessionsErrorIsPassedOnUnchanged() {
        m_platform->translation.translationError = u"The engine broke."_qs;
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_qs, u"en"_qs, u"es"_qs));
        m_platform->run();
        QCOMPARE(outcome->error(), u"The engine broke."_qs);
    }

    void aPrepareTranslatesNothing() {
        const auto outcome = Outcome<>::of(m_bridge->prepare(u"en"_qs, u"es"_qs));
        m_platform->run();
        QVERIFY(outcome->isDone());
        QCOMPARE(m_platform->log.calls(),
                 (QStringList{u"translation.session en>es"_qs, u"session.prepare"_qs}));
    }

    void withoutAHostTheCallerStaysSuspendedAndLaterOnesAreBusy() {
        m_host.reset();
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_qs, u"en"_qs, u"es"_qs));
        m_platform->queue.advance(std::chrono::hours(1));
        QVERIFY(!outcome->isDone());
        const auto second = Outcome<QString>::of(m_bridge->translate(u"hello"_qs, u"en"_qs, u"es"_qs));
        QCOMPARE(second->error(), u"A translation is already running."_qs);
    }

    void aHostThatComesLateServesTheWaitingJob() {
        m_host.reset();
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_qs, u"en"_qs, u"es"_qs));
        m_host = std::make_unique<TranslationHostView>(*m_bridge);
        m_platform->run();
        QCOMPARE(outcome->value(), u"<hello>"_qs);
    }

    void aSessionForAFormerPairIsDropped() {
        const auto first = Outcome<QString>::of(m_bridge->translate(u"one"_qs, u"en"_qs, u"es"_qs));
        m_platform->run();
        m_host = std::make_unique<TranslationHostView>(*m_bridge); // asks for the pair that is still set
        const auto second = Outcome<QString>::of(m_bridge->translate(u"two"_qs, u"en"_qs, u"fr"_qs));
        m_platform->run();
        QCOMPARE(second->value(), u"<two>"_qs);
        QCOMPARE(m_platform->translation.preparedPairs, (QStringList{u"en>es"_qs, u"en>fr"_qs}));
    }

    void aSessionForAnInvalidatedConfigurationIsDropped() {
        const auto first = Outcome<QString>::of(m_bridge->translate(u"one"_qs, u"en"_qs, u"es"_qs));
        m_platform->run();
        m_host = std::make_unique<TranslationHostView>(*m_bridge);
        m_platform->translation.replies = Replies::byHand;
        const auto second = Outcome<QString>::of(m_bridge->translate(u"two"_qs, u"en"_qs, u"es"_qs));
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
        const auto outcome = Outcome<QString>::of(m_bridge->translate(u"hello"_qs, u"en"_qs, u"es"_qs));
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
        QCOMPARE(outcome->error(), u"The operation was abandoned."_qs);
    }

private:
    std::unique_ptr<test::FakePlatform> m_platform;
    std::unique_ptr<TranslationBridge> m_bridge;
    std::unique_ptr<TranslationHostView> m_host;
};

QTEST_GUILESS_MAIN(TranslationBridgeTest)
#include "TranslationBridgeTest.moc"
