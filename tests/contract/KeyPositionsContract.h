#pragma once

#include "contract/Subjects.h"
#include "platform/KeyPositions.h"

#include <QSet>
#include <QTest>

#include <algorithm>
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

    void aKeyHasItsNumber_data() {
        QTest::addColumn<quint32>("number");
        QTest::newRow("A") << 0u;
        QTest::newRow("Z") << 6u;
        QTest::newRow("1") << 18u;
        QTest::newRow("Space") << 49u;
        QTest::newRow("Esc") << 53u;
        QTest::newRow("Return") << 36u;
        QTest::newRow("Left") << 123u;
        QTest::newRow("F5") << 96u;
        QTest::newRow("keypad Enter") << 76u;
        QTest::newRow("left Shift") << 56u;
    }

    void aKeyHasItsNumber() {
        QFETCH(const quint32, number);
        QCOMPARE(m_harness->positions().keyCode(m_harness->scanCode(number)), std::optional(number));
    }

    void aKeyThatTheNumberingLacksHasNone() {
        QCOMPARE(m_harness->positions().keyCode(m_harness->foreignScanCode()), std::nullopt);
    }

    void aScanCodeOfNoKeyHasNone_data() {
        QTest::addColumn<quint32>("scanCode");
        QTest::newRow("what an event without a key bears") << 0u;
        QTest::newRow("the largest number") << 4294967295u;
    }

    void aScanCodeOfNoKeyHasNone() {
        QFETCH(const quint32, scanCode);
        QCOMPARE(m_harness->positions().keyCode(scanCode), std::nullopt);
    }

    void noTwoKeysShareANumber() {
        const QList<quint32> numbers = allNumbers();
        QCOMPARE(QSet(numbers.begin(), numbers.end()).size(), numbers.size());
    }

    void allNumbersAreBelow128() {
        const QList<quint32> numbers = allNumbers();
        QVERIFY(!numbers.isEmpty());
        QVERIFY(*std::max_element(numbers.begin(), numbers.end()) < 128);
    }

private:
    /// The numbers of all scan codes that have one, in the order of the scan codes.
    QList<quint32> allNumbers() {
        constexpr quint32 scanCodes = 4096; // well above what toolkits report
        QList<quint32> numbers;
        for (quint32 scanCode = 0; scanCode < scanCodes; ++scanCode)
            if (const auto number = m_harness->positions().keyCode(scanCode))
                numbers.append(*number);
        return numbers;
    }

    Subjects<KeyPositionsHarness> m_subjects;
    std::unique_ptr<KeyPositionsHarness> m_harness;
};

} // namespace quillora::test
