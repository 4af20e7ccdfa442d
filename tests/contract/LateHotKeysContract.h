#pragma once

#include "contract/HotKeysContract.h"

namespace quillora::test {

using namespace Qt::StringLiterals;

/// Where somebody decides about a combination after it has been taken.
class LateHotKeysHarness : public HotKeysHarness {
public:
    /// This is said of the taken combination.
    virtual void decide(const AppHotKey &combination, const platform::HotKeyOutcome &outcome) = 0;
};

/// What the implementations of HotKeys do beyond the others that are told later.
class LateHotKeysContract : public HotKeysContract {
    Q_OBJECT

public:
    explicit LateHotKeysContract(const Subjects<LateHotKeysHarness> &subjects) : HotKeysContract(subjects) {}

private Q_SLOTS:
    void aRefusalThatComesLaterIsTold() {
        takeIt();
        decide(outcome(Kind::refused));
        QCOMPARE(m_outcomes, QList{outcome(Kind::refused)});
        tap(combination);
        QVERIFY(m_events.isEmpty());
    }

    void aCombinationThatTheDesktopPutsInItsPlaceIsToldInTheDesktopsWords() {
        takeIt();
        const platform::HotKeyOutcome decision{Kind::boundElsewhere, u"Meta+K"_s};
        decide(decision);
        QCOMPARE(m_outcomes, QList{decision});
    }

private:
    void decide(const platform::HotKeyOutcome &outcome) {
        static_cast<LateHotKeysHarness &>(*m_harness).decide(combination, outcome);
        m_harness->settle();
    }
};

} // namespace quillora::test
