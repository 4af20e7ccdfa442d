#pragma once

#include "platform/Appearance.h"
#include "support/PrivateSessionBus.h"

#include <QDBusVariant>
#include <QMap>
#include <QObject>
#include <QVariantMap>

namespace quillora::test {

/// The part of a desktop portal that tells how programs should look, on a private bus.
class SettingsPortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    explicit SettingsPortal(const PrivateSessionBus &bus);
    ~SettingsPortal() override;

    /// The user changes these settings; only what is another value is told.
    void prefer(const platform::Appearance::Preferences &preferences);

public Q_SLOTS:
    QMap<QString, QVariantMap> ReadAll(const QStringList &groups) const;

Q_SIGNALS:
    void SettingChanged(const QString &group, const QString &key, const QDBusVariant &value);

private:
    void set(const QString &key, const QVariant &value);

    QDBusConnection m_bus;
    platform::Appearance::Preferences m_preferences;
    QVariantMap m_settings;
};

} // namespace quillora::test
