#include "contract/TranslatorsContract.h"

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

Session TranslatorsContract::session() { return m_harness->translators().session(u"en"_qs, u"es"_qs); }

std::shared_ptr<Outcome<QString>> TranslatorsContract::outcomeOf(QCoro::Task<QString> task) {
    auto outcome = Outcome<QString>::of(std::move(task));
    ChildProcess::waitUntil([&] {
        m_harness->turn();
        return outcome->isDone();
    });
    return outcome;
}

void TranslatorsContract::everySessionIsItsOwn() { QVERIFY(session() != session()); }

void TranslatorsContract::aPairThatCanBePreparedIsTranslated() {
    const auto outcome = outcomeOf(translated(session(), m_harness->text()));
    QCOMPARE(outcome->error(), QString());
    QCOMPARE(outcome->value(), m_harness->translation());
}

void TranslatorsContract::aSessionTranslatesMoreThanOnce() {
    const Session one = session();
    outcomeOf(translated(one, m_harness->text()));
    QCOMPARE(outcomeOf(translated(one, m_harness->text()))->value(), m_harness->translation());
}

void TranslatorsContract::theBridgeTranslatesThroughTheSession() {
    TranslationBridge bridge;
    const TranslationHostView host(bridge);
    QCOMPARE(outcomeOf(bridge.translate(m_harness->text(), u"en"_qs, u"es"_qs))->value(),
             m_harness->translation());
}

void TranslatorsContract::theBridgeTranslatesTheSamePairTwice() {
    TranslationBridge bridge;
    const TranslationHostView host(bridge);
    outcomeOf(bridge.translate(m_harness->text(), u"en"_qs, u"es"_qs));
    QCOMPARE(outcomeOf(bridge.translate(m_harness->text(), u"en"_qs, u"es"_qs))->value(),
             m_harness->translation());
}

void TranslatorsContract::aPairThatCannotBeTranslatedGetsASessionToo() {
    m_harness->withdraw();
    QVERIFY(session());
}

void TranslatorsContract::preparingAPairThatCannotBeTranslatedFailsWithTheReason() {
    const QString reason = m_harness->withdraw();
    const auto outcome = outcomeOf(prepared(session()));
    QVERIFY(outcome->isDone());
    QCOMPARE(outcome->error(), reason);
}

} // namespace quillora::test
