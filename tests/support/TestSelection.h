#pragma once

#include "platform/linux/x11/X11Events.h"

#include <QByteArray>

namespace quillora::test {

/// Another program that has put a text on a selection of a virtual display, and hands it out as long as the
/// event loop turns.
class TestSelection : public QObject {
public:
    TestSelection(const QByteArray &displayName, const QByteArray &selection);

    /// Puts a text there, in place of whoever's was there.
    void setText(const QByteArray &text);

    /// How often the text has been asked for since it was put there.
    int readCount() const { return m_readCount; }

private:
    void handle(const xcb_generic_event_t *event);
    bool give(const xcb_selection_request_event_t &request, xcb_atom_t property);

    platform::X11Connection m_connection;
    platform::X11Events m_events{m_connection};
    xcb_atom_t m_selection;
    xcb_window_t m_window;
    QByteArray m_text;
    int m_readCount = 0;
};

} // namespace quillora::test
