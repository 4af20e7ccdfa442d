#include "support/PrivateSessionBus.h"

#include <QFile>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

constexpr auto configuration = R"(<busconfig>
  <type>session</type>
  <listen>unix:path=%1/bus</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

} // namespace

PrivateSessionBus::PrivateSessionBus() {
    const QString file = m_folder.filePath(u"bus.conf"_s);
    QFile conf(file);
    if (!conf.open(QIODevice::WriteOnly))
        throw std::runtime_error("cannot write the bus configuration");
    conf.write(QString::fromLatin1(configuration).arg(m_folder.path()).toUtf8());
    conf.close();

    m_process.emplace(u"dbus-daemon"_s,
                      QStringList{u"--config-file=%1"_s.arg(file), u"--nofork"_s, u"--print-address"_s});
    auto &output = m_process->process();
    m_process->waitUntilReady([&] { return output.canReadLine(); });
    m_address = QString::fromUtf8(output.readLine()).trimmed();
    QDBusConnection::connectToBus(m_address, m_address);
}

PrivateSessionBus::~PrivateSessionBus() { QDBusConnection::disconnectFromBus(m_address); }

void PrivateSessionBus::install() const { qputenv("DBUS_SESSION_BUS_ADDRESS", m_address.toUtf8()); }

} // namespace quillora::test
