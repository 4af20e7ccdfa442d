#pragma once

#include "contract/Subjects.h"
#include "platform/ModelSpace.h"

#include <QTest>

#include <memory>

namespace quillora::test {

/// The room that models take, and what comes to be there. Nothing is there at first.
class ModelSpaceHarness {
public:
    virtual ~ModelSpaceHarness() = default;

    virtual platform::ModelSpace &space() = 0;

    /// A model of so many bytes is installed, and deleted again.
    virtual void install(qint64 bytes) = 0;
    virtual void deleteModels() = 0;

    /// So many bytes of a model that is not complete yet have come.
    virtual void download(qint64 bytes) = 0;
};

/// What all who tell of the models' room keep to.
class ModelSpaceContract : public QObject {
    Q_OBJECT

public:
    explicit ModelSpaceContract(Subjects<ModelSpaceHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void beforeTheFirstModelNothingIsTaken() { QCOMPARE(m_harness->space().used(), 0); }

    void beforeTheFirstModelThereIsRoomForIt() { QVERIFY(m_harness->space().free().value_or(0) > 0); }

    void whatModelsTakeIsTheSumOfThem() {
        m_harness->install(1000);
        m_harness->install(200);
        QCOMPARE(m_harness->space().used(), 1200);
    }

    void whatHasBeenDownloadedCountsToo() {
        m_harness->install(1000);
        m_harness->download(300);
        QCOMPARE(m_harness->space().used(), 1300);
    }

    void whatIsDeletedTakesNothing() {
        m_harness->install(1000);
        m_harness->deleteModels();
        QCOMPARE(m_harness->space().used(), 0);
    }

private:
    std::unique_ptr<ModelSpaceHarness> m_harness;
    Subjects<ModelSpaceHarness> m_subjects;
};

} // namespace quillora::test
