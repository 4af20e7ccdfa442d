#pragma once

#include "platform/Appearance.h"

#include <QDBusConnection>
#include <QDBusVariant>
#include <QObject>
#include <QVariant>

#include <map>

namespace quillora::platform {

/// The appearance settings that the desktop's portal tells, `org.freedesktop.appearance`: asked for in the
/// background at construction, and followed from then on. Without a portal there are no preferences.
class PortalAppearance final : public QObject, public Appearance {
    Q_OBJECT

public:
    explicit PortalAppearance(const QDBusConnection &bus = QDBusConnection::sessionBus(),
                              QObject *parent = nullptr);

    Preferences preferences() const override { return m_preferences; }
    ObserverToken addObserver(std::function<void()> handler) override;
    void removeObserver(ObserverToken observer) override;

private Q_SLOTS:
    void settingChanged(const QString &group, const QString &key, const QDBusVariant &value);

private:
    void ask();
    void take(const QString &key, const QVariant &value);
    void notifyIfChanged(const Preferences &before);

    QDBusConnection m_bus;
    Preferences m_preferences;
    std::map<ObserverToken, std::function<void()>> m_observers;
    ObserverToken m_lastToken = 0;
};

} // namespace quillora::platform
