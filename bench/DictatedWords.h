#pragma once

#include <QString>

/// What somebody might say, so many words of it.
inline QString dictatedWords(int count) {
    QString text;
    for (int i = 0; i < count; ++i)
        text += u"word%1 "_qs.arg(i % 97);
    return text;
}
