#pragma once

#include "platform/TranslationSession.h"
#include "support/TaskOutcome.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>

namespace quillora::test {

/// A translation provider that knows one pair, and the turning of its event loop.
class TranslationProviderHarness {
public:
    virtual ~TranslationProviderHarness() = default;

    virtual platform::TranslationProvider &provider() = 0;

    /// Runs what is due now.
    virtual void turn() = 0;

    /// A text in the source language "en", and what becomes of it in "es".
    virtual QString text() const = 0;
    virtual QString translation() const = 0;

    /// From now on no pair can be prepared; the reason that the user is told.
    virtual QString withdraw() = 0;
};

/// What every translation provider keeps to.
class TranslationProviderContract : public QObject {
    Q_OBJECT

public:
    using MakeHarness = std::function<std::unique_ptr<TranslationProviderHarness>()>;

    explicit TranslationProviderContract(MakeHarness make) : m_make(std::move(make)) {}

private Q_SLOTS:
    void init() { m_harness = m_make(); }
    void cleanup() { m_harness.reset(); }

    void theSessionComesInALaterTurn();
    void everyTaskBringsOneSession();
    void aPairThatCanBePreparedIsTranslated();
    void aSessionTranslatesMoreThanOnce();
    void theBridgeTranslatesThroughTheProvider();
    void theBridgeTranslatesTheSamePairTwice();
    void aPairThatCannotBeTranslatedGetsASessionToo();
    void preparingAPairThatCannotBeTranslatedFailsWithTheReason();

private:
    std::shared_ptr<platform::TranslationSession> session();
    TaskOutcome outcomeOf(QCoro::Task<QString> task);
    platform::TranslationConfiguration pair() const { return {u"en"_qs, u"es"_qs}; }

    MakeHarness m_make;
    std::unique_ptr<TranslationProviderHarness> m_harness;
};

} // namespace quillora::test
