#include "support/ScreenReader.h"
#include "support/PrivateSessionBus.h"
#include "support/VirtualDisplay.h"
#include "ui/PanelHarness.h"

#include <QAccessible>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;
using namespace quillora::test;

namespace {

constexpr int patienceMs = 15000;

}

/// What a screen reader hears of the panel, on a real display and through the desktop's real service.
class ScreenReaderTest : public QObject {
    Q_OBJECT

public:
    explicit ScreenReaderTest(const ScreenReader &reader) : m_reader(reader) {}

private Q_SLOTS:
    void initTestCase() { QTRY_VERIFY_WITH_TIMEOUT(QAccessible::isActive(), patienceMs); }

    /// The toolkit speaks only once it has been told that somebody listens.
    void init() {
        m_harness.emplace();
        const auto isHeard = [this] { return lastSpoken().startsWith(u"listening yet?"_s); };
        for (int attempt = 0; attempt < 15 && !isHeard(); ++attempt) {
            setStatus(u"listening yet? %1"_s.arg(attempt));
            ChildProcess::waitUntil(isHeard, 2000);
        }
        hear(u"Now."_s);
        QTRY_VERIFY_WITH_TIMEOUT(!m_reader.isAsking(), patienceMs);
        m_spokenBefore = m_reader.spoken().size();
    }
    void cleanup() { m_harness.reset(); }

    void eachNewStatusIsSpokenOnce() {
        hear(u"Translating locally..."_s);
        setStatus(u"Translating locally..."_s);
        hear(u"Inserted translation."_s);
        hear(u"Translating locally..."_s);
        QCOMPARE(spoken(), (QStringList{u"Translating locally..."_s, u"Inserted translation."_s,
                                        u"Translating locally..."_s}));
    }

    void aDictationBehindAClosedPanelIsSpokenStepByStep() {
        m_harness->controller->setTargetLanguageIdentifier(u"en"_s);
        m_harness->startRecording();
        settle();
        QTRY_COMPARE_WITH_TIMEOUT(lastSpoken(), u"Listening..."_s, patienceMs);
        for (const auto &words : {u"good"_s, u"good morning"_s, u"good morning everyone"_s}) {
            m_harness->say(words);
            settle();
        }
        m_harness->controller->stopRecording();
        settle();
        QTRY_COMPARE_WITH_TIMEOUT(lastSpoken(), u"Finishing transcription..."_s, patienceMs);
        m_harness->finish(u"good morning everyone"_s);
        const QString end = m_harness->controller->statusText();
        QTRY_COMPARE_WITH_TIMEOUT(lastSpoken(), end, patienceMs);
        QCOMPARE(spoken(), (QStringList{u"Listening..."_s, u"Finishing transcription..."_s, end}));
    }

    void aStatusThatGivesWayAtOnceIsNotSpoken() {
        m_harness->controller->setStatusText(u"Pasting..."_s);
        m_harness->platform.queue.advance(std::chrono::milliseconds(100));
        hear(u"Inserted translation."_s);
        m_harness->controller->setStatusText(u"Pasting..."_s);
        setStatus(u"Inserted translation."_s);
        hear(u"Ready."_s);
        QCOMPARE(spoken(), (QStringList{u"Inserted translation."_s, u"Ready."_s}));
    }

    void aStatusForWhichThePanelOpensIsSpokenOnce() {
        m_harness->controller->setStatusText(u"No speech recognized."_s);
        m_harness->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_harness->panel.get()));
        QTRY_COMPARE_WITH_TIMEOUT(lastSpoken(), u"No speech recognized."_s, patienceMs);
        settle();
        hear(u"Ready."_s);
        QCOMPARE(spoken(), (QStringList{u"No speech recognized."_s, u"Ready."_s}));
    }

    void whatTheProgramStartsWithIsNotSpoken() {
        PanelHarness().platform.queue.advance(std::chrono::seconds(1));
        hear(u"Pasting..."_s);
        QCOMPARE(spoken(), QStringList{u"Pasting..."_s});
    }

    void thePanelMayGoBeforeItsStatusIsSpoken() {
        m_harness->controller->setStatusText(u"Pasting..."_s);
        m_harness->panel.reset();
        settle();
        QCOMPARE(spoken(), QStringList());
    }

private:
    void settle() { m_harness->platform.queue.advance(std::chrono::milliseconds(200)); }

    void setStatus(const QString &status) {
        m_harness->controller->setStatusText(status);
        settle();
    }

    /// Everything that was spoken before has been heard, too, once this returns.
    void hear(const QString &status) {
        setStatus(status);
        QTRY_COMPARE_WITH_TIMEOUT(lastSpoken(), status, patienceMs);
    }

    QString lastSpoken() const { return m_reader.spoken().isEmpty() ? QString() : m_reader.spoken().last(); }
    QStringList spoken() const { return m_reader.spoken().mid(m_spokenBefore); }

    std::optional<PanelHarness> m_harness;
    qsizetype m_spokenBefore = 0;
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
    const ScreenReader reader(*bus, {u"XDG_RUNTIME_DIR="_s + display->folder() + u"/runtime"_s});
    ScreenReaderTest test(reader);
    return QTest::qExec(&test, argc, argv);
}
#include "ScreenReaderTest.moc"
