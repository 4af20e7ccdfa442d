#include "platform/linux/appearance/PortalAppearance.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

const QString service = u"org.freedesktop.portal.Desktop"_s;
const QString path = u"/org/freedesktop/portal/desktop"_s;
const QString interface = u"org.freedesktop.portal.Settings"_s;
const QString appearanceGroup = u"org.freedesktop.appearance"_s;

using SettingsByGroup = QMap<QString, QVariantMap>;

Appearance::ColorScheme colorScheme(uint value) {
    switch (value) {
    case 1:
        return Appearance::ColorScheme::dark;
    case 2:
        return Appearance::ColorScheme::light;
    default:
        return Appearance::ColorScheme::noPreference;
    }
}

/// Parts outside of 0 to 1 say that there is none.
std::optional<Appearance::Color> accentColor(const QVariant &value) {
    if (!value.canConvert<QDBusArgument>())
        return {};
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != u"(ddd)")
        return {};
    Appearance::Color color;
    argument.beginStructure();
    argument >> color.red >> color.green >> color.blue;
    argument.endStructure();
    for (const double part : {color.red, color.green, color.blue}) {
        const bool isShare = part >= 0 && part <= 1; // which NaN is not
        if (!isShare)
            return {};
    }
    return color;
}

} // namespace

PortalAppearance::PortalAppearance(const QDBusConnection &bus, QObject *parent)
    : QObject(parent), m_bus(bus) {
    if (!m_bus.isConnected())
        return;
    qDBusRegisterMetaType<SettingsByGroup>();
    m_bus.connect(service, path, interface, u"SettingChanged"_s, this,
                  SLOT(settingChanged(QString, QString, QDBusVariant)));
    ask();
}

void PortalAppearance::ask() {
    auto message = QDBusMessage::createMethodCall(service, path, interface, u"ReadAll"_s);
    message << QStringList{appearanceGroup};
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<SettingsByGroup> reply = *watcher;
        if (reply.isError())
            return;
        const Preferences before = m_preferences;
        const QVariantMap settings = reply.value().value(appearanceGroup);
        for (auto setting = settings.begin(); setting != settings.end(); ++setting)
            take(setting.key(), setting.value());
        notifyIfChanged(before);
    });
}

void PortalAppearance::settingChanged(const QString &group, const QString &key, const QDBusVariant &value) {
    if (group != appearanceGroup)
        return;
    const Preferences before = m_preferences;
    take(key, value.variant());
    notifyIfChanged(before);
}

void PortalAppearance::take(const QString &key, const QVariant &value) {
    if (key == u"color-scheme")
        m_preferences.colorScheme = colorScheme(value.toUInt());
    else if (key == u"accent-color")
        m_preferences.accentColor = accentColor(value);
    else if (key == u"contrast")
        m_preferences.wantsHighContrast = value.toUInt() == 1;
}

void PortalAppearance::notifyIfChanged(const Preferences &before) {
    if (m_preferences == before)
        return;
    const auto observers = m_observers;
    for (const auto &[token, handler] : observers)
        handler();
}

Appearance::ObserverToken PortalAppearance::addObserver(std::function<void()> handler) {
    m_observers[++m_lastToken] = std::move(handler);
    return m_lastToken;
}

void PortalAppearance::removeObserver(ObserverToken observer) { m_observers.erase(observer); }

} // namespace quillora::platform
