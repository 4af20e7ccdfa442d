#include "support/NotifierTray.h"
#include "support/PrivateSessionBus.h"
#include "support/VirtualDisplay.h"
#include "support/XcbClient.h"

#include <QTest>

#include <memory>
#include <optional>

using namespace Qt::StringLiterals;
using namespace quillora::test;

namespace {

constexpr int patienceMs = 15000;

/// Listens to what programs tell about starts, as whoever shows the busy pointer does.
class StartupMessages {
public:
    explicit StartupMessages(const QByteArray &display) : m_client(display) {
        const uint32_t wanted = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(m_client.xcb(), m_client.root(), XCB_CW_EVENT_MASK, &wanted);
        m_client.sync();
    }

    /// The messages so far that are complete.
    QByteArrayList messages() {
        const xcb_atom_t begin = m_client.atom("_NET_STARTUP_INFO_BEGIN");
        const xcb_atom_t more = m_client.atom("_NET_STARTUP_INFO");
        while (const auto event = XcbClient::owned(xcb_poll_for_event(m_client.xcb()))) {
            if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE)
                continue;
            const auto &piece = reinterpret_cast<const xcb_client_message_event_t &>(*event);
            if (piece.type != begin && piece.type != more)
                continue;
            if (piece.type == begin)
                m_unfinished.clear();
            m_unfinished.append(reinterpret_cast<const char *>(piece.data.data8), sizeof piece.data.data8);
            if (const auto end = m_unfinished.indexOf('\0'); end >= 0)
                m_messages += m_unfinished.first(end);
        }
        return m_messages;
    }

private:
    XcbClient m_client;
    QByteArray m_unfinished;
    QByteArrayList m_messages;
};

} // namespace

/// A start from a desktop's menu, which shows a busy pointer until it is told that the start is over.
class StartupNotificationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_display.emplace(VirtualDisplay::WindowManager::openbox);
        m_bus.emplace();
        m_tray.emplace(m_bus->address());
        m_messages.emplace(m_display->name());
    }
    void cleanup() {
        m_programs.clear();
        m_messages.reset();
        m_tray.reset();
        m_bus.reset();
        m_display.reset();
    }

    void aStartIntoTheTrayIsOverAlthoughNoWindowOpens() {
        start(u"launcher/quillora/4711-0-host_TIME123"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_messages->messages(),
                                  QByteArrayList{"remove: ID=\"launcher/quillora/4711-0-host_TIME123\""},
                                  patienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(m_tray->items().size(), 1, patienceMs);
    }

    void aSecondStartIsOverAsItHandsOver() {
        start(u"first"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_messages->messages().size(), 1, patienceMs);
        auto &second = start(u"second"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!second.isRunning(), patienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(m_messages->messages().contains("remove: ID=\"second\""), patienceMs);
    }

    void anIdentifierWithQuotesIsQuoted() {
        start(u"a \"quoted\\ one"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_messages->messages(),
                                  QByteArrayList{"remove: ID=\"a \\\"quoted\\\\ one\""}, patienceMs);
    }

private:
    ChildProcess &start(const QString &startupId) {
        m_programs.push_back(m_display->start(
            u"env"_s, {u"DBUS_SESSION_BUS_ADDRESS="_s + m_bus->address(), u"GSETTINGS_BACKEND=memory"_s,
                       u"DESKTOP_STARTUP_ID="_s + startupId, QStringLiteral(QUILLORA_SHELL_ON_FAKES)}));
        return *m_programs.back();
    }

    std::optional<VirtualDisplay> m_display;
    std::optional<PrivateSessionBus> m_bus;
    std::optional<NotifierTray> m_tray;
    std::optional<StartupMessages> m_messages;
    std::vector<std::unique_ptr<ChildProcess>> m_programs;
};

QTEST_GUILESS_MAIN(StartupNotificationTest)
#include "StartupNotificationTest.moc"
