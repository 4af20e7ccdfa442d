#include "platform/linux/x11/X11Pasteboard.h"
#include "support/SelectionPeer.h"
#include "support/SelectionRequestor.h"
#include "support/VirtualDisplay.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QTest>

using namespace Qt::StringLiterals;

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
        copied->setText(u"größer"_s);
        copied->setHtml(u"<b>größer</b>"_s);
        QGuiApplication::clipboard()->setMimeData(copied);
        pasteOver();
        SelectionRequestor clipboard({}, "CLIPBOARD");
        QCOMPARE(clipboard.ask("UTF8_STRING")->data, u"größer"_s.toUtf8());
        QCOMPARE(clipboard.ask("text/html")->data, u"<b>größer</b>"_s.toUtf8());
    }

    void whatWasSelectedInOurOwnWindowComesBack() {
        QGuiApplication::clipboard()->setText(u"selected"_s, QClipboard::Selection);
        const auto saved = m_pasteboard->save();
        m_pasteboard->write(u"dictated"_s, saved);
        m_pasteboard->lendToPrimary();
        m_pasteboard->restore(saved);
        SelectionRequestor primary({}, "PRIMARY");
        QCOMPARE(primary.ask("UTF8_STRING")->data, "selected");
    }

    void ourOwnWindowsPasteWhatStandsOnThePasteboard() {
        m_pasteboard->write(u"dictated"_s, {});
        // Asked on the main thread, which waits for the answer. The toolkit asks as at the last event it saw.
        QTRY_COMPARE(QGuiApplication::clipboard()->text(), u"dictated"_s);
    }

    void anotherProgramsCopyIsReadFromThatProgram() {
        QVERIFY(ChildProcess::waitUntil([] {
            QGuiApplication::clipboard()->setText(u"ours"_s);
            return QGuiApplication::clipboard()->ownsClipboard();
        }));
        const SelectionPeer owner({}, "CLIPBOARD", {{.target = "UTF8_STRING", .data = "theirs"}});
        pasteOver();
        SelectionRequestor clipboard({}, "CLIPBOARD");
        QTRY_COMPARE(clipboard.ask("UTF8_STRING").value_or(SelectionRequestor::Answer()).data, "theirs");
    }

private:
    void pasteOver() {
        const auto saved = m_pasteboard->save();
        m_pasteboard->write(u"dictated"_s, saved);
        m_pasteboard->restore(saved);
    }

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
