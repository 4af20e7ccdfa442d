#include "platform/linux/models/JsonFields.h"

#include "platform/linux/FetchableAddress.h"
#include "platform/linux/models/Checksum.h"

#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr double largestCount = 1LL << 50; ///< far from where whole numbers end in JSON

bool isCount(double value) { return value >= 0 && value <= largestCount && value == std::floor(value); }

} // namespace

JsonFields::JsonFields(QJsonObject object, QString what)
    : m_object(std::move(object)), m_what(std::move(what)) {}

QJsonValue JsonFields::take(const QString &name) {
    m_taken += name;
    return m_object.value(name);
}

void JsonFields::refuse(const QString &name, const QString &fault) const {
    throw ModelFault(u"%1: \"%2\" %3."_s.arg(m_what, name, fault));
}

QString JsonFields::text(const QString &name) {
    const auto value = take(name);
    if (!value.isString() || value.toString().isEmpty())
        refuse(name, u"is not a text"_s);
    return value.toString();
}

QString JsonFields::textOr(const QString &name, const QString &otherwise) {
    const auto value = take(name);
    if (value.isUndefined())
        return otherwise;
    if (!value.isString())
        refuse(name, u"is not a text"_s);
    return value.toString();
}

std::optional<bool> JsonFields::truth(const QString &name) {
    const auto value = take(name);
    if (value.isUndefined())
        return {};
    if (!value.isBool())
        refuse(name, u"is neither true nor false"_s);
    return value.toBool();
}

std::optional<double> JsonFields::number(const QString &name) {
    const auto value = take(name);
    if (value.isUndefined())
        return {};
    if (!value.isDouble())
        refuse(name, u"is not a number"_s);
    return value.toDouble();
}

std::optional<qint64> JsonFields::size(const QString &name) {
    const auto value = number(name);
    if (value && (*value < 1 || !isCount(*value)))
        refuse(name, u"is not a number of bytes"_s);
    return value ? std::optional(static_cast<qint64>(*value)) : std::nullopt;
}

qint64 JsonFields::count(const QString &name) {
    const auto value = number(name);
    if (!value || !isCount(*value))
        refuse(name, u"is not a whole number"_s);
    return static_cast<qint64>(*value);
}

QStringList JsonFields::texts(const QString &name) {
    QStringList result;
    for (const auto &value : array(name)) {
        if (!value.isString() || value.toString().isEmpty())
            refuse(name, u"is not a list of texts"_s);
        result += value.toString();
    }
    return result;
}

QJsonArray JsonFields::array(const QString &name) {
    const auto value = take(name);
    if (!value.isUndefined() && !value.isArray())
        refuse(name, u"is not a list"_s);
    return value.toArray();
}

QJsonObject JsonFields::object(const QString &name) {
    const auto value = take(name);
    if (!value.isUndefined() && !value.isObject())
        refuse(name, u"is not an object"_s);
    return value.toObject();
}

QUrl JsonFields::address(const QString &name) {
    const QUrl url(text(name), QUrl::StrictMode);
    if (!isFetchable(url))
        refuse(name, u"is not an address that begins with \"https:\" and holds no password"_s);
    return url;
}

QByteArray JsonFields::checksum(const QString &name) {
    const QByteArray value = textOr(name, {}).toLatin1();
    if (has(name) && !isSha256(value))
        refuse(name, u"is not a SHA-256 in hexadecimal digits"_s);
    return value.toLower();
}

void JsonFields::expectNoMore() const {
    for (const QString &name : m_object.keys()) {
        if (!m_taken.contains(name))
            refuse(name, u"is not known here"_s);
    }
}

} // namespace quillora::platform
