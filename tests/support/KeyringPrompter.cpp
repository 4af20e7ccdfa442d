#include "support/KeyringPrompter.h"

#include "platform/linux/x11/X11Windows.h"

#include <QDBusConnectionInterface>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {
const QString serviceName = u"org.gnome.keyring.SystemPrompter"_s;
const QString program = u"/usr/libexec/gcr-prompter"_s;
} // namespace

KeyringPrompter::KeyringPrompter(const PrivateSessionBus &bus)
    : m_bus(bus.connection()),
      m_prompter(m_display.start(u"env"_s, {u"DBUS_SESSION_BUS_ADDRESS=%1"_s.arg(bus.address()), program})) {
    if (!ChildProcess::waitUntil([this] { return isOnBus(); }))
        throw std::runtime_error("the prompter does not come up");
}

KeyringPrompter::~KeyringPrompter() {
    m_prompter.reset();
    // The bus learns of the end in its own time, and the next one must not be taken for this one.
    ChildProcess::waitUntil([this] { return !isOnBus(); });
}

bool KeyringPrompter::isOnBus() const { return m_bus.interface()->isServiceRegistered(serviceName); }

bool KeyringPrompter::isAsking() {
    const platform::X11Windows windows(m_connection);
    const auto active = windows.active();
    return active && windows.isSeen(*active) && windows.windowClass(*active) == u"Gcr-prompter"_s;
}

void KeyringPrompter::answer(const QByteArray &password) {
    m_display.run(u"xdotool"_s, {u"type"_s, QString::fromLatin1(password)});
    m_display.run(u"xdotool"_s, {u"key"_s, u"Return"_s});
}

void KeyringPrompter::dismiss() { m_display.run(u"xdotool"_s, {u"key"_s, u"Escape"_s}); }

} // namespace quillora::test
