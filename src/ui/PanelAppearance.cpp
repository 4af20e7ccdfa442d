#include "ui/PanelAppearance.h"

#include "platform/Platform.h"
#include "ui/PanelPalette.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QEvent>
#include <QPointer>
#include <QWidget>

namespace quillora {

using platform::Platform;

PanelAppearance::PanelAppearance(QWidget &panel) : QObject(&panel), m_panel(panel) {
    m_observer = Platform::current().appearance().addObserver([self = QPointer<PanelAppearance>(this)] {
        if (self)
            self->apply();
    });
    qApp->installEventFilter(this);
    apply();
}

PanelAppearance::~PanelAppearance() { Platform::current().appearance().removeObserver(m_observer); }

bool PanelAppearance::eventFilter(QObject *watched, QEvent *event) {
    if (event->type() == QEvent::ApplicationPaletteChange && watched == qApp)
        apply();
    else if (event->type() == QEvent::Show && watched->isWidgetType())
        dress(static_cast<QWidget &>(*watched));
    return false;
}

/// What is around the panel and what it opens are windows, and windows take the application's palette.
void PanelAppearance::dress(QWidget &shown) {
    if (&shown == &m_panel || !belongsToPanel(shown))
        return;
    shown.setPalette(m_panel.palette());
    if (&shown == m_panel.window())
        return;
    for (auto *options : shown.findChildren<QAbstractItemView *>())
        options->setPalette(
            m_panel.palette()); // the toolkit draws a picker's options in no inherited palette
}

bool PanelAppearance::belongsToPanel(const QWidget &window) const {
    if (&window == m_panel.window())
        return true;
    const bool isOpenedByAnother = window.windowType() == Qt::Popup || window.windowType() == Qt::ToolTip;
    const QWidget *owner = isOpenedByAnother ? window.parentWidget() : nullptr;
    while (owner && owner != &m_panel)
        owner = owner->parentWidget(); // a menu's, too, where that menu is another one's
    return owner;
}

void PanelAppearance::apply() {
    m_panel.setPalette(
        PanelPalette::from(QApplication::palette(), Platform::current().appearance().preferences()));
    for (QWidget *window : QApplication::topLevelWidgets())
        dress(*window);
}

} // namespace quillora
