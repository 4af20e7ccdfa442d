#include "ui/TextLink.h"

#include "ui/FieldFrame.h"
#include "ui/PanelPalette.h"

#include <QAccessibleWidget>
#include <QKeyEvent>
#include <QPainter>
#include <QStyle>

namespace quillora {

namespace {

constexpr int margin = 4;              ///< beside the text, for the surface of the focus
constexpr qsizetype longestText = 200; ///< characters; more than any window can hold in a line

/// The toolkit knows links in rich text alone, and does not tell assistive technology of those either.
class AccessibleLink : public QAccessibleWidget {
public:
    explicit AccessibleLink(TextLink &link) : QAccessibleWidget(&link, QAccessible::Link), m_link(link) {}

    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.linked = true;
        return state;
    }

    QStringList actionNames() const override {
        return QStringList{pressAction()} + QAccessibleWidget::actionNames();
    }

    void doAction(const QString &action) override {
        if (action == pressAction())
            m_link.click();
        else
            QAccessibleWidget::doAction(action);
    }

private:
    TextLink &m_link;
};

QAccessibleInterface *accessibleLink(const QString &, QObject *object) {
    auto *link = qobject_cast<TextLink *>(object);
    return link ? new AccessibleLink(*link) : nullptr; // the toolkit's
}

} // namespace

TextLink::TextLink(QWidget *parent) : QAbstractButton(parent) {
    QAccessible::installFactory(accessibleLink); // once, however often
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void TextLink::setPlainText(const QString &text) {
    const QString line = text.left(longestText).simplified();
    if (m_plainText == line)
        return;
    m_plainText = line;
    updateGeometry();
    update();
}

QSize TextLink::sizeHint() const {
    return {fontMetrics().horizontalAdvance(m_plainText) + 2 * margin, fontMetrics().lineSpacing()};
}

QSize TextLink::minimumSizeHint() const { return {0, sizeHint().height()}; }

void TextLink::keyPressEvent(QKeyEvent *event) {
    const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!isEnter)
        return QAbstractButton::keyPressEvent(event);
    event->accept();
    if (!event->isAutoRepeat())
        click();
}

void TextLink::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    QColor ink = PanelPalette::accentText(palette());
    // Only for those who use the keyboard, as buttons do. A ring would run into the line below the text.
    if (hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
        const QColor surface = palette().color(QPalette::Highlight);
        FieldFrame::paint(painter, rect(), surface, surface, 0);
        ink = PanelPalette::textOn(surface);
    }
    QFont underlined = font();
    underlined.setUnderline(true); // colour alone would not do
    painter.setFont(underlined);
    painter.setPen(ink);
    const QRect place = rect().adjusted(margin, 0, -margin, 0);
    const auto alignment = QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft) | Qt::AlignVCenter;
    painter.drawText(place, static_cast<int>(alignment) | Qt::TextSingleLine,
                     fontMetrics().elidedText(m_plainText, Qt::ElideRight, place.width()));
}

} // namespace quillora
