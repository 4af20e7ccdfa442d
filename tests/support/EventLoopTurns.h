#pragma once

#include <QTest>
#include <QTimer>

namespace quillora::test {

/// Returns once everything has been done that the event loop has to do by now, and what that puts off to its
/// next turn: for what must not happen.
inline void letTheEventLoopTurn() {
    for (int turn = 0; turn < 2; ++turn) {
        bool isThrough = false;
        QTimer::singleShot(0, [&] { isThrough = true; });
        QTRY_VERIFY(isThrough);
    }
}

} // namespace quillora::test
