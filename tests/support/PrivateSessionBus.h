#pragma once

#include "support/Daemon.h"

#include <QDBusConnection>
#include <QTemporaryDir>

#include <optional>

namespace quillora::test {

/// A session bus of the test's own, which starts no services by itself.
class PrivateSessionBus {
public:
    /// Throws std::runtime_error if the bus does not come up.
    PrivateSessionBus();
    ~PrivateSessionBus();

    QString address() const { return m_address; }

    /// The test's own connection.
    QDBusConnection connection() const { return QDBusConnection(m_address); }

    /// Makes this the session bus of everything that connects to one from now on.
    void install() const;

    Daemon &process() { return *m_process; }

private:
    QTemporaryDir m_folder;
    std::optional<Daemon> m_process;
    QString m_address;
};

} // namespace quillora::test
