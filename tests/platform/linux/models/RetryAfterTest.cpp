#include "platform/linux/models/RetryAfter.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;

class RetryAfterTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aServerIsLeftAloneAsLongAsItSays_data() {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<std::chrono::milliseconds>("expected");
        const auto row = [](const char *name, const char *value, std::chrono::milliseconds expected) {
            QTest::newRow(name) << QByteArray(value) << expected;
        };
        row("seconds", "120", 120s);
        row("seconds between blanks", " 120 ", 120s);
        row("a date", "Sun, 06 Nov 1994 08:49:37 GMT", 37s);
        row("a date on another day", "Mon, 07 Nov 1994 08:49:00 GMT", 24h);
        row("a date with another day's name", "Fri, 06 Nov 1994 08:49:37 GMT", 37s);
        row("a date with a year of two digits", "Sunday, 06-Nov-94 08:49:37 GMT", 37s);
        row("a date of two digits in the next century", "Thursday, 06-Nov-03 08:49:00 GMT", 24h * 3287);
        row("a date of two digits in the past", "Saturday, 06-Nov-45 08:49:00 GMT", 0s);
        row("a date as the C library writes it", "Sun Nov  6 08:49:37 1994", 37s);
        row("a date as the C library writes it, with two digits", "Wed Nov 16 08:49:00 1994", 24h * 10);
        row("a date in the past", "Sun, 06 Nov 1994 08:48:59 GMT", 0s);
        row("nothing", "", 0s);
        row("a negative number", "-5", 0s);
        row("no date", "soon", 0s);
        row("a day that does not exist", "Wed, 30 Feb 1995 08:49:37 GMT", 0s);
        row("a time that does not exist", "Sun, 06 Nov 1994 25:49:37 GMT", 0s);
        row("a date in another zone", "Sun, 06 Nov 1994 08:49:37 PST", 0s);
    }
    void aServerIsLeftAloneAsLongAsItSays() {
        QFETCH(const QByteArray, value);
        const QDateTime now(QDate(1994, 11, 6), QTime(8, 49), Qt::UTC);
        QTEST(platform::retryAfter(value, now), "expected");
    }

    void aDateIsTheSameInEveryZone() {
        const QDateTime now(QDate(1994, 11, 6), QTime(9, 49), Qt::OffsetFromUTC, 3600);
        QCOMPARE(platform::retryAfter("Sun, 06 Nov 1994 08:49:37 GMT", now), 37s);
    }
};

QTEST_GUILESS_MAIN(RetryAfterTest)
#include "RetryAfterTest.moc"
