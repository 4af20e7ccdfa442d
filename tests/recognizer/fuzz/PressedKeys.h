#pragma once

#include <QString>

#include <algorithm>

namespace quillora::test {

/// Whether inserting what was heard could press a key, as a tab or a line break does.
inline bool couldPressAKey(const QString &text) {
    return std::ranges::any_of(text, [](QChar letter) { return letter < u' '; });
}

} // namespace quillora::test
