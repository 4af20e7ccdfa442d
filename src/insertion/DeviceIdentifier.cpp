#include "insertion/DeviceIdentifier.h"

#include "insertion/KeychainStore.h"

#include <QUuid>

using namespace Qt::StringLiterals;

namespace quillora {

namespace {
QString randomUuid() { return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(); }
} // namespace

QString DeviceIdentifier::current() {
    const QString key = u"deviceIdentifier"_s;
    if (const auto stored = KeychainStore::string(key); stored && !stored->isEmpty())
        return *stored;
    const QString fresh = randomUuid() + u'-' + randomUuid();
    KeychainStore::setString(fresh, key);
    return fresh;
}

} // namespace quillora
