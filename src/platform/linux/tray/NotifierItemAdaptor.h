#pragma once

#include <QByteArray>
#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QList>
#include <QString>

namespace quillora::platform {

class NotifierStatusItem;

/// An image as StatusNotifierItem sends it: 32 bits a pixel, alpha first, most significant byte first.
struct NotifierPixmap {
    int width = 0;
    int height = 0;
    QByteArray data;
};
using NotifierPixmaps = QList<NotifierPixmap>;

struct NotifierToolTip {
    QString iconName;
    NotifierPixmaps iconPixmap;
    QString title;
    QString description;
};

QDBusArgument &operator<<(QDBusArgument &argument, const NotifierPixmap &pixmap);
const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierPixmap &pixmap);
QDBusArgument &operator<<(QDBusArgument &argument, const NotifierToolTip &toolTip);
const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierToolTip &toolTip);

/// What a tray sees of a NotifierStatusItem, under the names that trays use.
class NotifierItemAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ id)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(int WindowId READ windowId)
    Q_PROPERTY(QString IconName READ iconName)
    Q_PROPERTY(quillora::platform::NotifierPixmaps IconPixmap READ iconPixmap)
    Q_PROPERTY(QString OverlayIconName READ none)
    Q_PROPERTY(quillora::platform::NotifierPixmaps OverlayIconPixmap READ noPixmaps)
    Q_PROPERTY(QString AttentionIconName READ none)
    Q_PROPERTY(quillora::platform::NotifierPixmaps AttentionIconPixmap READ noPixmaps)
    Q_PROPERTY(QString AttentionMovieName READ none)
    Q_PROPERTY(quillora::platform::NotifierToolTip ToolTip READ toolTip)
    Q_PROPERTY(QString IconThemePath READ none)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
    Q_PROPERTY(QDBusObjectPath Menu READ menu)

public:
    explicit NotifierItemAdaptor(NotifierStatusItem *item);

    QString category() const { return QStringLiteral("ApplicationStatus"); }
    QString id() const;
    QString title() const;
    QString status() const { return QStringLiteral("Active"); }
    int windowId() const { return 0; }
    QString iconName() const;
    NotifierPixmaps iconPixmap() const;
    NotifierToolTip toolTip() const;
    bool itemIsMenu() const { return false; }
    QDBusObjectPath menu() const;
    QString none() const { return {}; }
    NotifierPixmaps noPixmaps() const { return {}; }

public Q_SLOTS:
    void Activate(int x, int y);
    void SecondaryActivate(int x, int y);
    /// For trays that cannot show the menu themselves.
    void ContextMenu(int x, int y);
    void Scroll(int, const QString &) {}

Q_SIGNALS:
    void NewTitle();
    void NewIcon();
    void NewAttentionIcon();
    void NewOverlayIcon();
    void NewToolTip();
    void NewStatus(const QString &status);

private:
    NotifierStatusItem *m_item;
};

} // namespace quillora::platform

Q_DECLARE_METATYPE(quillora::platform::NotifierPixmap)
Q_DECLARE_METATYPE(quillora::platform::NotifierPixmaps)
Q_DECLARE_METATYPE(quillora::platform::NotifierToolTip)
