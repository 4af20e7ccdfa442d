#include "ui/TextPane.h"

#include "ui/ThinScrollBar.h"

#include <QAbstractTextDocumentLayout>
#include <QMimeData>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextLayout>

#include <algorithm>

namespace quillora {

namespace {

constexpr QMargins innerMargins(6, 5, 2, 5); ///< a margin of the document would scroll away

// The toolkit lays out whole paragraphs, and a dictation is one paragraph of any length. So a paragraph that
// has grown long is broken at a blank where its line wraps anyway: the blank becomes a paragraph break, every
// other character keeps its place, and nothing moves on the screen.
constexpr int longParagraph = 600; ///< characters
constexpr int pieceLength = 400;   ///< characters inserted at a time, so that no paragraph gets much longer
constexpr int unsettledLines = 2;  ///< the last lines may still change when the text goes on
constexpr int breaksForLayout = 1; ///< user state of a paragraph that ends in such a break

bool endsInLayoutBreak(const QTextBlock &block) {
    return block.isValid() && block.userState() == breaksForLayout;
}

qsizetype commonPrefix(const QString &a, const QString &b) {
    const auto [end, other] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    qsizetype length = end - a.begin();
    if (length > 0 && a.at(length - 1).isHighSurrogate())
        --length;
    return length;
}

} // namespace

TextPane::TextPane(Follow follow, QWidget *parent) : QPlainTextEdit(parent), m_follow(follow) {
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setTabChangesFocus(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    viewport()->setAutoFillBackground(false);
    setVerticalScrollBar(new ThinScrollBar(this));
    document()->setDocumentMargin(0);
    setViewportMargins(innerMargins);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this](int value) {
        if (!m_isChanging)
            m_isAtEnd = value >= verticalScrollBar()->maximum();
    });
    connect(verticalScrollBar(), &QScrollBar::rangeChanged, this, &TextPane::keepPlace);
}

void TextPane::setText(const QString &newText) {
    const QString text = QString(newText).replace(u"\r\n"_qs, u"\n"_qs); // one character in the document
    if (text == m_text)
        return;
    const qsizetype unchanged = commonPrefix(m_text, text);
    m_text = text;
    replaceTail(unchanged);
}

void TextPane::replaceTail(qsizetype position) {
    const QScopedValueRollback changing(m_isChanging, true);
    auto start = static_cast<int>(position);
    QTextBlock block = document()->findBlock(start);
    // A word that shrinks on the first line after a break may belong on the line before.
    if (endsInLayoutBreak(block.previous()) && block.layout()->lineCount() > 0 &&
        start - block.position() <= block.layout()->lineAt(0).textLength())
        start = block.position() - 1;

    QTextCursor cursor(document());
    cursor.setPosition(start);
    cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
    document()->lastBlock().setUserState(-1);

    QStringView rest = QStringView(m_text).mid(start);
    while (!rest.isEmpty()) {
        append(rest.left(pieceLength));
        rest = rest.mid(pieceLength);
    }
    if (position == 0)
        m_isAtEnd = true; // a new text begins
    keepPlace();
}

void TextPane::keepPlace() {
    QScrollBar &scrollBar = *verticalScrollBar();
    if (m_follow == Follow::end && m_isAtEnd)
        scrollBar.setValue(scrollBar.maximum());
}

void TextPane::append(QStringView piece) {
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(piece.toString());
    breakLastParagraph();
}

void TextPane::breakLastParagraph() {
    for (QTextBlock block = document()->lastBlock(); block.length() > longParagraph;
         block = document()->lastBlock()) {
        document()->documentLayout()->blockBoundingRect(block); // lays it out
        const QTextLayout &layout = *block.layout();
        int breakAt = -1;
        for (int number = layout.lineCount() - 1 - unsettledLines; number >= 0 && breakAt < 0; --number) {
            const QTextLine line = layout.lineAt(number);
            const int last = line.textStart() + line.textLength() - 1;
            if (block.text().at(last) == u' ')
                breakAt = block.position() + last;
        }
        if (breakAt < 0)
            return;
        QTextCursor cursor(document());
        cursor.setPosition(breakAt);
        cursor.setPosition(breakAt + 1, QTextCursor::KeepAnchor);
        cursor.insertBlock();
        cursor.block().previous().setUserState(breaksForLayout);
    }
}

void TextPane::changeEvent(QEvent *event) {
    QPlainTextEdit::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        replaceTail(0);
}

void TextPane::resizeEvent(QResizeEvent *event) {
    QPlainTextEdit::resizeEvent(event);
    if (event->size().width() != event->oldSize().width())
        replaceTail(0);
}

QMimeData *TextPane::createMimeDataFromSelection() const {
    const QTextCursor cursor = textCursor();
    auto *data = new QMimeData; // the caller's
    data->setText(m_text.mid(cursor.selectionStart(), cursor.selectionEnd() - cursor.selectionStart()));
    return data;
}

} // namespace quillora
