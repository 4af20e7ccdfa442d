#include "contract/TranslationProviderContract.h"

#include "support/ChildProcess.h"
#include "translation/TranslationBridge.h"
#include "translation/TranslationHostView.h"

#include <QTest>

namespace quillora::test {

namespace {

using Session = std::shared_ptr<platform::TranslationSession>;

QCoro::Task<QString> prepared(Session session) {
    co_await session->prepareTranslation();
    co_return QString();
}

QCoro::Task<QString> translated(Session session, QString text) {
    co_await session->prepareTranslation();
    const auto response = co_await session->translate(text);
    co_return response.targetText;
}

} // namespace

Session TranslationProviderContract::session() {
    Session session;
    m_harness->provider().translationTask(pair(), [&](Session given) { session = std::move(given); });
    ChildProcess::waitUntil([&] {
        m_harness->turn();
        return session != nullptr;
    });
    return session;
}

TaskOutcome TranslationProviderContract::outcomeOf(QCoro::Task<QString> task) {
    const auto outcome = TaskOutcome::of(std::move(task));
    ChildProcess::waitUntil([&] {
        m_harness->turn();
        return outcome->isDone;
    });
    return *outcome;
}

void TranslationProviderContract::theSessionComesInALaterTurn() {
    bool hasCome = false;
    m_harness->provider().translationTask(pair(), [&](const Session &) { hasCome = true; });
    QVERIFY(!hasCome);
    QVERIFY(ChildProcess::waitUntil([&] {
        m_harness->turn();
        return hasCome;
    }));
}

void TranslationProviderContract::everyTaskBringsOneSession() {
    int sessions = 0;
    const auto count = [&](const Session &given) { sessions += given ? 1 : 0; };
    m_harness->provider().translationTask(pair(), count);
    m_harness->provider().translationTask(pair(), count);
    for (int i = 0; i < 5; ++i)
        m_harness->turn();
    QCOMPARE(sessions, 2);
}

void TranslationProviderContract::aPairThatCanBePreparedIsTranslated() {
    const auto outcome = outcomeOf(translated(session(), m_harness->text()));
    QCOMPARE(outcome.error, QString());
    QCOMPARE(outcome.text, m_harness->translation());
}

void TranslationProviderContract::aSessionTranslatesMoreThanOnce() {
    const Session one = session();
    outcomeOf(translated(one, m_harness->text()));
    QCOMPARE(outcomeOf(translated(one, m_harness->text())).text, m_harness->translation());
}

void TranslationProviderContract::theBridgeTranslatesThroughTheProvider() {
    TranslationBridge bridge;
    const TranslationHostView host(bridge);
    QCOMPARE(outcomeOf(bridge.translate(m_harness->text(), u"en"_qs, u"es"_qs)).text,
             m_harness->translation());
}

void TranslationProviderContract::theBridgeTranslatesTheSamePairTwice() {
    TranslationBridge bridge;
    const TranslationHostView host(bridge);
    outcomeOf(bridge.translate(m_harness->text(), u"en"_qs, u"es"_qs));
    QCOMPARE(outcomeOf(bridge.translate(m_harness->text(), u"en"_qs, u"es"_qs)).text,
             m_harness->translation());
}

void TranslationProviderContract::aPairThatCannotBeTranslatedGetsASessionToo() {
    m_harness->withdraw();
    QVERIFY(session());
}

void TranslationProviderContract::preparingAPairThatCannotBeTranslatedFailsWithTheReason() {
    const QString reason = m_harness->withdraw();
    const auto outcome = outcomeOf(prepared(session()));
    QVERIFY(outcome.isDone);
    QCOMPARE(outcome.error, reason);
}

} // namespace quillora::test
