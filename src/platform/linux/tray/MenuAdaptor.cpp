#include "platform/linux/tray/MenuAdaptor.h"

#include "platform/linux/tray/MenuExport.h"

#include <QDBusMetaType>
#include <QGuiApplication>

namespace quillora::platform {

namespace {

/// The actions never come or go: only their properties change.
constexpr uint layoutRevision = 1;
constexpr int rootId = 0;

/// No names stand for all of them.
QVariantMap selected(const QVariantMap &properties, const QStringList &names) {
    if (names.isEmpty())
        return properties;
    QVariantMap chosen;
    for (const QString &name : names) {
        if (properties.contains(name))
            chosen.insert(name, properties.value(name));
    }
    return chosen;
}

} // namespace

QDBusArgument &operator<<(QDBusArgument &argument, const MenuItemProperties &item) {
    argument.beginStructure();
    argument << item.id << item.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, MenuItemProperties &item) {
    argument.beginStructure();
    argument >> item.id >> item.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const MenuItemPropertyNames &item) {
    argument.beginStructure();
    argument << item.id << item.names;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, MenuItemPropertyNames &item) {
    argument.beginStructure();
    argument >> item.id >> item.names;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const MenuLayout &layout) {
    argument.beginStructure();
    argument << layout.id << layout.properties;
    argument.beginArray(QMetaType::fromType<QDBusVariant>());
    for (const MenuLayout &child : layout.children)
        argument << QDBusVariant(QVariant::fromValue(child));
    argument.endArray();
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, MenuLayout &layout) {
    argument.beginStructure();
    argument >> layout.id >> layout.properties;
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        layout.children.append(qdbus_cast<MenuLayout>(child.variant()));
    }
    argument.endArray();
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const MenuEvent &event) {
    argument.beginStructure();
    argument << event.id << event.name << event.data << event.timestamp;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, MenuEvent &event) {
    argument.beginStructure();
    argument >> event.id >> event.name >> event.data >> event.timestamp;
    argument.endStructure();
    return argument;
}

MenuAdaptor::MenuAdaptor(MenuExport *menu) : QDBusAbstractAdaptor(menu), m_menu(menu) {
    qDBusRegisterMetaType<MenuItemProperties>();
    qDBusRegisterMetaType<MenuItemPropertiesList>();
    qDBusRegisterMetaType<MenuItemPropertyNames>();
    qDBusRegisterMetaType<MenuItemPropertyNamesList>();
    qDBusRegisterMetaType<MenuLayout>();
    qDBusRegisterMetaType<MenuEvent>();
    qDBusRegisterMetaType<MenuEventList>();
    qDBusRegisterMetaType<QList<int>>();
}

QString MenuAdaptor::textDirection() const {
    return QGuiApplication::isRightToLeft() ? QStringLiteral("rtl") : QStringLiteral("ltr");
}

uint MenuAdaptor::GetLayout(int parentId, int recursionDepth, const QStringList &names, MenuLayout &layout) {
    layout = {parentId, selected(m_menu->properties(parentId), names), {}};
    if (parentId == rootId && recursionDepth != 0) {
        for (int id = 1; id <= m_menu->itemCount(); ++id)
            layout.children.append({id, selected(m_menu->properties(id), names), {}});
    }
    return layoutRevision;
}

MenuItemPropertiesList MenuAdaptor::GetGroupProperties(const QList<int> &ids, const QStringList &names) {
    MenuItemPropertiesList items;
    for (const int id : ids)
        items.append({id, selected(m_menu->properties(id), names)});
    return items;
}

QDBusVariant MenuAdaptor::GetProperty(int id, const QString &name) {
    return QDBusVariant(m_menu->properties(id).value(name, QString()));
}

void MenuAdaptor::Event(int id, const QString &name, const QDBusVariant &, uint) {
    m_menu->handleEvent(id, name);
}

QList<int> MenuAdaptor::EventGroup(const MenuEventList &events) {
    QList<int> unknownIds;
    for (const MenuEvent &event : events) {
        if (event.id == rootId || m_menu->action(event.id))
            m_menu->handleEvent(event.id, event.name);
        else
            unknownIds.append(event.id);
    }
    return unknownIds;
}

bool MenuAdaptor::AboutToShow(int) {
    m_menu->prepareToShow();
    return false;
}

QList<int> MenuAdaptor::AboutToShowGroup(const QList<int> &ids, QList<int> &unknownIds) {
    m_menu->prepareToShow();
    for (const int id : ids) {
        if (id != rootId && !m_menu->action(id))
            unknownIds.append(id);
    }
    return {};
}

} // namespace quillora::platform
