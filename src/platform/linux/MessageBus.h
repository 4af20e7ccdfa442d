#pragma once

#include <QDBusMessage>
#include <QString>

namespace quillora::platform {

using namespace Qt::StringLiterals;

// The message bus itself, as it is called by those who are on it.

inline const QString busName = u"org.freedesktop.DBus"_s;
inline const QString busPath = u"/org/freedesktop/DBus"_s;

/// To be sent with the method's arguments.
inline QDBusMessage callOfBus(const QString &method) {
    return QDBusMessage::createMethodCall(busName, busPath, busName, method);
}

// The flags of RequestName.
constexpr uint allowReplacement = 1;
constexpr uint replaceExisting = 2;
constexpr uint doNotQueue = 4;

} // namespace quillora::platform
