#pragma once

#include "support/ChildProcess.h"

namespace quillora::test {

/// An X server of the test's own, with nothing on it.
class ClipboardDisplay {
public:
    /// Returns once the server takes clients. Throws std::runtime_error if it does not come up.
    ClipboardDisplay();

    const QByteArray &name() const { return m_name; }
    ChildProcess &server() { return m_server; }

private:
    ChildProcess m_server;
    QByteArray m_name;
};

} // namespace quillora::test
