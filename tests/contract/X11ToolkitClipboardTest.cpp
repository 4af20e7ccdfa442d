#include "platform/linux/x11/X11Pasteboard.h"
#include "support/SelectionPeer.h"
#include "support/SelectionRequestor.h"
#include "support/VirtualDisplay.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QTest>

namespace quillora::test {

using platform::X11Pasteboard;

/// The pasteboard in a process whose own windows use the clipboard too.
class X11ToolkitClipboardTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_pasteboard = std::make_unique<X11Pasteboard>(); }
    void cleanup() { m_pasteboard.reset(); }

    void whatWasCopiedInOurOwnWindowComesBack() {
        auto *copied = new QMimeData;
        copied->setText(u"größer"_qs);
        copied->setHtml(u"<b>größer</b>"_qs);
        QGuiApplication::clipboard()->setMimeData(copied);
        const auto items = m_pasteboard->items();
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->string(u"UTF8_STRING"_qs), u"größer"_qs);
        QCOMPARE(items.front()->data(u"text/html"_qs), u"<b>größer</b>"_qs.toUtf8());
    }

    void whatWasSelectedInOurOwnWindowComesBack() {
        QGuiApplication::clipboard()->setText(u"selected"_qs, QClipboard::Selection);
        m_pasteboard->setString(u"dictated"_qs);
        m_pasteboard->lendToPrimary();
        m_pasteboard->clearContents();
        SelectionRequestor clipboard({}, "CLIPBOARD");
        QTRY_VERIFY(!clipboard.isOwned());
        SelectionRequestor primary({}, "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "selected");
    }

    void ourOwnWindowsPasteWhatStandsOnThePasteboard() {
        m_pasteboard->setString(u"dictated"_qs);
        // Asked on the main thread, which waits for the answer. The toolkit asks as at the last event it saw.
        QTRY_COMPARE(QGuiApplication::clipboard()->text(), u"dictated"_qs);
    }

    void anotherProgramsCopyIsReadFromThatProgram() {
        QVERIFY(ChildProcess::waitUntil([] {
            QGuiApplication::clipboard()->setText(u"ours"_qs);
            return QGuiApplication::clipboard()->ownsClipboard();
        }));
        const SelectionPeer owner({}, "CLIPBOARD", {{.target = "UTF8_STRING", .data = "theirs"}});
        const auto items = m_pasteboard->items();
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->string(u"UTF8_STRING"_qs), u"theirs"_qs);
    }

private:
    std::unique_ptr<X11Pasteboard> m_pasteboard;
};

} // namespace quillora::test

int main(int argc, char **argv) {
    quillora::test::VirtualDisplay display;
    qputenv("DISPLAY", display.name());
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication application(argc, argv);
    quillora::test::X11ToolkitClipboardTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "X11ToolkitClipboardTest.moc"
