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

/// A menu is a window, and windows take the application's palette.
void PanelAppearance::dress(QWidget &shown) {
    const QWidget *owner = shown.parentWidget();
    const bool isMenuOfPanel =
        shown.windowType() == Qt::Popup && owner && (owner == &m_panel || m_panel.isAncestorOf(owner));
    if (!isMenuOfPanel)
        return;
    shown.setPalette(m_panel.palette());
    for (auto *options : shown.findChildren<QAbstractItemView *>())
        options->setPalette(
            m_panel.palette()); // the toolkit draws a picker's options in no inherited palette
}

void PanelAppearance::apply() {
    m_panel.setPalette(
        PanelPalette::from(QApplication::palette(), Platform::current().appearance().preferences()));
}

} // namespace quillora
