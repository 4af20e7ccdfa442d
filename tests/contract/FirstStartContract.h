#pragma once

#include "contract/Subjects.h"
#include "platform/FirstStart.h"

#include <QTest>

#include <memory>
#include <utility>

namespace quillora::test {

/// Starts of the program, one after the other.
class FirstStartHarness {
public:
    virtual ~FirstStartHarness() = default;

    /// That of the program as it runs.
    virtual platform::FirstStart &firstStart() = 0;

    /// The program ends and is started again.
    virtual void startAgain() = 0;
};

/// What all first starts do.
class FirstStartContract : public QObject {
    Q_OBJECT

public:
    explicit FirstStartContract(Subjects<FirstStartHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void itIsNotOverBeforeItIsEnded() {
        QVERIFY(!m_harness->firstStart().isOver());
        m_harness->startAgain();
        QVERIFY(!m_harness->firstStart().isOver());
    }

    void itIsOverOnceItIsEnded() {
        m_harness->firstStart().end();
        QVERIFY(m_harness->firstStart().isOver());
        m_harness->firstStart().end();
        QVERIFY(m_harness->firstStart().isOver());
    }

    void itIsOverAfterTheProgramsEndToo() {
        m_harness->firstStart().end();
        m_harness->startAgain();
        QVERIFY(m_harness->firstStart().isOver());
    }

private:
    const Subjects<FirstStartHarness> m_subjects;
    std::unique_ptr<FirstStartHarness> m_harness;
};

} // namespace quillora::test
