#include "platform/linux/x11/X11Departure.h"

#include "platform/linux/x11/X11Connection.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <utility>

namespace quillora::platform {

namespace {

X11Departure *awaited = nullptr; ///< what an exit asks

} // namespace

X11Departure::X11Departure(X11Connection &connection, std::function<void()> farewell)
    : m_connection(connection), m_farewell(std::move(farewell)) {
    awaited = this;
    // Only once: a handler cannot be taken back.
    [[maybe_unused]] static const int isRegistered = std::atexit(&X11Departure::takeOverExit);
    connect(&connection, &X11Connection::lost, this, &X11Departure::endProgram);
}

X11Departure::~X11Departure() { awaited = nullptr; }

void X11Departure::takeOverExit() {
    if (awaited)
        awaited->endProgram();
}

void X11Departure::endProgram() {
    // The farewell may call upon the toolkit, which exits again.
    if (!std::exchange(m_isEnding, true)) {
        m_farewell();
        m_connection.sync();
        std::fputs(m_connection.isUsable() ? "Quillora: the desktop has closed a connection.\n"
                                           : "Quillora: the X server has closed the connection.\n",
                   stderr);
    }
    ::_exit(status);
}

} // namespace quillora::platform
