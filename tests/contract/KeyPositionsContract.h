#pragma once

#include "contract/Subjects.h"
#include "platform/KeyPositions.h"

#include <QObject>

#include <memory>

namespace quillora::test {

/// Key positions, and the scan codes that the toolkit reports here.
class KeyPositionsHarness {
public:
    virtual ~KeyPositionsHarness() = default;

    virtual platform::KeyPositions &positions() = 0;

    /// What the toolkit reports for the key that has this number.
    virtual quint32 scanCode(quint32 number) const = 0;

    /// A key that the numbering lacks.
    virtual quint32 foreignScanCode() const = 0;
};

/// What all key positions keep to.
class KeyPositionsContract : public QObject {
    Q_OBJECT

public:
    explicit KeyPositionsContract(Subjects<KeyPositionsHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void aKeyHasItsNumber_data();
    void aKeyHasItsNumber();
    void aKeyThatTheNumberingLacksHasNone();
    void aScanCodeOfNoKeyHasNone_data();
    void aScanCodeOfNoKeyHasNone();
    void noTwoKeysShareANumber();
    void allNumbersAreBelow128();

private:
    /// The numbers of all scan codes that have one, in the order of the scan codes.
    QList<quint32> allNumbers();

    Subjects<KeyPositionsHarness> m_subjects;
    std::unique_ptr<KeyPositionsHarness> m_harness;
};

} // namespace quillora::test
