#include "backend/Text.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/locale/IcuLocaleServices.h"
#include "platform/linux/recognition/SpokenLocales.h"
#include "translation/LanguageCatalog.h"

#include <QTest>

#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

using namespace Qt::StringLiterals;
using namespace quillora;

namespace {

/// Somebody's desktop of fakes, but for the locale library.
struct IcuPlatform : test::FakePlatform {
    explicit IcuPlatform(const QString &userLocale) : icu(userLocale) {
        speech.locales = platform::spokenLocales();
    }
    platform::LocaleServices &localeServices() override { return icu; }

    platform::IcuLocaleServices icu;
};

bool isName(const QString &text) { return backend::isLanguageName(text.toStdString()); }

bool isInvisible(char32_t character) {
    const auto code = static_cast<UChar32>(character);
    const auto type = u_charType(code);
    return u_hasBinaryProperty(code, UCHAR_DEFAULT_IGNORABLE_CODE_POINT) ||
           u_hasBinaryProperty(code, UCHAR_BIDI_CONTROL) ||
           u_hasBinaryProperty(code, UCHAR_NONCHARACTER_CODE_POINT) || type == U_CONTROL_CHAR ||
           type == U_LINE_SEPARATOR || type == U_PARAGRAPH_SEPARATOR || type == U_PRIVATE_USE_CHAR;
}

} // namespace

/// What the backend takes for the name of a language, by what its clients send and what Unicode says.
class BackendLanguageNameTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whateverTheCatalogOffersAnywhereIsAName() {
        int count = 0;
        const auto *const userLocales = icu::Locale::getAvailableLocales(count);
        QVERIFY(count > 500);
        for (int index = 0; index < count; ++index) {
            const auto user = QString::fromLatin1(userLocales[index].getName());
            const IcuPlatform platform(user);
            for (const auto &option : LanguageCatalog::spokenOptions())
                QVERIFY2(isName(option.name), qPrintable(option.name + u" for who reads "_s + user));
        }
        for (const auto &option : LanguageCatalog::targets())
            QVERIFY2(isName(option.name), qPrintable(option.name));
    }

    void nothingThatAReaderDoesNotSeeIsPartOfAName() {
        for (char32_t character = 0; character <= UCHAR_MAX_VALUE; ++character) {
            const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
            if (isSurrogate || !isInvisible(character))
                continue;
            std::string name("Engl");
            icu::UnicodeString(static_cast<UChar32>(character)).toUTF8String(name);
            QVERIFY2(!backend::isLanguageName(name + "ish"),
                     qPrintable(u"U+%1"_s.arg(uint(character), 4, 16)));
        }
    }

    void whatJoinsLettersStandsAloneAmongThoseThatAreJoined_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("isOne");
        QTest::newRow("Persian") << u"فارسی\u200Cزبان"_s << true;
        QTest::newRow("Sinhala") << u"බ්\u200Dරසීලය"_s << true;
        QTest::newRow("Khmer, at the beginning") << u"\u200Bរុស្ស៊ី"_s << true;
        QTest::newRow("Telugu, before a bracket") << u"(ఫ్రాన్స్\u200C)"_s << true;
        QTest::newRow("Latin") << u"En\u200Dglish"_s << false;
        QTest::newRow("two in a row") << u"بان\u200C\u200Dبان"_s << false;
        QTest::newRow("alone") << u"\u200C"_s << false;
    }
    void whatJoinsLettersStandsAloneAmongThoseThatAreJoined() {
        QFETCH(QString, text);
        QTEST(isName(text), "isOne");
    }

    void bracketsAndColonsStandInNames_data() {
        QTest::addColumn<QString>("text");
        QTest::newRow("brackets") << u"English (Cocos [Keeling] Islands)"_s;
        QTest::newRow("wide brackets") << u"法文（剛果［布拉薩］）"_s;
        QTest::newRow("a colon") << u"Franska (S:t Pierre Och Miquelon)"_s;
    }
    void bracketsAndColonsStandInNames() {
        QFETCH(QString, text);
        QVERIFY(isName(text));
    }

    void markupIsNoName() {
        for (const QChar mark : u"\"<>{}|`;*#=\\"_s)
            QVERIFY2(!isName(u"English "_s + mark), qPrintable(QString(mark)));
    }

    void aNameHas64CharactersAtMost() {
        QVERIFY(isName(QString(64, u'я')));
        QVERIFY(!isName(QString(65, u'я')));
        QVERIFY(!isName(u" \u3000"_s));
    }

    void whatIsNotUtf8IsNoName() {
        for (const char *bytes :
             {"\xC3", "\xC3(", "\x80", "\xF8\x88\x80\x80\x80", "\xE0\x80\xBC", "\xC0\x8A"})
            QVERIFY2(!backend::isLanguageName(bytes), QByteArray(bytes).toHex().constData());
    }
};

QTEST_GUILESS_MAIN(BackendLanguageNameTest)
#include "BackendLanguageNameTest.moc"
