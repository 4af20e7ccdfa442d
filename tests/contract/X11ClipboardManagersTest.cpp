#include "fakes/FakePlatform.h"
#include "insertion/PasteboardInserter.h"
#include "platform/linux/x11/X11Pasteboard.h"
#include "support/ClipboardDisplay.h"
#include "support/SelectionPeer.h"
#include "support/SelectionRequestor.h"

#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace quillora::test {

using Answer = SelectionRequestor::Answer;

namespace {

/// A main queue in real time: clipboard managers live in it.
class RealTimeQueue : public platform::MainQueue {
public:
    void async(std::function<void()> work) override {
        asyncAfter(std::chrono::milliseconds(0), std::move(work));
    }
    std::shared_ptr<platform::WorkItem> asyncAfter(std::chrono::milliseconds delay,
                                                   std::function<void()> work) override {
        ++pending;
        QTimer::singleShot(delay, Qt::PreciseTimer, &m_context, [this, work = std::move(work)] {
            work();
            --pending;
        });
        return nullptr;
    }

    int pending = 0;

private:
    QObject m_context;
};

class DesktopWithClipboard : public FakePlatform {
public:
    explicit DesktopWithClipboard(const QByteArray &displayName)
        : x11(std::make_unique<platform::X11Pasteboard>(displayName)) {}
    platform::Pasteboard &pasteboard() override { return *x11; }
    platform::MainQueue &mainQueue() override { return realTime; }

    std::unique_ptr<platform::X11Pasteboard> x11;
    RealTimeQueue realTime;
};

} // namespace

/// The inserter beside real clipboard managers.
class X11ClipboardManagersTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        QFETCH(QString, manager);
        m_home = std::make_unique<QTemporaryDir>();
        m_display = std::make_unique<ClipboardDisplay>();
        m_clipboard = std::make_unique<SelectionRequestor>(m_display->name(), "CLIPBOARD");
        m_manager = std::make_unique<ChildProcess>(
            u"dbus-run-session"_qs,
            manager == u"xfsettingsd"_qs ? QStringList{u"--"_qs, manager, u"--disable-wm-check"_qs}
                                         : QStringList{u"--"_qs, manager},
            QStringList{u"DISPLAY="_qs + QString::fromLatin1(m_display->name()), u"HOME="_qs + m_home->path(),
                        u"XDG_RUNTIME_DIR="_qs + m_home->path(), u"XDG_CONFIG_HOME="_qs + m_home->path(),
                        u"XDG_DATA_HOME="_qs + m_home->path(), u"XDG_CACHE_HOME="_qs + m_home->path(),
                        u"QT_QPA_PLATFORM=xcb"_qs, u"NO_AT_BRIDGE=1"_qs, u"WAYLAND_DISPLAY="_qs,
                        u"DBUS_SESSION_BUS_ADDRESS="_qs});
        m_desktop = std::make_unique<DesktopWithClipboard>(m_display->name());
        awaitManager();
    }
    void cleanup() {
        m_desktop.reset();
        m_manager.reset();
        m_clipboard.reset();
        m_display.reset();
        m_home.reset();
    }

    void aPasteGivesBackWhatStoodThere_data() { managers(); }
    void aPasteGivesBackWhatStoodThere() {
        const SelectionPeer owner(m_display->name(), "CLIPBOARD",
                                  {{.target = "image/x-test", .data = "\x89not text"},
                                   {.target = "UTF8_STRING", .data = "caption"}});
        QVERIFY(ChildProcess::waitUntil([&] { return owner.requested().contains("UTF8_STRING"); }));
        paste(u"dictated"_qs);
        const QByteArrayList before{"image/x-test", "UTF8_STRING"};
        QVERIFY(!happensSoon([&] { return m_clipboard->targets() != before; }));
        QCOMPARE(m_clipboard->ask("image/x-test")->data, "\x89not text");
        QCOMPARE(m_clipboard->ask("UTF8_STRING")->data, "caption");
    }

    void theDictatedTextDoesNotStayWhereNothingStood_data() { managers(); }
    void theDictatedTextDoesNotStayWhereNothingStood() {
        paste(u"dictated"_qs);
        QVERIFY(!happensSoon(
            [&] { return m_clipboard->ask("UTF8_STRING").value_or(Answer()).data == "dictated"; }));
    }

    void aCopyOutlivesTheProgram_data() { keepers(); }
    void aCopyOutlivesTheProgram() {
        PasteboardInserter().copy(u"copied"_qs);
        m_desktop->x11->handOver();
        m_desktop->x11.reset();
        QTRY_VERIFY(m_clipboard->ask("UTF8_STRING").has_value());
        QCOMPARE(m_clipboard->ask("UTF8_STRING")->data, "copied");
    }

    void restoredContentsOutliveTheProgram_data() { keepers(); }
    void restoredContentsOutliveTheProgram() {
        const QByteArray image(2'000'000, 'p');
        {
            const SelectionPeer owner(
                m_display->name(), "CLIPBOARD",
                {{.target = "image/x-test", .data = image}, {.target = "UTF8_STRING", .data = "caption"}});
            paste(u"dictated"_qs);
        }
        m_desktop->x11->handOver();
        m_desktop->x11.reset();
        QTRY_VERIFY(m_clipboard->ask("UTF8_STRING").has_value());
        QCOMPARE(m_clipboard->ask("UTF8_STRING")->data, "caption");
        const auto kept = m_clipboard->ask("image/x-test");
        QVERIFY(kept.has_value());
        QVERIFY(kept->data == image);
    }

private:
    static void managers() {
        QTest::addColumn<QString>("manager");
        QTest::newRow("copyq") << u"copyq"_qs;
        QTest::newRow("clipman") << u"xfce4-clipman"_qs;
    }

    /// Managers that take the contents over from programs that end.
    static void keepers() {
        QTest::addColumn<QString>("manager");
        QTest::newRow("xfsettingsd") << u"xfsettingsd"_qs;
    }

    /// A manager that is up looks at what appears on the clipboard.
    void awaitManager() {
        QFETCH(QString, manager);
        if (manager == u"xfsettingsd"_qs) {
            SelectionRequestor keeper(m_display->name(), "CLIPBOARD_MANAGER");
            QVERIFY(ChildProcess::waitUntil([&] { return keeper.isOwned(); }));
            return;
        }
        QVERIFY(ChildProcess::waitUntil([&] {
            const SelectionPeer probe(m_display->name(), "CLIPBOARD",
                                      {{.target = "UTF8_STRING", .data = "p"}});
            return ChildProcess::waitUntil([&] { return !probe.requested().isEmpty(); }, 500);
        }));
    }

    /// Whether a manager that reacts to a change does this.
    static bool happensSoon(const std::function<bool()> &condition) {
        return ChildProcess::waitUntil(condition, 1000);
    }

    void paste(const QString &text) {
        QVERIFY(PasteboardInserter().paste(text, nullptr));
        QVERIFY(ChildProcess::waitUntil([&] { return m_desktop->realTime.pending == 0; }));
    }

    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<ClipboardDisplay> m_display;
    std::unique_ptr<SelectionRequestor> m_clipboard;
    std::unique_ptr<ChildProcess> m_manager;
    std::unique_ptr<DesktopWithClipboard> m_desktop;
};

} // namespace quillora::test

QTEST_GUILESS_MAIN(quillora::test::X11ClipboardManagersTest)
#include "X11ClipboardManagersTest.moc"
