#pragma once

#include "contract/Subjects.h"
#include "platform/LocaleServices.h"

#include <QTest>

#include <memory>

namespace quillora::test {

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
        QTest::newRow("language and region") << u"en-US"_qs << u"en"_qs << u"US"_qs;
        QTest::newRow("underscore") << u"pt_BR"_qs << u"pt"_qs << u"BR"_qs;
        QTest::newRow("numeric region") << u"es-419"_qs << u"es"_qs << u"419"_qs;
        QTest::newRow("no region") << u"ar"_qs << u"ar"_qs << QString();
        QTest::newRow("no script is guessed") << u"zh-CN"_qs << u"zh"_qs << u"CN"_qs;
        QTest::newRow("script") << u"zh-Hant-TW"_qs << u"zh"_qs << u"TW"_qs;
        QTest::newRow("unknown language") << u"xx"_qs << u"xx"_qs << QString();
        QTest::newRow("unknown bare code of three") << u"qqz"_qs << u"qqz"_qs << QString();
        QTest::newRow("letters in the wrong case") << u"EN-us"_qs << u"en"_qs << u"US"_qs;
        QTest::newRow("empty") << QString() << QString() << QString();
        QTest::newRow("garbage") << u"!!"_qs << QString() << QString();
        QTest::newRow("digits") << u"1234"_qs << QString() << QString();
        QTest::newRow("hyphens") << u"--"_qs << QString() << QString();
        QTest::newRow("a sentence") << u"not a locale at all"_qs << QString() << QString();
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
        QTest::newRow("en-US") << u"en-US"_qs << u"English (United States)"_qs;
        QTest::newRow("ru-RU") << u"ru-RU"_qs << u"Russian (Russia)"_qs;
        QTest::newRow("es-ES") << u"es-ES"_qs << u"Spanish (Spain)"_qs;
        QTest::newRow("ar") << u"ar"_qs << u"Arabic"_qs;
    }

    void aKnownLocaleHasADisplayName() {
        QFETCH(const QString, identifier);
        QFETCH(const QString, name);
        QCOMPARE(m_services->localizedString(identifier), name);
    }

    void anUnknownLocaleHasNoDisplayName_data() {
        QTest::addColumn<QString>("identifier");
        QTest::newRow("unknown language") << u"xx"_qs;
        QTest::newRow("unknown language, known region") << u"xx-US"_qs;
        QTest::newRow("empty") << QString();
        QTest::newRow("garbage") << u"!!"_qs;
    }

    void anUnknownLocaleHasNoDisplayName() {
        QFETCH(const QString, identifier);
        QCOMPARE(m_services->localizedString(identifier), std::nullopt);
    }

    void capitalizingTouchesEveryWord_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("capitalized");
        QTest::newRow("one word") << u"english"_qs << u"English"_qs;
        QTest::newRow("several") << u"english (united states)"_qs << u"English (United States)"_qs;
        QTest::newRow("identifier") << u"xx-us"_qs << u"Xx-Us"_qs;
        QTest::newRow("empty") << QString() << QString();
    }

    void capitalizingTouchesEveryWord() {
        QFETCH(const QString, text);
        QFETCH(const QString, capitalized);
        QCOMPARE(m_services->capitalized(text), capitalized);
    }

    void comparisonIgnoresCase() {
        QCOMPARE(m_services->localizedCaseInsensitiveCompare(u"English"_qs, u"eNGLISH"_qs), 0);
        QVERIFY(m_services->localizedCaseInsensitiveCompare(u"dutch"_qs, u"English"_qs) < 0);
        QVERIFY(m_services->localizedCaseInsensitiveCompare(u"Dutch"_qs, u"english"_qs) < 0);
    }

    void comparisonIsByAlphabet() {
        QVERIFY(m_services->localizedCaseInsensitiveCompare(u"Arabic"_qs, u"Vietnamese"_qs) < 0);
        QVERIFY(m_services->localizedCaseInsensitiveCompare(u"Vietnamese"_qs, u"Arabic"_qs) > 0);
    }

private:
    using Components = platform::LocaleServices::Components;

    Subjects<platform::LocaleServices> m_subjects;
    std::unique_ptr<platform::LocaleServices> m_services;
};

} // namespace quillora::test
