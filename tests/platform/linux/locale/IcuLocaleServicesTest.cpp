#include "platform/linux/locale/IcuLocaleServices.h"

#include <QTest>

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
    QTest::newRow("en_US") << u"en_US"_qs << u"German (Germany)"_qs;
    QTest::newRow("ru_RU") << u"ru_RU.UTF-8"_qs << u"немецкий (Германия)"_qs;
    QTest::newRow("tr_TR") << u"tr_TR.UTF-8"_qs << u"Almanca (Almanya)"_qs;
    QTest::newRow("de_DE") << u"de_DE@euro"_qs << u"Deutsch (Deutschland)"_qs;
    QTest::newRow("no locale") << QString() << u"German (Germany)"_qs;
    QTest::newRow("C") << u"C.UTF-8"_qs << u"German (Germany)"_qs;
}

void IcuLocaleServicesTest::namesAreInTheUsersLanguage() {
    QFETCH(const QString, user);
    QFETCH(const QString, name);
    QCOMPARE(IcuLocaleServices(user).localizedString(u"de-DE"_qs), name);
}

void IcuLocaleServicesTest::capitalsFollowTheUsersLanguage_data() {
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("capitalized");
    QTest::newRow("en_US") << u"en_US"_qs << u"istanbul italian"_qs << u"Istanbul Italian"_qs;
    QTest::newRow("ru_RU") << u"ru_RU"_qs << u"немецкий (Германия)"_qs << u"Немецкий (Германия)"_qs;
    QTest::newRow("tr_TR") << u"tr_TR"_qs << u"istanbul ılık"_qs << u"İstanbul Ilık"_qs;
    QTest::newRow("de_DE") << u"de_DE"_qs << u"österreich"_qs << u"Österreich"_qs;
    QTest::newRow("no locale") << QString() << u"istanbul"_qs << u"Istanbul"_qs;
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
    QTest::newRow("en_US: accents within their letter") << u"en_US"_qs << u"Österreich"_qs << u"Portugal"_qs;
    QTest::newRow("ru_RU: yo after ye") << u"ru_RU"_qs << u"елка"_qs << u"Ёлка"_qs;
    QTest::newRow("tr_TR: dotless before dotted") << u"tr_TR"_qs << u"Irak"_qs << u"iran"_qs;
    QTest::newRow("tr_TR: the dotless one in lower case") << u"tr_TR"_qs << u"ırak"_qs << u"İran"_qs;
    QTest::newRow("de_DE: umlaut beside its vowel") << u"de_DE"_qs << u"Ägypten"_qs << u"Belgien"_qs;
    QTest::newRow("no locale") << QString() << u"apple"_qs << u"Banana"_qs;
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
    QTest::newRow("nothing is set") << QString() << QString() << QString() << u"German"_qs;
    QTest::newRow("LANG") << QString() << QString() << u"ru_RU.UTF-8"_qs << u"немецкий"_qs;
    QTest::newRow("LC_MESSAGES wins over LANG") << QString() << u"tr_TR"_qs << u"ru_RU"_qs << u"Almanca"_qs;
    QTest::newRow("LC_ALL wins over all") << u"de_DE"_qs << u"tr_TR"_qs << u"ru_RU"_qs << u"Deutsch"_qs;
    QTest::newRow("LC_ALL=C") << u"C"_qs << QString() << u"ru_RU"_qs << u"German"_qs;
}

void IcuLocaleServicesTest::theEnvironmentNamesTheUsersLocale() {
    QFETCH(const QString, all);
    QFETCH(const QString, messages);
    QFETCH(const QString, lang);
    QFETCH(const QString, name);
    qputenv("LC_ALL", all.toUtf8());
    qputenv("LC_MESSAGES", messages.toUtf8());
    qputenv("LANG", lang.toUtf8());
    QCOMPARE(IcuLocaleServices().localizedString(u"de"_qs), name);
}

QTEST_APPLESS_MAIN(IcuLocaleServicesTest)
#include "IcuLocaleServicesTest.moc"
