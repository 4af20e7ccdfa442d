#include "support/DuringCall.h"

#include <future>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

constexpr int patienceMs = 30000;

/// Reads on until there is a line with that word; false if none comes.
bool reads(QProcess &process, const QByteArray &word) {
    do {
        while (process.canReadLine()) {
            if (process.readLine().contains(word))
                return true;
        }
    } while (process.waitForReadyRead(patienceMs));
    return false;
}

} // namespace

DuringCall::DuringCall(const PrivateSessionBus &bus, const QString &service, std::function<void()> act) {
    std::promise<void> watches;
    m_thread = std::jthread([this, &watches, address = bus.address(), service, act = std::move(act)] {
        ChildProcess monitor(u"dbus-monitor"_s, {u"--profile"_s, u"--address"_s, address,
                                                 u"type='method_call',destination='%1'"_s.arg(service)});
        reads(monitor.process(), "NameLost"); // from now on it is a monitor and nothing else
        watches.set_value();
        if (reads(monitor.process(), "mc\t")) {
            act();
            m_wasDone = true;
        }
    });
    watches.get_future().wait();
}

bool DuringCall::wasDone() {
    if (m_thread.joinable())
        m_thread.join();
    return m_wasDone;
}

} // namespace quillora::test
