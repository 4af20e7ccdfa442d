#include "platform/linux/translation/apertium/ApertiumStream.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace quillora::platform::ApertiumStream {

namespace {

const QByteArray endMark = "[][\n]";

QString escaped(const QString &text) {
    static const QRegularExpression special(uR"(([\\\[\]^$/<>@{}]))"_s);
    return QString(text).replace(special, uR"(\\1)"_s);
}

/// Text in brackets passes through the stages untouched.
QString untouched(const QString &text) { return u'[' + escaped(text) + u']'; }

/// A tilde would steer the last stage, and a "word" of this length is none but costs its square in time.
const QRegularExpression &untranslatable() {
    static const QRegularExpression pattern(uR"(~+|\S{200,})"_s);
    return pattern;
}

} // namespace

QByteArray encode(const QString &piece) {
    QString stream;
    qsizetype position = 0;
    for (auto matches = untranslatable().globalMatch(piece); matches.hasNext();) {
        const auto match = matches.next();
        stream += escaped(piece.mid(position, match.capturedStart() - position));
        stream += untouched(match.captured());
        position = match.capturedEnd();
    }
    stream += escaped(piece.mid(position));
    return stream.toUtf8() + '.' + endMark + '\0';
}

std::optional<QString> decode(const QByteArray &answer) {
    if (!answer.endsWith(endMark))
        return {};
    QByteArray body = answer.chopped(endMark.size());
    if (body.endsWith('.'))
        body.chop(1);
    static const QRegularExpression markup(uR"(\\(.)|[\[\]])"_s,
                                           QRegularExpression::DotMatchesEverythingOption);
    return QString::fromUtf8(body).replace(markup, uR"(\1)"_s);
}

} // namespace quillora::platform::ApertiumStream
