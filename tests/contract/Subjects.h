#pragma once

#include <QTest>

#include <functional>
#include <initializer_list>
#include <memory>
#include <vector>

namespace quillora::test {

/// Whom a contract is held against: the fake and the real things, each with a name and a way to make the
/// harness around it.
///
/// The contract hands them to the test library, which runs every function once for each of them, so that a
/// failure names its subject: "FAIL! : KeychainContract::whatWasAddedIsFound(fake)". That run alone is
/// `KeychainContractTest whatWasAddedIsFound:fake`.
template <typename Harness>
class Subjects {
public:
    struct Subject {
        const char *name;
        std::function<std::unique_ptr<Harness>()> makeHarness;
    };

    Subjects(std::initializer_list<Subject> subjects) : m_subjects(subjects) {}

    /// The contract's initTestCase_data().
    void announce() const {
        QTest::addColumn<std::function<std::unique_ptr<Harness>()>>("makeHarness");
        for (const auto &[name, makeHarness] : m_subjects)
            QTest::newRow(name) << makeHarness;
    }

    /// For the contract's init(): a harness around the one whose turn it is.
    std::unique_ptr<Harness> harness() const {
        QFETCH_GLOBAL(std::function<std::unique_ptr<Harness>()>, makeHarness);
        return makeHarness();
    }

private:
    std::vector<Subject> m_subjects;
};

} // namespace quillora::test
