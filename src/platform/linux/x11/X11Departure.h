#pragma once

#include <QObject>

#include <functional>

namespace quillora::platform {

class X11Connection;

/// Ends the program when the X server goes away, with a sentence on the standard error output and status 1.
///
/// The toolkit notices it as well, and often first, or alone where only its own connection was closed: it
/// then calls `exit` from amid its event handling, and so does the library that it speaks to the session
/// manager through. That would destroy what other threads are still using, so every exit in the lifetime of
/// this object is taken over, and the program always ends in the same way. Main thread only, one at a time.
class X11Departure : public QObject {
public:
    static constexpr int status = 1;

    /// `farewell` is called before the end: to end what would outlive the program, and to save what would
    /// not.
    X11Departure(X11Connection &connection, std::function<void()> farewell);

    /// From here on an exit is nothing but an exit.
    ~X11Departure() override;

private:
    static void takeOverExit();
    [[noreturn]] void endProgram();

    X11Connection &m_connection;
    const std::function<void()> m_farewell;
    bool m_isEnding = false;
};

} // namespace quillora::platform
