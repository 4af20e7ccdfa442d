#pragma once

#include <QPlainTextDocumentLayout>

namespace quillora {

/// The toolkit's plain layout, in which a block that has a direction keeps to it whatever its first letter,
/// and one that reads from right to left stands at the right.
class ParagraphLayout : public QPlainTextDocumentLayout {
    Q_OBJECT

public:
    /// Owned by `document`.
    explicit ParagraphLayout(QTextDocument *document);

    /// Lays the block out if need be.
    QRectF blockBoundingRect(const QTextBlock &block) const override;

private:
    void layOut(const QTextBlock &block, const QTextOption &option) const;
};

} // namespace quillora
