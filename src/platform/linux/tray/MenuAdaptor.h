#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusVariant>
#include <QList>
#include <QStringList>
#include <QVariantMap>

namespace quillora::platform {

class MenuExport;

struct MenuItemProperties {
    int id = 0;
    QVariantMap properties;
};
using MenuItemPropertiesList = QList<MenuItemProperties>;

struct MenuItemPropertyNames {
    int id = 0;
    QStringList names;
};
using MenuItemPropertyNamesList = QList<MenuItemPropertyNames>;

/// A menu item with everything below it.
struct MenuLayout {
    int id = 0;
    QVariantMap properties;
    QList<MenuLayout> children;
};

struct MenuEvent {
    int id = 0;
    QString name;
    QDBusVariant data;
    uint timestamp = 0;
};
using MenuEventList = QList<MenuEvent>;

QDBusArgument &operator<<(QDBusArgument &argument, const MenuItemProperties &item);
const QDBusArgument &operator>>(const QDBusArgument &argument, MenuItemProperties &item);
QDBusArgument &operator<<(QDBusArgument &argument, const MenuItemPropertyNames &item);
const QDBusArgument &operator>>(const QDBusArgument &argument, MenuItemPropertyNames &item);
QDBusArgument &operator<<(QDBusArgument &argument, const MenuLayout &layout);
const QDBusArgument &operator>>(const QDBusArgument &argument, MenuLayout &layout);
QDBusArgument &operator<<(QDBusArgument &argument, const MenuEvent &event);
const QDBusArgument &operator>>(const QDBusArgument &argument, MenuEvent &event);

/// What a tray sees of a MenuExport, under the names that trays use.
class MenuAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.dbusmenu")
    Q_PROPERTY(uint Version READ version)
    Q_PROPERTY(QString TextDirection READ textDirection)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(QStringList IconThemePath READ iconThemePath)

public:
    explicit MenuAdaptor(MenuExport *menu);

    uint version() const { return 3; }
    QString textDirection() const;
    QString status() const { return QStringLiteral("normal"); }
    QStringList iconThemePath() const { return {}; }

public Q_SLOTS:
    uint GetLayout(int parentId, int recursionDepth, const QStringList &names,
                   quillora::platform::MenuLayout &layout);
    quillora::platform::MenuItemPropertiesList GetGroupProperties(const QList<int> &ids,
                                                                  const QStringList &names);
    QDBusVariant GetProperty(int id, const QString &name);
    void Event(int id, const QString &name, const QDBusVariant &data, uint timestamp);
    QList<int> EventGroup(const quillora::platform::MenuEventList &events);
    bool AboutToShow(int id);
    QList<int> AboutToShowGroup(const QList<int> &ids, QList<int> &unknownIds);

Q_SIGNALS:
    void ItemsPropertiesUpdated(const quillora::platform::MenuItemPropertiesList &updated,
                                const quillora::platform::MenuItemPropertyNamesList &removed);
    void LayoutUpdated(uint revision, int parent);
    void ItemActivationRequested(int id, uint timestamp);

private:
    MenuExport *m_menu;
};

} // namespace quillora::platform

Q_DECLARE_METATYPE(quillora::platform::MenuItemProperties)
Q_DECLARE_METATYPE(quillora::platform::MenuItemPropertiesList)
Q_DECLARE_METATYPE(quillora::platform::MenuItemPropertyNames)
Q_DECLARE_METATYPE(quillora::platform::MenuItemPropertyNamesList)
Q_DECLARE_METATYPE(quillora::platform::MenuLayout)
Q_DECLARE_METATYPE(quillora::platform::MenuEvent)
Q_DECLARE_METATYPE(quillora::platform::MenuEventList)
