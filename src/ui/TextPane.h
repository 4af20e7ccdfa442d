#pragma once

#include <QPlainTextEdit>

namespace quillora {

/// A read-only text that wraps, scrolls and can be selected. Following a text as it grows costs the same
/// however long it has become: only what changed at its end is laid out again. Each paragraph has the
/// direction of its first letter.
class TextPane : public QPlainTextEdit {
    Q_OBJECT

public:
    enum class Follow {
        beginning, ///< a new text shows its first words
        end        ///< the newest words stay in view, unless the user scrolled away from them
    };

    explicit TextPane(Follow follow, QWidget *parent = nullptr);

    const QString &text() const { return m_text; }

    /// What the user selected stays selected as far as it did not change.
    void setText(const QString &newText);

protected:
    QMimeData *createMimeDataFromSelection() const override;
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    /// Shows the newest words, if that is wanted.
    void keepPlace();
    /// Makes the document, which shows the old text, show `newText`; they are the same up to `position`.
    void replaceTail(qsizetype position, const QString &newText);
    void layOutAnew();
    void append(QStringView text);
    void breakLastParagraph();
    /// The place in the text of a place in the document.
    qsizetype textPosition(int position) const;

    Follow m_follow;
    bool m_isChanging = false; ///< scrolling is not the user's
    bool m_isAtEnd = true;     ///< where the user left the view
    QString m_text; ///< what the document shows, without the paragraph breaks that only serve its layout
};

} // namespace quillora
