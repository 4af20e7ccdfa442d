#include "ui/Picker.h"

#include "ui/FieldFrame.h"
#include "ui/PanelPalette.h"
#include "ui/SymbolIcon.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QStyle>
#include <QTextDocument>
#include <QToolTip>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace quillora {

namespace {

constexpr int idRole = Qt::UserRole;
constexpr int nameRole = Qt::UserRole + 1;
constexpr int margin = 10;
constexpr int chevronWidth = 8;
constexpr int chevronGap = 6;

/// Whoever types looks for a name: nobody types a flag.
class OptionsModel : public QStandardItemModel {
public:
    using QStandardItemModel::QStandardItemModel;

    QModelIndexList match(const QModelIndex &start, int role, const QVariant &value, int hits,
                          Qt::MatchFlags flags) const override {
        const bool isTyped = role == Qt::DisplayRole && (flags & Qt::MatchTypeMask) == Qt::MatchStartsWith;
        return QStandardItemModel::match(start, isTyped ? nameRole : role, value, hits, flags);
    }
};

bool isLetter(const QKeyEvent &key) {
    const bool isShortcut = key.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    return !isShortcut && !key.text().isEmpty() && key.text().at(0).isPrint();
}

/// What opens the list closes it, too.
bool togglesList(const QKeyEvent &key) {
    const bool isVertical = key.key() == Qt::Key_Down || key.key() == Qt::Key_Up;
    return key.key() == Qt::Key_F4 || (isVertical && key.modifiers() & Qt::AltModifier);
}

bool opensList(const QKeyEvent &key) {
    switch (key.key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Home:
    case Qt::Key_End:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Space:
        return true;
    default:
        return togglesList(key);
    }
}

} // namespace

Picker::Picker(const QString &title, const QList<Option> &options, QWidget *parent) : QComboBox(parent) {
    auto *model = new OptionsModel(this);
    for (const Option &option : options) {
        auto *item =
            new QStandardItem(option.flag.isEmpty() ? option.name : option.flag + u' ' + option.name);
        item->setData(option.id, idRole);
        item->setData(option.name, nameRole);
        item->setData(option.name, Qt::AccessibleTextRole);
        model->appendRow(item); // which takes it over
    }
    setModel(model);
    setCurrentIndex(-1);
    view()->installEventFilter(this);
    setAccessibleName(title);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(this, &QComboBox::currentIndexChanged, this, &Picker::showMark);
    connect(this, &QComboBox::activated, this,
            [this](int row) { Q_EMIT picked(itemData(row, idRole).toString()); });
}

void Picker::select(const QString &id) {
    if (currentData(idRole).toString() == id)
        return;
    setCurrentIndex(findData(id, idRole));
}

void Picker::setMarks(const QHash<QString, Mark> &marks) {
    if (m_marks == marks)
        return;
    m_marks = marks;
    showMarks();
}

/// A row of the list that the user is at has the accent for its ground.
QIcon Picker::markIcon(const Mark &mark) const {
    const qreal scale = devicePixelRatioF();
    const QSize size(markSize, markSize);
    QIcon icon;
    if (mark.symbol.isEmpty()) {
        QPixmap nothing(size);
        nothing.fill(Qt::transparent);
        icon.addPixmap(nothing);
        return icon;
    }
    for (const auto &[mode, role] : {std::pair{QIcon::Normal, QPalette::PlaceholderText},
                                     std::pair{QIcon::Active, QPalette::HighlightedText}})
        icon.addPixmap(SymbolIcon::icon(mark.symbol, palette().color(role)).pixmap(size, scale), mode);
    return icon;
}

/// In the list they stand in a column of their own, which is not there while nothing is marked.
void Picker::showMarks() {
    for (int row = 0; row < count(); ++row) {
        const Mark mark = m_marks.value(itemData(row, idRole).toString());
        setItemData(row, m_marks.isEmpty() ? QVariant() : markIcon(mark), Qt::DecorationRole);
        setItemData(row, mark.help, Qt::ToolTipRole);
        setItemData(row, mark.help, Qt::AccessibleDescriptionRole);
    }
    setIconSize({markSize, markSize});
    showMark();
}

void Picker::showMark() {
    setAccessibleDescription(mark().help);
    Q_EMIT markChanged();
}

/// What the picker itself does not show: a name that is cut, what the mark means.
QString Picker::help() const {
    QStringList lines;
    if (width() < fullWidth())
        lines += currentText();
    if (const QString help = mark().help; !help.isEmpty())
        lines += help;
    return lines.join(u'\n');
}

/// The toolkit would choose, at each press, what an arrow key or a letter leads to.
void Picker::keyPressEvent(QKeyEvent *event) {
    if (opensList(*event)) {
        showPopup();
    } else if (isLetter(*event)) {
        showPopup();
        QCoreApplication::sendEvent(view(), event);
    } else {
        event->ignore();
    }
}

/// The keys of the open list.
bool Picker::eventFilter(QObject *, QEvent *event) {
    // The toolkit's own list acts on some keys as soon as it is asked whether they are shortcuts.
    const bool isPress = event->type() == QEvent::KeyPress;
    if (!isPress && event->type() != QEvent::ShortcutOverride)
        return false;
    const auto &key = *static_cast<QKeyEvent *>(event);
    if (togglesList(key)) {
        if (isPress)
            hidePopup();
        return true;
    }
    if (!isPress)
        return false;
    if (key.key() == Qt::Key_Space && !continuesName(key)) {
        choose(view()->currentIndex().row());
        return true;
    }
    m_typedAt = isLetter(key) ? std::optional(key.timestamp()) : std::nullopt;
    return false;
}

/// For as long as the list takes what is typed for one name.
bool Picker::continuesName(const QKeyEvent &key) const {
    const auto interval = static_cast<quint64>(QApplication::keyboardInputInterval());
    return m_typedAt && key.timestamp() - *m_typedAt <= interval;
}

void Picker::choose(int row) {
    hidePopup();
    if (row < 0)
        return;
    setCurrentIndex(row);
    Q_EMIT activated(row);
}

void Picker::showPopup() {
    m_typedAt.reset();
    view()->keyboardSearch({}); // what was typed into the list before is forgotten
    const int wanted = view()->sizeHintForColumn(0) + view()->verticalScrollBar()->sizeHint().width() + 8;
    view()->setMinimumWidth(std::max(wanted, width()));
    QComboBox::showPopup();
}

QSize Picker::sizeHint() const { return {120, std::max(30, fontMetrics().height() + 12)}; }

QSize Picker::minimumSizeHint() const { return {60, sizeHint().height()}; }

int Picker::fullWidth() const {
    const qreal text = QFontMetricsF(font(), this).horizontalAdvance(currentText());
    return static_cast<int>(std::ceil(text)) + chevronGap + chevronWidth + 2 * margin;
}

/// Scrolling over a picker is no choice.
void Picker::wheelEvent(QWheelEvent *event) { event->ignore(); }

bool Picker::event(QEvent *event) {
    if (event->type() != QEvent::ToolTip || help().isEmpty())
        return QComboBox::event(event);
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(),
                       Qt::convertFromPlainText(help(), Qt::WhiteSpaceNormal), this);
    return true;
}

void Picker::changeEvent(QEvent *event) {
    QComboBox::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && !m_marks.isEmpty())
        showMarks();
}

QRect Picker::contentRect() const { return rect().adjusted(margin, 0, -margin, 0); }

QRect Picker::textRect() const {
    const QRect content = contentRect();
    return QStyle::alignedRect(layoutDirection(), Qt::AlignLeft | Qt::AlignVCenter,
                               {content.width() - chevronWidth - chevronGap, height()}, content);
}

void Picker::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    const QPalette &colors = palette();
    const QColor background = colors.color(QPalette::Window);
    const QColor ink = colors.color(QPalette::Active, QPalette::ButtonText);
    const QColor button = colors.color(QPalette::Active, QPalette::Button);
    const QColor surface = !isEnabled()   ? PanelPalette::blend(button, background, 0.4)
                           : underMouse() ? PanelPalette::blend(ink, button, 0.06)
                                          : button;
    const bool showsFocus = hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange);
    if (showsFocus)
        FieldFrame::paint(painter, rect(), surface, colors.color(QPalette::Highlight), 2);
    else
        FieldFrame::paint(painter, rect(), surface, colors.color(QPalette::Mid));

    const QRectF chevron = QStyle::alignedRect(layoutDirection(), Qt::AlignRight | Qt::AlignVCenter,
                                               {chevronWidth, chevronWidth / 2}, contentRect());
    painter.setPen(isEnabled() ? ink : PanelPalette::blend(ink, background, 0.4));
    painter.drawText(textRect(),
                     static_cast<int>(QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft)) |
                         Qt::AlignVCenter | Qt::TextSingleLine,
                     fontMetrics().elidedText(currentText(), Qt::ElideRight, textRect().width()));
    painter.setPen(
        QPen(colors.color(QPalette::PlaceholderText), 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(
        QPolygonF{{chevron.topLeft(), {chevron.center().x(), chevron.bottom()}, chevron.topRight()}});
}

} // namespace quillora
