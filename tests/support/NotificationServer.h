#pragma once

#include "platform/Notifications.h"
#include "support/PrivateSessionBus.h"

#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <vector>

namespace quillora::test {

/// The part of a desktop that shows notifications, on a private bus. It understands markup.
class NotificationServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Request {
        QString application;
        uint replaces = 0;
        QString icon;
        QStringList actions;
        QVariantMap hints;
        int milliseconds = 0;
    };

    /// Throws std::runtime_error if it cannot be registered.
    explicit NotificationServer(const PrivateSessionBus &bus);
    ~NotificationServer() override;

    std::vector<platform::Notification> shown; ///< as a person reads them
    std::vector<Request> requests;             ///< the rest of each

public Q_SLOTS:
    uint Notify(const QString &application, uint replaces, const QString &icon, const QString &summary,
                const QString &body, const QStringList &actions, const QVariantMap &hints, int milliseconds);

private:
    QDBusConnection m_bus;
};

} // namespace quillora::test
