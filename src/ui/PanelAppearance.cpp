#include "ui/PanelAppearance.h"

#include "platform/Platform.h"
#include "ui/PanelPalette.h"

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
    const bool desktopChanged = event->type() == QEvent::ApplicationPaletteChange && watched == qApp;
    if (desktopChanged)
        apply();
    return false;
}

void PanelAppearance::apply() {
    m_panel.setPalette(
        PanelPalette::from(QApplication::palette(), Platform::current().appearance().preferences()));
}

} // namespace quillora
