#include "platform/linux/models/Checksum.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <new>
#include <openssl/evp.h>

using namespace Qt::StringLiterals;

namespace quillora::platform {

Sha256::Sha256() : m_context(EVP_MD_CTX_new()) {
    if (!m_context || EVP_DigestInit_ex(m_context.get(), EVP_sha256(), nullptr) != 1)
        throw std::bad_alloc();
}

void Sha256::Free::operator()(evp_md_ctx_st *context) const { EVP_MD_CTX_free(context); }

void Sha256::add(QByteArrayView bytes) {
    EVP_DigestUpdate(m_context.get(), bytes.data(), static_cast<std::size_t>(bytes.size()));
}

QByteArray Sha256::result() {
    QByteArray digest(EVP_MAX_MD_SIZE, Qt::Uninitialized);
    unsigned size = 0;
    EVP_DigestFinal_ex(m_context.get(), reinterpret_cast<unsigned char *>(digest.data()), &size);
    return digest.first(size).toHex();
}

QByteArray checksumOf(const QString &path, const IsUnwanted &isUnwanted) {
    constexpr qint64 portionSize = qint64{256} * 1024;
    QFile file(path);
    const auto fail = [&] {
        throw ModelFault(
            u"\"%1\" could not be read: %2."_s.arg(QFileInfo(path).fileName(), file.errorString()));
    };
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        fail();
    Sha256 hash;
    QByteArray portion(portionSize, Qt::Uninitialized);
    for (;;) {
        Interruption::ifUnwanted(isUnwanted);
        const auto count = file.read(portion.data(), portionSize);
        if (count < 0)
            fail();
        if (count == 0)
            return hash.result();
        hash.add(QByteArrayView(portion.constData(), count));
    }
}

bool isSha256(const QByteArray &text) {
    static const QRegularExpression hexadecimal(u"\\A[0-9A-Fa-f]{64}\\z"_s);
    return hexadecimal.match(QString::fromLatin1(text)).hasMatch();
}

} // namespace quillora::platform
