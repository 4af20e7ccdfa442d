#include "app/PanelScroller.h"
#include "ui/PanelHarness.h"

#include <QScrollBar>
#include <QTest>
#include <QWheelEvent>

using namespace quillora;
using test::PanelHarness;

/// The real panel where the screen has no room for it.
class PanelScrollerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theWheelLeadsToTheFooterWhateverIsUnderThePointer_data() {
        QTest::addColumn<QString>("name");
        QTest::newRow("a picker") << u"targetPicker"_s;
        QTest::newRow("the status") << u"statusText"_s;
        QTest::newRow("a text") << u"transcriptText"_s;
    }
    void theWheelLeadsToTheFooterWhateverIsUnderThePointer() {
        QFETCH(QString, name);
        PanelHarness harness;
        auto &footer = harness.find<QWidget>(u"footerText"_s);
        auto &widget = harness.find<QWidget>(name);
        PanelScroller scroller(std::move(harness.panel));
        scroller.setRoom(400);
        scroller.resize(scroller.sizeHint());
        scroller.show();
        QCOMPARE(scroller.height(), 400);
        QVERIFY(footer.visibleRegion().isEmpty());
        QWidget *part = widget.childAt(widget.rect().center());
        QWidget *under = part ? part : &widget;
        const auto *bar = scroller.verticalScrollBar();
        for (int turns = 0; turns < 100 && bar->value() < bar->maximum(); ++turns) {
            // The toolkit passes a turn on to whatever is around, until somebody takes it.
            bool isTaken = false;
            for (QWidget *at = under; at && !isTaken; at = at->parentWidget())
                isTaken = takesTurn(*at);
        }
        QCOMPARE(bar->value(), bar->maximum());
        QCOMPARE(footer.visibleRegion().boundingRect(), footer.rect());
    }

private:
    static bool takesTurn(QWidget &widget) {
        const QPointF middle = widget.rect().center();
        QWheelEvent turn(middle, widget.mapToGlobal(middle), {}, {0, -120}, Qt::NoButton, Qt::NoModifier,
                         Qt::NoScrollPhase, false);
        return QApplication::sendEvent(&widget, &turn) && turn.isAccepted();
    }
};

QTEST_MAIN(PanelScrollerTest)
#include "PanelScrollerTest.moc"
