#pragma once

#include <QString>
#include <QStringList>

#include <vector>

namespace quillora::platform {

/// A text as passages to translate and what stands between them, which stays as it is: line ends, the space
/// around a line, lines without a word.
class TextLayout {
public:
    explicit TextLayout(const QString &text);

    /// What there is to translate, in order: each on one line, with no space around it.
    QStringList passages() const;

    /// The text with its passages replaced, given in order, without the space around them; a passage whose
    /// translation is blank stays.
    QString withPassages(const QStringList &translations) const;

private:
    struct Part {
        QString text;
        bool isPassage;
    };
    std::vector<Part> m_parts;
};

} // namespace quillora::platform
