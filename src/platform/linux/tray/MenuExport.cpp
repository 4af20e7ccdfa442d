#include "platform/linux/tray/MenuExport.h"

#include "platform/linux/tray/MenuAdaptor.h"

#include <QAction>
#include <QMenu>

using namespace Qt::StringLiterals;

namespace quillora::platform {

const QString MenuExport::objectPath = QStringLiteral("/MenuBar");

namespace {

/// Here an ampersand marks the access key, there an underscore does.
QString exportedLabel(QString text) {
    text.replace(u'_', u"__"_s);
    text.replace(u"&&"_s, QString(QChar(QChar::Null)));
    text.replace(u'&', u'_');
    return text.replace(QChar(QChar::Null), u'&');
}

} // namespace

MenuExport::MenuExport(const QDBusConnection &bus, QMenu &menu) : m_bus(bus), m_menu(menu) {
    auto *adaptor = new MenuAdaptor(this);
    m_bus.registerObject(objectPath, this);
    for (int id = 1; id <= itemCount(); ++id) {
        connect(action(id), &QAction::changed, adaptor,
                [this, adaptor, id] { Q_EMIT adaptor->ItemsPropertiesUpdated({{id, properties(id)}}, {}); });
    }
}

MenuExport::~MenuExport() { m_bus.unregisterObject(objectPath); }

QAction *MenuExport::action(int id) const { return m_menu.actions().value(id - 1); }

int MenuExport::itemCount() const { return static_cast<int>(m_menu.actions().size()); }

QVariantMap MenuExport::properties(int id) const {
    const QAction *item = action(id);
    if (!item)
        return {{u"children-display"_s, u"submenu"_s}};
    if (item->isSeparator())
        return {{u"type"_s, u"separator"_s}};
    QVariantMap properties{{u"label"_s, exportedLabel(item->text())},
                           {u"enabled"_s, item->isEnabled()},
                           {u"visible"_s, item->isVisible()}};
    if (item->isCheckable()) {
        properties.insert(u"toggle-type"_s, u"checkmark"_s);
        properties.insert(u"toggle-state"_s, item->isChecked() ? 1 : 0);
    }
    return properties;
}

/// The action runs after the tray has had its answer: it may end the program.
void MenuExport::handleEvent(int id, const QString &name) const {
    if (QAction *item = action(id); item && name == u"clicked")
        QMetaObject::invokeMethod(item, &QAction::trigger, Qt::QueuedConnection);
}

void MenuExport::prepareToShow() const { Q_EMIT m_menu.aboutToShow(); }

} // namespace quillora::platform
