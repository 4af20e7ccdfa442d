#include "support/ClipboardDisplay.h"

#include <stdexcept>

namespace quillora::test {

ClipboardDisplay::ClipboardDisplay()
    : m_server(u"Xvfb"_qs, {u"-displayfd"_qs, u"1"_qs, u"-screen"_qs, u"0"_qs, u"640x480x24"_qs,
                            u"-nolisten"_qs, u"tcp"_qs, u"-noreset"_qs}) {
    QByteArray number;
    ChildProcess::waitUntil([&] {
        number += m_server.process().readAllStandardOutput();
        return number.endsWith('\n');
    });
    if (!number.endsWith('\n'))
        throw std::runtime_error("the X server did not come up");
    m_name = ':' + number.trimmed();
}

} // namespace quillora::test
