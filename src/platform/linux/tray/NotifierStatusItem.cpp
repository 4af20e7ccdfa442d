#include "platform/linux/tray/NotifierStatusItem.h"

#include "platform/linux/MessageBus.h"
#include "platform/linux/tray/NotifierItemAdaptor.h"
#include "platform/linux/tray/TrayGeometry.h"

#include <QCursor>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QGuiApplication>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

const QString watcherService = u"org.kde.StatusNotifierWatcher"_s;
const QString watcherPath = u"/StatusNotifierWatcher"_s;
const QString itemPath = u"/StatusNotifierItem"_s;

/// How far from the pointer the icon under it may be said to be.
constexpr int closeBy = 64;

/// Trays do not agree on whether they speak of device pixels: where they speak of the pointer it tells.
QPoint placeOfIcon(const QPoint &told) {
    if (QGuiApplication::platformName() != u"xcb")
        return told;
    const QPoint converted = fromDevicePixels(told);
    const auto isCloseBy = [pointer = QCursor::pos()](const QPoint &place) {
        return (place - pointer).manhattanLength() < closeBy;
    };
    return isCloseBy(told) && !isCloseBy(converted) ? told : converted;
}

QString nextServiceName() {
    static int count = 0;
    return u"org.kde.StatusNotifierItem-%1-%2"_s.arg(QCoreApplication::applicationPid()).arg(++count);
}

} // namespace

NotifierStatusItem::NotifierStatusItem(const QDBusConnection &bus)
    : m_bus(bus), m_serviceName(nextServiceName()),
      m_ownerWatcher(watcherService, m_bus, QDBusServiceWatcher::WatchForOwnerChange) {
    new NotifierItemAdaptor(this);
    m_bus.registerObject(itemPath, this);
    m_bus.asyncCall(callOfBus(u"RequestName"_s) << m_serviceName << doNotQueue);

    connect(&m_ownerWatcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &, const QString &, const QString &owner) {
                if (owner.isEmpty()) {
                    meetWatcher(Watcher::unknown);
                    findWatcher();
                } else if (owner != m_watcherOwner) { // or the answer to the question came first
                    meetWatcher(Watcher::present, owner);
                }
            });
    for (const QString &change : {u"StatusNotifierHostRegistered"_s, u"StatusNotifierHostUnregistered"_s})
        m_bus.connect(watcherService, watcherPath, watcherService, change, this, SLOT(readHost()));
    findWatcher();
}

NotifierStatusItem::~NotifierStatusItem() {
    m_bus.asyncCall(callOfBus(u"ReleaseName"_s) << m_serviceName);
    m_bus.unregisterObject(itemPath);
}

void NotifierStatusItem::setIcon(const QString &name, const QIcon &drawing,
                                 const QString &accessibilityDescription) {
    m_iconName = name;
    m_drawing = drawing;
    m_accessibilityDescription = accessibilityDescription;
    auto *adaptor = findChild<NotifierItemAdaptor *>();
    Q_EMIT adaptor->NewTitle();
    Q_EMIT adaptor->NewToolTip();
    Q_EMIT adaptor->NewIcon();
}

void NotifierStatusItem::setMenu(QMenu *menu) {
    m_menu = menu;
    m_menuExport.reset(); // both would stand in the same place
    m_menuExport = std::make_unique<MenuExport>(m_bus, *menu);
}

void NotifierStatusItem::ask(const QDBusMessage &question,
                             const std::function<void(const QDBusPendingCall &)> &then) {
    auto *answer = new QDBusPendingCallWatcher(m_bus.asyncCall(question), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [answer, then] {
        answer->deleteLater();
        then(*answer);
    });
}

void NotifierStatusItem::findWatcher() {
    if (!m_bus.isConnected())
        return meetWatcher(Watcher::absent);
    ask(callOfBus(u"GetNameOwner"_s) << watcherService, [this](const QDBusPendingReply<QString> &owner) {
        if (m_watcher == Watcher::unknown)
            owner.isError() ? meetWatcher(Watcher::absent) : meetWatcher(Watcher::present, owner.value());
    });
}

void NotifierStatusItem::meetWatcher(Watcher watcher, const QString &owner) {
    m_watcher = watcher;
    m_watcherOwner = owner;
    m_isRegistered = false;
    m_hasHost = false;
    m_anchor.reset();
    if (m_watcher == Watcher::present) {
        registerWithWatcher();
        readHost();
    }
    Q_EMIT watcherChanged();
}

void NotifierStatusItem::registerWithWatcher() {
    auto request = QDBusMessage::createMethodCall(watcherService, watcherPath, watcherService,
                                                  u"RegisterStatusNotifierItem"_s);
    ask(request << m_serviceName, [this](const QDBusPendingCall &answer) {
        m_isRegistered = m_watcher == Watcher::present && !answer.isError();
        Q_EMIT watcherChanged();
    });
}

void NotifierStatusItem::readHost() {
    auto question = QDBusMessage::createMethodCall(watcherService, watcherPath,
                                                   u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    question << watcherService << u"IsStatusNotifierHostRegistered"_s;
    ask(question, [this](const QDBusPendingReply<QDBusVariant> &hasHost) {
        m_hasHost = !hasHost.isError() && hasHost.value().variant().toBool();
        Q_EMIT watcherChanged();
    });
}

/// Trays that do not know where the icon is say 0, 0.
void NotifierStatusItem::activate(int x, int y) {
    if (x != 0 || y != 0)
        m_anchor = QRect(placeOfIcon({x, y}), QSize(1, 1));
    Q_EMIT activated();
}

void NotifierStatusItem::showMenu(int x, int y) {
    if (m_menu)
        m_menu->popup(QPoint(x, y));
}

} // namespace quillora::platform
