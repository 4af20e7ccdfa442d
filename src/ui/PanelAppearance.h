#pragma once

#include "platform/Appearance.h"

#include <QObject>

class QWidget;

namespace quillora {

/// Keeps the palette of a panel, of the window around it and of the menus and tips that it opens in step with
/// the desktop: its accent colour, its dark or light scheme and its wish for contrast, also where the toolkit
/// does not follow these itself.
class PanelAppearance : public QObject {
    Q_OBJECT

public:
    /// Owned by `panel`.
    explicit PanelAppearance(QWidget &panel);
    ~PanelAppearance() override;

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void apply();
    void dress(QWidget &shown);
    bool belongsToPanel(const QWidget &window) const;

    QWidget &m_panel;
    platform::Appearance::ObserverToken m_observer;
};

} // namespace quillora
