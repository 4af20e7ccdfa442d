#include "support/SettingsPortal.h"

#include <QDBusArgument>
#include <QDBusMetaType>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

const QString group = u"org.freedesktop.appearance"_s;
const QString connectionName = u"settings portal"_s;

/// A colour as it travels: three doubles, out of range where there is none.
struct WireColor {
    double red = -1;
    double green = -1;
    double blue = -1;
};

QDBusArgument &operator<<(QDBusArgument &argument, const WireColor &color) {
    argument.beginStructure();
    argument << color.red << color.green << color.blue;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, WireColor &color) {
    argument.beginStructure();
    argument >> color.red >> color.green >> color.blue;
    argument.endStructure();
    return argument;
}

} // namespace

} // namespace quillora::test

Q_DECLARE_METATYPE(quillora::test::WireColor)

namespace quillora::test {

SettingsPortal::SettingsPortal(const PrivateSessionBus &bus)
    : m_bus(QDBusConnection::connectToBus(bus.address(), connectionName)) {
    qDBusRegisterMetaType<WireColor>();
    qDBusRegisterMetaType<QMap<QString, QVariantMap>>();
    const bool isThere =
        m_bus.registerObject(u"/org/freedesktop/portal/desktop"_s, this,
                             QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals) &&
        m_bus.registerService(u"org.freedesktop.portal.Desktop"_s);
    if (!isThere)
        throw std::runtime_error("the portal cannot be registered");
}

SettingsPortal::~SettingsPortal() { QDBusConnection::disconnectFromBus(connectionName); }

QMap<QString, QVariantMap> SettingsPortal::ReadAll(const QStringList &) const {
    return {{group, m_settings}};
}

void SettingsPortal::prefer(const platform::Appearance::Preferences &preferences) {
    const auto before = std::exchange(m_preferences, preferences);
    if (before.colorScheme != preferences.colorScheme)
        set(u"color-scheme"_s, static_cast<uint>(preferences.colorScheme));
    if (before.accentColor != preferences.accentColor) {
        const auto &color = preferences.accentColor;
        set(u"accent-color"_s,
            QVariant::fromValue(color ? WireColor{color->red, color->green, color->blue} : WireColor()));
    }
    if (before.wantsHighContrast != preferences.wantsHighContrast)
        set(u"contrast"_s, preferences.wantsHighContrast ? 1U : 0U);
}

void SettingsPortal::set(const QString &key, const QVariant &value) {
    m_settings[key] = value;
    Q_EMIT SettingChanged(group, key, QDBusVariant(value));
}

} // namespace quillora::test
