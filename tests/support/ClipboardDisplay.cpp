#include "support/ClipboardDisplay.h"

#include <stdexcept>

namespace quillora::test {

ClipboardDisplay::ClipboardDisplay()
    : m_server(u"Xvfb"_qs, {u"-displayfd"_qs, u"1"_qs, u"-screen"_qs, u"0"_qs, u"640x480x24"_qs,
                            u"-nolisten"_qs, u"tcp"_qs, u"-noreset"_qs}) {
    // Without an event loop, so that a display can be there before the application object.
    QByteArray number;
    while (!number.endsWith('\n')) {
        if (!m_server.process().waitForReadyRead(10000))
            throw std::runtime_error("the X server did not come up");
        number += m_server.process().readAllStandardOutput();
    }
    m_name = ':' + number.trimmed();
}

} // namespace quillora::test
