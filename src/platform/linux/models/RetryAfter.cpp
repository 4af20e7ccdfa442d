#include "platform/linux/models/RetryAfter.h"

#include <QLocale>
#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// Two digits mean the year that is no more than 50 years ahead.
QString fullYear(const QString &year, const QDateTime &now) {
    if (year.size() > 2)
        return year;
    const int latest = now.toUTC().date().year() + 50;
    return QString::number(latest - (latest - year.toInt()) % 100);
}

/// The day of the week is not compared: the date says it all. Invalid if that is no date.
QDateTime httpDate(const QString &text, const QDateTime &now) {
    // As in "Sun, 06 Nov 1994 08:49:37 GMT", or "Sunday, 06-Nov-94 08:49:37 GMT" of old
    static const QRegularExpression dayFirst(u"\\A[A-Z][a-z]+, (?<day>[0-9]{2})[ -](?<month>[A-Z][a-z]{2})"
                                             "[ -](?<year>[0-9]{4}|[0-9]{2}) (?<time>[0-9:]{8}) GMT\\z"_s);
    // As in "Sun Nov  6 08:49:37 1994" of old
    static const QRegularExpression monthFirst(u"\\A[A-Z][a-z]{2} (?<month>[A-Z][a-z]{2}) +(?<day>[0-9]{1,2})"
                                               " (?<time>[0-9:]{8}) (?<year>[0-9]{4})\\z"_s);
    auto parts = dayFirst.match(text);
    if (!parts.hasMatch())
        parts = monthFirst.match(text);
    const QString date = u"%1 %2 %3"_s.arg(parts.captured(u"day"), parts.captured(u"month"),
                                           fullYear(parts.captured(u"year"), now));
    return {QLocale::c().toDate(date, u"d MMM yyyy"_s),
            QTime::fromString(parts.captured(u"time"), Qt::ISODate), Qt::UTC};
}

} // namespace

std::chrono::milliseconds retryAfter(const QByteArray &value, const QDateTime &now) {
    bool isNumber = false;
    if (const auto seconds = value.trimmed().toUInt(&isNumber); isNumber)
        return std::chrono::seconds(seconds);
    const QDateTime time = httpDate(QString::fromLatin1(value.trimmed()), now);
    return std::chrono::milliseconds(time.isValid() ? std::max<qint64>(0, now.msecsTo(time)) : 0);
}

} // namespace quillora::platform
