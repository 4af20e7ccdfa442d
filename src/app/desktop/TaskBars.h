#pragma once

class QWindow;

namespace quillora {

/// Leaves the window out of task bars and pagers from its next showing on, where the desktop is X11;
/// elsewhere it does nothing. The window manager forgets it whenever the window goes, so it is said before
/// each showing.
void keepOutOfTaskBars(QWindow &window);

} // namespace quillora
