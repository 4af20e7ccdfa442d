#pragma once

#include "contract/Subjects.h"
#include "platform/UserDefaults.h"
#include "support/EventLoopTurns.h"

#include <QTest>

#include <memory>
#include <vector>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// User defaults, and the runs of a program that uses them.
class UserDefaultsHarness {
public:
    virtual ~UserDefaultsHarness() = default;

    virtual platform::UserDefaults &defaults() = 0;

    /// Ends the run and begins the next one on the same store.
    virtual void restart() = 0;

    /// From here on nothing reaches the store.
    virtual void makeUnwritable() = 0;
};

/// What all user defaults keep to.
class UserDefaultsContract : public QObject {
    Q_OBJECT

public:
    explicit UserDefaultsContract(Subjects<UserDefaultsHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() {
        m_failures.clear();
        m_harness = m_subjects.harness();
    }
    void cleanup() { m_harness.reset(); }

    void aKeyThatWasNeverWrittenIsAbsent() { QCOMPARE(defaults().string(u"hotKey"_s), std::nullopt); }

    void aValueIsInEffectAtOnce() {
        defaults().setString(u"es"_s, u"targetLanguageIdentifier"_s);
        QCOMPARE(defaults().string(u"targetLanguageIdentifier"_s), u"es"_s);
    }

    void anEmptyValueIsAValue() {
        defaults().setString({}, u"openAIEndpointString"_s);
        QCOMPARE(defaults().string(u"openAIEndpointString"_s), QString());
        m_harness->restart();
        QCOMPARE(defaults().string(u"openAIEndpointString"_s), QString());
    }

    void theLastValueWins() {
        defaults().setString(u"es"_s, u"targetLanguageIdentifier"_s);
        defaults().setString(u"fr"_s, u"targetLanguageIdentifier"_s);
        m_harness->restart();
        QCOMPARE(defaults().string(u"targetLanguageIdentifier"_s), u"fr"_s);
    }

    void keysAreTakenExactlyAsGiven() {
        defaults().setString(u"one"_s, u"hotKey"_s);
        defaults().setString(u"two"_s, u"HOTKEY"_s);
        m_harness->restart();
        QCOMPARE(defaults().string(u"hotKey"_s), u"one"_s);
        QCOMPARE(defaults().string(u"HOTKEY"_s), u"two"_s);
        QCOMPARE(defaults().string(u"hotkey"_s), std::nullopt);
    }

    void valuesOutliveTheRun_data() {
        QTest::addColumn<QString>("value");
        QTest::newRow("plain") << u"en-US"_s;
        QTest::newRow("newline") << u"two\nlines\r\nor three"_s;
        QTest::newRow("unicode") << u"Қазақша \u4e2d\u6587 \U0001F310"_s;
        QTest::newRow("percent") << u"100%25 of %20 and %"_s;
        QTest::newRow("comma") << u"a,b, c;d"_s;
        QTest::newRow("quotes and backslashes") << uR"(a "quoted" \n \\ ')"_s;
        QTest::newRow("at sign") << u"@Variant(x)"_s;
        QTest::newRow("section") << u"[General]"_s;
        QTest::newRow("equals") << u"key=value"_s;
        QTest::newRow("spaces") << u"  spaces around  "_s;
        QTest::newRow("long") << QString(100'000, u'x');
    }

    void valuesOutliveTheRun() {
        QFETCH(const QString, value);
        defaults().setString(value, u"openAIEndpointString"_s);
        m_harness->restart();
        QCOMPARE(defaults().string(u"openAIEndpointString"_s), value);
    }

    void aStoreThatWorksTellsOfNoFailure() {
        observeFailures();
        defaults().setString(u"es"_s, u"targetLanguageIdentifier"_s);
        letTheEventLoopTurn();
        QVERIFY(m_failures.empty());
    }

    void aFailureToWriteIsToldOnceAndInALaterTurn() {
        observeFailures();
        m_harness->makeUnwritable();
        defaults().setString(u"es"_s, u"targetLanguageIdentifier"_s);
        QVERIFY(m_failures.empty());
        QTRY_VERIFY(m_failures == unwritableOnce);
        defaults().setString(u"fr"_s, u"targetLanguageIdentifier"_s);
        letTheEventLoopTurn();
        QVERIFY(m_failures == unwritableOnce);
    }

    void whatCannotBeWrittenStaysInEffect() {
        m_harness->makeUnwritable();
        defaults().setString(u"es"_s, u"targetLanguageIdentifier"_s);
        letTheEventLoopTurn();
        QCOMPARE(defaults().string(u"targetLanguageIdentifier"_s), u"es"_s);
    }

    void anObserverLearnsOfAFailureThatCameBeforeIt() {
        m_harness->makeUnwritable();
        defaults().setString(u"es"_s, u"targetLanguageIdentifier"_s);
        letTheEventLoopTurn();
        observeFailures();
        QVERIFY(m_failures.empty());
        QTRY_VERIFY(m_failures == unwritableOnce);
    }

    void noObserverIsToldNothing() {
        observeFailures();
        defaults().setFailureObserver({});
        m_harness->makeUnwritable();
        defaults().setString(u"es"_s, u"targetLanguageIdentifier"_s);
        letTheEventLoopTurn();
        QVERIFY(m_failures.empty());
    }

private:
    using UserDefaultsFailure = platform::UserDefaultsFailure;

    static inline const std::vector<UserDefaultsFailure> unwritableOnce{UserDefaultsFailure::unwritable};

    platform::UserDefaults &defaults() { return m_harness->defaults(); }

    void observeFailures() {
        defaults().setFailureObserver([this](UserDefaultsFailure failure) { m_failures.push_back(failure); });
    }

    Subjects<UserDefaultsHarness> m_subjects;
    std::unique_ptr<UserDefaultsHarness> m_harness;
    std::vector<platform::UserDefaultsFailure> m_failures; ///< that were told
};

} // namespace quillora::test
