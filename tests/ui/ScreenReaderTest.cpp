#include "support/ScreenReader.h"
#include "support/PrivateSessionBus.h"
#include "support/VirtualDisplay.h"
#include "ui/PanelHarness.h"

#include <QAccessible>
#include <QTest>

using namespace quillora::test;

/// What a screen reader hears of the panel, on a real display and through the desktop's real service.
class ScreenReaderTest : public QObject {
    Q_OBJECT

public:
    explicit ScreenReaderTest(const ScreenReader &reader) : m_reader(reader) {}

private Q_SLOTS:
    void initTestCase() { QTRY_VERIFY_WITH_TIMEOUT(QAccessible::isActive(), 15000); }

    void aNewStatusIsHeardOnce() {
        PanelHarness harness;
        harness.show();
        QVERIFY(QTest::qWaitForWindowExposed(harness.panel.get()));
        // The toolkit speaks only once it has been told that somebody listens.
        int turn = 0;
        QVERIFY(ChildProcess::waitUntil([&] {
            harness.controller->setStatusText(u"listening yet? %1"_qs.arg(turn++));
            return heard().startsWith(u"listening yet?"_qs);
        }));
        harness.controller->setStatusText(u"Translating locally..."_qs);
        QTRY_COMPARE(heard(), u"Translating locally..."_qs);
        const int before = m_reader.changeCount();
        harness.controller->setStatusText(u"Translating locally..."_qs);
        harness.controller->setStatusText(u"Inserted translation."_qs);
        QTRY_COMPARE(heard(), u"Inserted translation."_qs);
        QCOMPARE(m_reader.changeCount(), before + 1);
    }

private:
    QString heard() const {
        return m_reader.heardNames().isEmpty() ? QString() : m_reader.heardNames().last();
    }

    const ScreenReader &m_reader;
};

int main(int argc, char **argv) {
    std::optional<VirtualDisplay> display;
    std::optional<PrivateSessionBus> bus;
    {
        QCoreApplication starting(argc, argv);
        display.emplace();
        bus.emplace();
    }
    bus->install();
    qputenv("DISPLAY", display->name());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    QApplication application(argc, argv);
    const ScreenReader reader(*bus, {u"XDG_RUNTIME_DIR="_qs + display->folder() + u"/runtime"_qs});
    ScreenReaderTest test(reader);
    return QTest::qExec(&test, argc, argv);
}
#include "ScreenReaderTest.moc"
