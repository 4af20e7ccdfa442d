#include "contract/UserDefaultsContract.h"
#include "support/EventLoopTurns.h"

#include <QTest>

namespace quillora::test {

using platform::UserDefaultsFailure;

namespace {

const std::vector<UserDefaultsFailure> unwritableOnce{UserDefaultsFailure::unwritable};

} // namespace

void UserDefaultsContract::aKeyThatWasNeverWrittenIsAbsent() {
    QCOMPARE(defaults().string(u"hotKey"_qs), std::nullopt);
}

void UserDefaultsContract::aValueIsInEffectAtOnce() {
    defaults().setString(u"es"_qs, u"targetLanguageIdentifier"_qs);
    QCOMPARE(defaults().string(u"targetLanguageIdentifier"_qs), u"es"_qs);
}

void UserDefaultsContract::anEmptyValueIsAValue() {
    defaults().setString({}, u"openAIEndpointString"_qs);
    QCOMPARE(defaults().string(u"openAIEndpointString"_qs), QString());
    m_harness->restart();
    QCOMPARE(defaults().string(u"openAIEndpointString"_qs), QString());
}

void UserDefaultsContract::theLastValueWins() {
    defaults().setString(u"es"_qs, u"targetLanguageIdentifier"_qs);
    defaults().setString(u"fr"_qs, u"targetLanguageIdentifier"_qs);
    m_harness->restart();
    QCOMPARE(defaults().string(u"targetLanguageIdentifier"_qs), u"fr"_qs);
}

void UserDefaultsContract::keysAreTakenExactlyAsGiven() {
    defaults().setString(u"one"_qs, u"hotKey"_qs);
    defaults().setString(u"two"_qs, u"HOTKEY"_qs);
    m_harness->restart();
    QCOMPARE(defaults().string(u"hotKey"_qs), u"one"_qs);
    QCOMPARE(defaults().string(u"HOTKEY"_qs), u"two"_qs);
    QCOMPARE(defaults().string(u"hotkey"_qs), std::nullopt);
}

void UserDefaultsContract::valuesOutliveTheRun_data() {
    QTest::addColumn<QString>("value");
    QTest::newRow("plain") << u"en-US"_qs;
    QTest::newRow("newline") << u"two\nlines\r\nor three"_qs;
    QTest::newRow("unicode") << u"Қазақша \u4e2d\u6587 \U0001F310"_qs;
    QTest::newRow("percent") << u"100%25 of %20 and %"_qs;
    QTest::newRow("comma") << u"a,b, c;d"_qs;
    QTest::newRow("quotes and backslashes") << uR"(a "quoted" \n \\ ')"_qs;
    QTest::newRow("at sign") << u"@Variant(x)"_qs;
    QTest::newRow("section") << u"[General]"_qs;
    QTest::newRow("equals") << u"key=value"_qs;
    QTest::newRow("spaces") << u"  spaces around  "_qs;
    QTest::newRow("long") << QString(100'000, u'x');
}

void UserDefaultsContract::valuesOutliveTheRun() {
    QFETCH(const QString, value);
    defaults().setString(value, u"openAIEndpointString"_qs);
    m_harness->restart();
    QCOMPARE(defaults().string(u"openAIEndpointString"_qs), value);
}

void UserDefaultsContract::observeFailures() {
    defaults().setFailureObserver([this](UserDefaultsFailure failure) { m_failures.push_back(failure); });
}

void UserDefaultsContract::aStoreThatWorksTellsOfNoFailure() {
    observeFailures();
    defaults().setString(u"es"_qs, u"targetLanguageIdentifier"_qs);
    letTheEventLoopTurn();
    QVERIFY(m_failures.empty());
}

void UserDefaultsContract::aFailureToWriteIsToldOnceAndInALaterTurn() {
    observeFailures();
    m_harness->makeUnwritable();
    defaults().setString(u"es"_qs, u"targetLanguageIdentifier"_qs);
    QVERIFY(m_failures.empty());
    QTRY_VERIFY(m_failures == unwritableOnce);
    defaults().setString(u"fr"_qs, u"targetLanguageIdentifier"_qs);
    letTheEventLoopTurn();
    QVERIFY(m_failures == unwritableOnce);
}

void UserDefaultsContract::whatCannotBeWrittenStaysInEffect() {
    m_harness->makeUnwritable();
    defaults().setString(u"es"_qs, u"targetLanguageIdentifier"_qs);
    letTheEventLoopTurn();
    QCOMPARE(defaults().string(u"targetLanguageIdentifier"_qs), u"es"_qs);
}

void UserDefaultsContract::anObserverLearnsOfAFailureThatCameBeforeIt() {
    m_harness->makeUnwritable();
    defaults().setString(u"es"_qs, u"targetLanguageIdentifier"_qs);
    letTheEventLoopTurn();
    observeFailures();
    QVERIFY(m_failures.empty());
    QTRY_VERIFY(m_failures == unwritableOnce);
}

void UserDefaultsContract::noObserverIsToldNothing() {
    observeFailures();
    defaults().setFailureObserver({});
    m_harness->makeUnwritable();
    defaults().setString(u"es"_qs, u"targetLanguageIdentifier"_qs);
    letTheEventLoopTurn();
    QVERIFY(m_failures.empty());
}

} // namespace quillora::test
