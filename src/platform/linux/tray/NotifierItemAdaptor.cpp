#include "platform/linux/tray/NotifierItemAdaptor.h"

#include "platform/ApplicationIdentity.h"
#include "platform/linux/tray/NotifierStatusItem.h"

#include <QDBusMetaType>
#include <QtEndian>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// The path that stands for "no menu" in this protocol.
const QString noMenuPath = u"/NO_DBUSMENU"_s;

NotifierPixmap notifierPixmap(const QImage &source) {
    const QImage image = source.convertToFormat(QImage::Format_ARGB32);
    NotifierPixmap pixmap{image.width(), image.height(), QByteArray(image.sizeInBytes(), Qt::Uninitialized)};
    qToBigEndian<quint32>(image.constBits(), qsizetype{image.width()} * image.height(), pixmap.data.data());
    return pixmap;
}

} // namespace

QDBusArgument &operator<<(QDBusArgument &argument, const NotifierPixmap &pixmap) {
    argument.beginStructure();
    argument << pixmap.width << pixmap.height << pixmap.data;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierPixmap &pixmap) {
    argument.beginStructure();
    argument >> pixmap.width >> pixmap.height >> pixmap.data;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const NotifierToolTip &toolTip) {
    argument.beginStructure();
    argument << toolTip.iconName << toolTip.iconPixmap << toolTip.title << toolTip.description;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierToolTip &toolTip) {
    argument.beginStructure();
    argument >> toolTip.iconName >> toolTip.iconPixmap >> toolTip.title >> toolTip.description;
    argument.endStructure();
    return argument;
}

NotifierItemAdaptor::NotifierItemAdaptor(NotifierStatusItem *item)
    : QDBusAbstractAdaptor(item), m_item(item) {
    qDBusRegisterMetaType<NotifierPixmap>();
    qDBusRegisterMetaType<NotifierPixmaps>();
    qDBusRegisterMetaType<NotifierToolTip>();
}

QString NotifierItemAdaptor::id() const { return applicationIdentifier; }

QString NotifierItemAdaptor::title() const { return m_item->m_accessibilityDescription; }

QString NotifierItemAdaptor::iconName() const {
    return QIcon::hasThemeIcon(m_item->m_iconName) ? m_item->m_iconName : QString();
}

NotifierPixmaps NotifierItemAdaptor::iconPixmap() const {
    NotifierPixmaps pixmaps;
    constexpr qreal asDrawn = 1; // whatever the screens' measure
    for (const QSize &size : m_item->m_drawing.availableSizes())
        pixmaps.append(notifierPixmap(m_item->m_drawing.pixmap(size, asDrawn).toImage()));
    return pixmaps;
}

NotifierToolTip NotifierItemAdaptor::toolTip() const { return {{}, {}, title(), {}}; }

QDBusObjectPath NotifierItemAdaptor::menu() const {
    return QDBusObjectPath(m_item->m_menuExport ? MenuExport::objectPath : noMenuPath);
}

void NotifierItemAdaptor::Activate(int x, int y) { m_item->activate(x, y); }

void NotifierItemAdaptor::SecondaryActivate(int x, int y) { m_item->activate(x, y); }

void NotifierItemAdaptor::ContextMenu(int x, int y) { m_item->showMenu(x, y); }

} // namespace quillora::platform
