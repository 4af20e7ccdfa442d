#pragma once

#include "contract/Subjects.h"
#include "platform/Translators.h"
#include "support/ChildProcess.h"
#include "support/Outcome.h"
#include "support/Sessions.h"
#include "translation/TranslationBridge.h"
#include "translation/TranslationHostView.h"

#include <QTest>

#include <memory>
#include <optional>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// On-device translation that knows one pair, and the turning of its event loop.
class TranslatorsHarness {
public:
    virtual ~TranslatorsHarness() = default;

    virtual platform::Translators &translators() = 0;

    /// Runs what is due now.
    virtual void turn() = 0;

    /// A text in the source language "en", and what becomes of it in "es".
    virtual QString text() const = 0;
    virtual QString translation() const = 0;

    /// From now on no pair can be prepared; the reason that the user is told.
    virtual QString withdraw() = 0;
};

/// What on-device translation keeps to, whatever translates.
class TranslatorsContract : public QObject {
    Q_OBJECT

public:
    explicit TranslatorsContract(Subjects<TranslatorsHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void everySessionIsItsOwn() { QVERIFY(session() != session()); }

    void aPairThatCanBePreparedIsTranslated() {
        const auto outcome = outcomeOf(translated(session(), m_harness->text()));
        QCOMPARE(outcome->error(), QString());
        QCOMPARE(outcome->value(), m_harness->translation());
    }

    void aSessionTranslatesMoreThanOnce() {
        const Session one = session();
        outcomeOf(translated(one, m_harness->text()));
        QCOMPARE(outcomeOf(translated(one, m_harness->text()))->value(), m_harness->translation());
    }

    void theBridgeTranslatesThroughTheSession() {
        TranslationBridge bridge;
        const TranslationHostView host(bridge);
        QCOMPARE(outcomeOf(bridge.translate(m_harness->text(), u"en"_s, u"es"_s))->value(),
                 m_harness->translation());
    }

    void theBridgeTranslatesTheSamePairTwice() {
        TranslationBridge bridge;
        const TranslationHostView host(bridge);
        outcomeOf(bridge.translate(m_harness->text(), u"en"_s, u"es"_s));
        QCOMPARE(outcomeOf(bridge.translate(m_harness->text(), u"en"_s, u"es"_s))->value(),
                 m_harness->translation());
    }

    void aPairThatCannotBeTranslatedGetsASessionToo() {
        m_harness->withdraw();
        QVERIFY(session());
    }

    void preparingAPairThatCannotBeTranslatedFailsWithTheReason() {
        const QString reason = m_harness->withdraw();
        const auto outcome = outcomeOf(prepared(session()));
        QVERIFY(outcome->isDone());
        QCOMPARE(outcome->error(), reason);
    }

private:
    using Session = std::shared_ptr<platform::TranslationSession>;

    Session session() { return m_harness->translators().session(u"en"_s, u"es"_s); }

    std::shared_ptr<Outcome<QString>> outcomeOf(QCoro::Task<QString> task) {
        auto outcome = Outcome<QString>::of(std::move(task));
        ChildProcess::waitUntil([&] {
            m_harness->turn();
            return outcome->isDone();
        });
        return outcome;
    }

    Subjects<TranslatorsHarness> m_subjects;
    std::unique_ptr<TranslatorsHarness> m_harness;
};

} // namespace quillora::test
