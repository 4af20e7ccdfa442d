#include "platform/linux/locale/IcuLocaleServices.h"

#include <QTest>

using namespace Qt::StringLiterals;

using quillora::platform::IcuLocaleServices;

/// Names, capitals and order for users of several countries.
class IcuLocaleServicesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void namesAreInTheUsersLanguage_data();
    void namesAreInTheUsersLanguage();
    void capitalsFollowTheUsersLanguage_data();
    void capitalsFollowTheUsersLanguage();
    void orderFollowsTheUsersAlphabet_data();
    void orderFollowsTheUsersAlphabet();
    void theEnvironmentNamesTheUsersLocale_data();
    void theEnvironmentNamesTheUsersLocale();
};

void IcuLocaleServicesTest::namesAreInTheUsersLanguage_data() {
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("name");
    QTest::newRow("en_US") << u"en_US"_s << u"German (Germany)"_s;
    QTest::newRow("ru_RU") << u"ru_RU.UTF-8"_s << u"немецкий (Германия)"_s;
    QTest::newRow("tr_TR") << u"tr_TR.UTF-8"_s << u"Almanca (Almanya)"_s;
    QTest::newRow("de_DE") << u"de_DE@euro"_s << u"Deutsch (Deutschland)"_s;
    QTest::newRow("no locale") << QString() << u"German (Germany)"_s;
    QTest::newRow("C") << u"C.UTF-8"_s << u"German (Germany)"_s;
}

void IcuLocaleServicesTest::namesAreInTheUsersLanguage() {
    QFETCH(const QString, user);
    QFETCH(const QString, name);
    QCOMPARE(IcuLocaleServices(user).localizedString(u"de-DE"_s), name);
}

void IcuLocaleServicesTest::capitalsFollowTheUsersLanguage_data() {
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("capitalized");
    QTest::newRow("en_US") << u"en_US"_s << u"istanbul italian"_s << u"Istanbul Italian"_s;
    QTest::newRow("ru_RU") << u"ru_RU"_s << u"немецкий (Германия)"_s << u"Немецкий (Германия)"_s;
    QTest::newRow("tr_TR") << u"tr_TR"_s << u"istanbul ılık"_s << u"İstanbul Ilık"_s;
    QTest::newRow("de_DE") << u"de_DE"_s << u"österreich"_s << u"Österreich"_s;
    QTest::newRow("no locale") << QString() << u"istanbul"_s << u"Istanbul"_s;
}

void IcuLocaleServicesTest::capitalsFollowTheUsersLanguage() {
    QFETCH(const QString, user);
    QFETCH(const QString, text);
    QFETCH(const QString, capitalized);
    QCOMPARE(IcuLocaleServices(user).capitalized(text), capitalized);
}

void IcuLocaleServicesTest::orderFollowsTheUsersAlphabet_data() {
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::newRow("en_US: accents within their letter") << u"en_US"_s << u"Österreich"_s << u"Portugal"_s;
    QTest::newRow("ru_RU: yo after ye") << u"ru_RU"_s << u"елка"_s << u"Ёлка"_s;
    QTest::newRow("tr_TR: dotless before dotted") << u"tr_TR"_s << u"Irak"_s << u"iran"_s;
    QTest::newRow("tr_TR: the dotless one in lower case") << u"tr_TR"_s << u"ırak"_s << u"İran"_s;
    QTest::newRow("de_DE: umlaut beside its vowel") << u"de_DE"_s << u"Ägypten"_s << u"Belgien"_s;
    QTest::newRow("no locale") << QString() << u"apple"_s << u"Banana"_s;
}

void IcuLocaleServicesTest::orderFollowsTheUsersAlphabet() {
    QFETCH(const QString, user);
    QFETCH(const QString, first);
    QFETCH(const QString, second);
    const IcuLocaleServices services(user);
    QVERIFY(services.localizedCaseInsensitiveCompare(first, second) < 0);
    QVERIFY(services.localizedCaseInsensitiveCompare(second, first) > 0);
}

void IcuLocaleServicesTest::theEnvironmentNamesTheUsersLocale_data() {
    QTest::addColumn<QString>("all");
    QTest::addColumn<QString>("messages");
    QTest::addColumn<QString>("lang");
    QTest::addColumn<QString>("name");
    QTest::newRow("nothing is set") << QString() << QString() << QString() << u"German"_s;
    QTest::newRow("LANG") << QString() << QString() << u"ru_RU.UTF-8"_s << u"немецкий"_s;
    QTest::newRow("LC_MESSAGES wins over LANG") << QString() << u"tr_TR"_s << u"ru_RU"_s << u"Almanca"_s;
    QTest::newRow("LC_ALL wins over all") << u"de_DE"_s << u"tr_TR"_s << u"ru_RU"_s << u"Deutsch"_s;
    QTest::newRow("LC_ALL=C") << u"C"_s << QString() << u"ru_RU"_s << u"German"_s;
}

void IcuLocaleServicesTest::theEnvironmentNamesTheUsersLocale() {
    QFETCH(const QString, all);
    QFETCH(const QString, messages);
    QFETCH(const QString, lang);
    QFETCH(const QString, name);
    qputenv("LC_ALL", all.toUtf8());
    qputenv("LC_MESSAGES", messages.toUtf8());
    qputenv("LANG", lang.toUtf8());
    QCOMPARE(IcuLocaleServices().localizedString(u"de"_s), name);
}

QTEST_APPLESS_MAIN(IcuLocaleServicesTest)
#include "IcuLocaleServicesTest.moc"
