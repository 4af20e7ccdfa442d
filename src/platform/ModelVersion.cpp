#include "platform/ModelVersion.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace quillora::platform {

bool isNewer(const QString &version, const QString &other) {
    static const QRegularExpression pattern(u"[0-9]+|[^0-9]+"_s);
    auto ours = pattern.globalMatch(version), theirs = pattern.globalMatch(other);
    while (ours.hasNext() && theirs.hasNext()) {
        const QString a = ours.next().captured(), b = theirs.next().captured();
        if (a == b)
            continue;
        const bool areNumbers = a.front().isDigit() && b.front().isDigit();
        return areNumbers && a.size() != b.size() ? a.size() > b.size() : a > b;
    }
    return ours.hasNext();
}

} // namespace quillora::platform
