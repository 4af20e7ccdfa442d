#pragma once

#include "contract/Subjects.h"
#include "platform/LocaleServices.h"

#include <QTest>

#include <memory>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// What all locale services keep to, for an English user.
class LocaleServicesContract : public QObject {
    Q_OBJECT

public:
    explicit LocaleServicesContract(Subjects<platform::LocaleServices> subjects)
        : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_services = m_subjects.harness(); }
    void cleanup() { m_services.reset(); }

    void componentsAreWhatTheIdentifierNames_data() {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("languageCode"); // empty: absent
        QTest::addColumn<QString>("region");
        QTest::newRow("language and region") << u"en-US"_s << u"en"_s << u"US"_s;
        QTest::newRow("underscore") << u"pt_BR"_s << u"pt"_s << u"BR"_s;
        QTest::newRow("numeric region") << u"es-419"_s << u"es"_s << u"419"_s;
        QTest::newRow("no region") << u"ar"_s << u"ar"_s << QString();
        QTest::newRow("no script is guessed") << u"zh-CN"_s << u"zh"_s << u"CN"_s;
        QTest::newRow("script") << u"zh-Hant-TW"_s << u"zh"_s << u"TW"_s;
        QTest::newRow("unknown language") << u"xx"_s << u"xx"_s << QString();
        QTest::newRow("unknown bare code of three") << u"qqz"_s << u"qqz"_s << QString();
        QTest::newRow("letters in the wrong case") << u"EN-us"_s << u"en"_s << u"US"_s;
        QTest::newRow("empty") << QString() << QString() << QString();
        QTest::newRow("garbage") << u"!!"_s << QString() << QString();
        QTest::newRow("digits") << u"1234"_s << QString() << QString();
        QTest::newRow("hyphens") << u"--"_s << QString() << QString();
        QTest::newRow("a sentence") << u"not a locale at all"_s << QString() << QString();
    }

    void componentsAreWhatTheIdentifierNames() {
        QFETCH(const QString, identifier);
        QFETCH(const QString, languageCode);
        QFETCH(const QString, region);
        const auto components = m_services->components(identifier);
        QCOMPARE(components.languageCode.value_or(QString()), languageCode);
        QCOMPARE(components.languageCode.has_value(), !languageCode.isEmpty());
        QCOMPARE(components.region.value_or(QString()), region);
        QCOMPARE(components.region.has_value(), !region.isEmpty());
    }

    void aKnownLocaleHasADisplayName_data() {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("name");
        QTest::newRow("en-US") << u"en-US"_s << u"English (United States)"_s;
        QTest::newRow("ru-RU") << u"ru-RU"_s << u"Russian (Russia)"_s;
        QTest::newRow("es-ES") << u"es-ES"_s << u"Spanish (Spain)"_s;
        QTest::newRow("ar") << u"ar"_s << u"Arabic"_s;
    }

    void aKnownLocaleHasADisplayName() {
        QFETCH(const QString, identifier);
        QFETCH(const QString, name);
        QCOMPARE(m_services->localizedString(identifier), name);
    }

    void anUnknownLocaleHasNoDisplayName_data() {
        QTest::addColumn<QString>("identifier");
        QTest::newRow("unknown language") << u"xx"_s;
        QTest::newRow("unknown language, known region") << u"xx-US"_s;
        QTest::newRow("empty") << QString();
        QTest::newRow("garbage") << u"!!"_s;
    }

    void anUnknownLocaleHasNoDisplayName() {
        QFETCH(const QString, identifier);
        QCOMPARE(m_services->localizedString(identifier), std::nullopt);
    }

    void capitalizingTouchesEveryWord_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("capitalized");
        QTest::newRow("one word") << u"english"_s << u"English"_s;
        QTest::newRow("several") << u"english (united states)"_s << u"English (United States)"_s;
        QTest::newRow("identifier") << u"xx-us"_s << u"Xx-Us"_s;
        QTest::newRow("empty") << QString() << QString();
    }

    void capitalizingTouchesEveryWord() {
        QFETCH(const QString, text);
        QFETCH(const QString, capitalized);
        QCOMPARE(m_services->capitalized(text), capitalized);
    }

    void comparisonIgnoresCase() {
        QCOMPARE(m_services->localizedCaseInsensitiveCompare(u"English"_s, u"eNGLISH"_s), 0);
        QVERIFY(m_services->localizedCaseInsensitiveCompare(u"dutch"_s, u"English"_s) < 0);
        QVERIFY(m_services->localizedCaseInsensitiveCompare(u"Dutch"_s, u"english"_s) < 0);
    }

    void comparisonIsByAlphabet() {
        QVERIFY(m_services->localizedCaseInsensitiveCompare(u"Arabic"_s, u"Vietnamese"_s) < 0);
        QVERIFY(m_services->localizedCaseInsensitiveCompare(u"Vietnamese"_s, u"Arabic"_s) > 0);
    }

private:
    using Components = platform::LocaleServices::Components;

    Subjects<platform::LocaleServices> m_subjects;
    std::unique_ptr<platform::LocaleServices> m_services;
};

} // namespace quillora::test
