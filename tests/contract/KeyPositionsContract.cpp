#include "contract/KeyPositionsContract.h"

#include <QSet>
#include <QTest>

#include <algorithm>

namespace quillora::test {

QList<quint32> KeyPositionsContract::allNumbers() {
    constexpr quint32 scanCodes = 4096; // well above what toolkits report
    QList<quint32> numbers;
    for (quint32 scanCode = 0; scanCode < scanCodes; ++scanCode)
        if (const auto number = m_harness->positions().keyCode(scanCode))
            numbers.append(*number);
    return numbers;
}

void KeyPositionsContract::aKeyHasItsNumber_data() {
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

void KeyPositionsContract::aKeyHasItsNumber() {
    QFETCH(const quint32, number);
    QCOMPARE(m_harness->positions().keyCode(m_harness->scanCode(number)), std::optional(number));
}

void KeyPositionsContract::aKeyThatTheNumberingLacksHasNone() {
    QCOMPARE(m_harness->positions().keyCode(m_harness->foreignScanCode()), std::nullopt);
}

void KeyPositionsContract::aScanCodeOfNoKeyHasNone_data() {
    QTest::addColumn<quint32>("scanCode");
    QTest::newRow("what an event without a key bears") << 0u;
    QTest::newRow("the largest number") << 4294967295u;
}

void KeyPositionsContract::aScanCodeOfNoKeyHasNone() {
    QFETCH(const quint32, scanCode);
    QCOMPARE(m_harness->positions().keyCode(scanCode), std::nullopt);
}

void KeyPositionsContract::noTwoKeysShareANumber() {
    const QList<quint32> numbers = allNumbers();
    QCOMPARE(QSet(numbers.begin(), numbers.end()).size(), numbers.size());
}

void KeyPositionsContract::allNumbersAreBelow128() {
    const QList<quint32> numbers = allNumbers();
    QVERIFY(!numbers.isEmpty());
    QVERIFY(*std::max_element(numbers.begin(), numbers.end()) < 128);
}

} // namespace quillora::test
