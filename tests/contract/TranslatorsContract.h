#pragma once

#include "contract/Subjects.h"
#include "platform/Translators.h"
#include "support/Outcome.h"

#include <QObject>

#include <memory>
#include <optional>

namespace quillora::test {

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

    void everySessionIsItsOwn();
    void aPairThatCanBePreparedIsTranslated();
    void aSessionTranslatesMoreThanOnce();
    void theBridgeTranslatesThroughTheSession();
    void theBridgeTranslatesTheSamePairTwice();
    void aPairThatCannotBeTranslatedGetsASessionToo();
    void preparingAPairThatCannotBeTranslatedFailsWithTheReason();

private:
    std::shared_ptr<platform::TranslationSession> session();
    std::shared_ptr<Outcome<QString>> outcomeOf(QCoro::Task<QString> task);

    Subjects<TranslatorsHarness> m_subjects;
    std::unique_ptr<TranslatorsHarness> m_harness;
};

} // namespace quillora::test
