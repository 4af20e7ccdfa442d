#include "ui/TextPane.h"

#include "ui/ParagraphLayout.h"
#include "ui/ThinScrollBar.h"

#include <QMimeData>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillora {

namespace {

constexpr QMargins innerMargins(6, 5, 2, 5); ///< a margin of the document would scroll away

// The toolkit lays out whole paragraphs, and a dictation is one paragraph of any length. So a paragraph that
// has grown long is broken where its line wraps anyway, and nothing moves on the screen.
constexpr int longParagraph = 300; ///< characters
constexpr int pieceLength = 200;   ///< characters inserted at a time, so that no paragraph gets much longer
constexpr int unsettledLines = 2;  ///< the last lines may still change when the text goes on

/// How a block ends in the document: the user state of a block.
enum BlockEnd {
    asInText = -1,    ///< as the text does, or in its end
    insteadOfBlank,   ///< for its layout, where the text has a blank
    betweenCharacters ///< for its layout, where the text has nothing: not all scripts have blanks
};

bool endsForLayout(const QTextBlock &block) { return block.isValid() && block.userState() != asInText; }

/// What the block shows of the text, in characters, its end included.
qsizetype textLength(const QTextBlock &block) {
    return block.length() - (block.userState() == betweenCharacters ? 1 : 0);
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
    auto *paragraphs = new QTextDocument(this);
    paragraphs->setDocumentLayout(new ParagraphLayout(paragraphs)); // which it owns
    paragraphs->setDefaultFont(font());
    setDocument(paragraphs);
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(
        Qt::ScrollBarAlwaysOn); // a bar that came would narrow all lines; see ThinScrollBar
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
    const QString text = QString(newText).replace(u"\r\n"_s, u"\n"_s); // one character in the document
    if (text == m_text)
        return;
    replaceTail(commonPrefix(m_text, text), text);
}

void TextPane::layOutAnew() { replaceTail(0, m_text); }

void TextPane::replaceTail(qsizetype position, const QString &newText) {
    const QScopedValueRollback changing(m_isChanging, true);
    QTextBlock block = document()->lastBlock();
    qsizetype blockStart = m_text.size() + 1 - textLength(block);
    while (blockStart > position) {
        block = block.previous();
        blockStart -= textLength(block);
    }
    qsizetype offset = position - blockStart;
    // A word that shrinks on the first line after a break may belong on the line before.
    if (endsForLayout(block.previous()) && block.layout()->lineCount() > 0 &&
        offset <= block.layout()->lineAt(0).textLength()) {
        block = block.previous();
        blockStart -= textLength(block);
        offset = block.length() - 1;
    }

    QTextCursor cursor(document());
    cursor.setPosition(block.position() + static_cast<int>(offset));
    cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
    document()->lastBlock().setUserState(asInText);
    const bool beginsParagraph = !endsForLayout(document()->lastBlock().previous());
    if (beginsParagraph && cursor.blockFormat().hasProperty(QTextFormat::LayoutDirection))
        cursor.setBlockFormat({}); // the direction was that of the text before

    m_text = newText;
    append(QStringView(m_text).mid(blockStart + offset));
    if (position == 0)
        m_isAtEnd = true; // a new text begins
    keepPlace();
}

void TextPane::keepPlace() {
    QScrollBar &scrollBar = *verticalScrollBar();
    if (m_follow == Follow::end && m_isAtEnd)
        scrollBar.setValue(scrollBar.maximum());
}

void TextPane::append(QStringView text) {
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    bool isFirst = true;
    for (QStringView paragraph : text.split(u'\n')) {
        if (!isFirst)
            cursor.insertBlock({}); // of whatever direction its own letters have
        isFirst = false;
        for (; !paragraph.isEmpty(); paragraph = paragraph.mid(pieceLength)) {
            cursor.insertText(paragraph.left(pieceLength).toString());
            breakLastParagraph();
            cursor.movePosition(QTextCursor::End);
        }
    }
}

void TextPane::breakLastParagraph() {
    for (QTextBlock block = document()->lastBlock(); block.length() > longParagraph;
         block = document()->lastBlock()) {
        document()->documentLayout()->blockBoundingRect(block); // lays it out
        const int settled = block.layout()->lineCount() - 1 - unsettledLines;
        if (settled < 0)
            return;
        const QTextLine line = block.layout()->lineAt(settled);
        const int end = line.textStart() + line.textLength();
        const bool endsInBlank = block.text().at(end - 1) == u' ';
        QTextBlockFormat sameDirection;
        sameDirection.setLayoutDirection(block.textDirection());

        QTextCursor cursor(document());
        cursor.setPosition(block.position() + end);
        if (endsInBlank)
            cursor.deletePreviousChar();
        cursor.insertBlock(sameDirection);
        cursor.block().previous().setUserState(endsInBlank ? insteadOfBlank : betweenCharacters);
    }
}

qsizetype TextPane::textPosition(int position) const {
    qsizetype before = 0;
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        if (block.contains(position))
            return before + position - block.position();
        before += textLength(block);
    }
    return before;
}

void TextPane::changeEvent(QEvent *event) {
    QPlainTextEdit::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        layOutAnew();
}

void TextPane::resizeEvent(QResizeEvent *event) {
    QPlainTextEdit::resizeEvent(event);
    if (event->size().width() != event->oldSize().width())
        layOutAnew();
}

QMimeData *TextPane::createMimeDataFromSelection() const {
    const QTextCursor cursor = textCursor();
    auto *data = new QMimeData; // the caller's
    const qsizetype start = textPosition(cursor.selectionStart());
    data->setText(m_text.mid(start, textPosition(cursor.selectionEnd()) - start));
    return data;
}

} // namespace quillora
