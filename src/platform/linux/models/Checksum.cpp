#include "platform/linux/models/Checksum.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

namespace quillora::platform {

QByteArray checksumOf(const QString &path, const IsUnwanted &isUnwanted) {
    constexpr qint64 portionSize = qint64{256} * 1024;
    QFile file(path);
    const auto fail = [&] {
        throw ModelFault(
            u"\"%1\" could not be read: %2."_qs.arg(QFileInfo(path).fileName(), file.errorString()));
    };
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        fail();
    QCryptographicHash hash(QCryptographicHash::Sha256);
    QByteArray portion(portionSize, Qt::Uninitialized);
    for (;;) {
        Interruption::ifUnwanted(isUnwanted);
        const auto count = file.read(portion.data(), portionSize);
        if (count < 0)
            fail();
        if (count == 0)
            return hash.result().toHex();
        hash.addData(QByteArrayView(portion.constData(), count));
    }
}

bool isSha256(const QByteArray &text) {
    static const QRegularExpression hexadecimal(u"\\A[0-9A-Fa-f]{64}\\z"_qs);
    return hexadecimal.match(QString::fromLatin1(text)).hasMatch();
}

} // namespace quillora::platform
