#include "platform/linux/instance/SessionInstance.h"
#include "support/PrivateSessionBus.h"

#include <QDBusConnectionInterface>
#include <QTest>

#include <future>

using namespace Qt::StringLiterals;

namespace quillora::test {

using namespace std::chrono_literals;
using platform::RunningInstance;
using platform::RunningInstanceListener;
using platform::SessionInstance;
using platform::Start;

class SessionInstanceTest : public QObject {
    Q_OBJECT

private:
    /// A program of the session, which has a connection of its own.
    class Program {
    public:
        Program(const PrivateSessionBus &bus, const QString &name)
            : m_name(name), m_instance("", QDBusConnection::connectToBus(bus.address(), name),
                                       {.answer = 300ms, .start = 30s}) {}
        ~Program() { QDBusConnection::disconnectFromBus(m_name); }
        Program(const Program &) = delete;
        Program &operator=(const Program &) = delete;

        SessionInstance *operator->() { return &m_instance; }

    private:
        const QString m_name;
        SessionInstance m_instance;
    };

    std::future<RunningInstance::Claim> claimOfSecond() {
        return std::async(std::launch::async, [this] {
            Program second(m_bus, u"second"_s);
            return second->claim(Start::byUser);
        });
    }

    PrivateSessionBus m_bus;

private Q_SLOTS:
    void aSecondStartWaitsForAFirstOneThatIsStillUnderWay() {
        Program first(m_bus, u"first"_s);
        QCOMPARE(first->claim(Start::byUser), RunningInstance::Claim::first);

        auto second = claimOfSecond();
        // Far longer than the second would wait for an answer.
        QCOMPARE(second.wait_for(1500ms), std::future_status::timeout);

        int activations = 0;
        first->setListener({{.activated = [&] { ++activations; }}});
        QTRY_COMPARE(activations, 1);
        QCOMPARE(second.get(), RunningInstance::Claim::handedOver);
    }

    void anInstanceThatHangsIsReplaced() {
        Program first(m_bus, u"first"_s);
        QCOMPARE(first->claim(Start::byUser), RunningInstance::Claim::first);
        first->setListener({{}});
        QTRY_VERIFY(
            !m_bus.connection().interface()->isServiceRegistered(u"org.quillora.Quillora.Starting"_s));

        // This thread runs no event loop meanwhile, as a program that hangs.
        auto second = claimOfSecond();
        QCOMPARE(second.get(), RunningInstance::Claim::first);
    }
};

} // namespace quillora::test

QTEST_GUILESS_MAIN(quillora::test::SessionInstanceTest)
#include "SessionInstanceTest.moc"
