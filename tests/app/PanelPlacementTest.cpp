#include "app/PanelPlacement.h"

#include <QTest>

using quillora::placePanel;

namespace {

constexpr QSize panelSize(380, 600);
constexpr QRect topPanelScreen(0, 28, 1366, 740);   ///< what a panel at the top leaves
constexpr QRect bottomPanelScreen(0, 0, 1366, 740); ///< what one at the bottom leaves
constexpr QRect secondScreen(1366, 0, 1920, 1080);

} // namespace

class PanelPlacementTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void placesThePanel_data() {
        QTest::addColumn<QRect>("anchor"); // invalid: none
        QTest::addColumn<QPoint>("pointer");
        QTest::addColumn<QRect>("available");
        QTest::addColumn<QPoint>("position");

        const QRect noAnchor;
        QTest::newRow("centred under an icon in a top panel")
            << QRect(700, 2, 24, 24) << QPoint() << topPanelScreen << QPoint(521, 28);
        QTest::newRow("kept on the screen at its right edge")
            << QRect(1340, 2, 24, 24) << QPoint() << topPanelScreen << QPoint(986, 28);
        QTest::newRow("kept on the screen at its left edge")
            << QRect(0, 2, 24, 24) << QPoint() << topPanelScreen << QPoint(0, 28);
        QTest::newRow("above an icon in a bottom panel")
            << QRect(1300, 742, 24, 24) << QPoint() << bottomPanelScreen << QPoint(986, 140);
        QTest::newRow("beside an icon in a panel at the side")
            << QRect(2, 300, 24, 24) << QPoint() << QRect(28, 0, 1338, 768) << QPoint(28, 168);
        QTest::newRow("on the screen of its icon")
            << QRect(3000, 0, 24, 24) << QPoint() << secondScreen << QPoint(2821, 24);
        QTest::newRow("pointer at the top right")
            << noAnchor << QPoint(1300, 10) << topPanelScreen << QPoint(986, 28);
        QTest::newRow("pointer at the top left")
            << noAnchor << QPoint(10, 10) << topPanelScreen << QPoint(0, 28);
        QTest::newRow("pointer at the bottom right")
            << noAnchor << QPoint(1300, 700) << bottomPanelScreen << QPoint(986, 140);
        QTest::newRow("pointer at the bottom left")
            << noAnchor << QPoint(10, 700) << bottomPanelScreen << QPoint(0, 140);
        QTest::newRow("a screen that is too small shows the top left")
            << noAnchor << QPoint(300, 300) << QRect(0, 0, 320, 480) << QPoint(0, 0);
    }
    void placesThePanel() {
        QFETCH(QRect, anchor);
        QFETCH(QPoint, pointer);
        QFETCH(QRect, available);
        QFETCH(QPoint, position);
        const auto known = anchor.isValid() ? std::optional(anchor) : std::nullopt;
        QCOMPARE(placePanel(panelSize, known, pointer, available), QRect(position, panelSize));
    }
};

QTEST_APPLESS_MAIN(PanelPlacementTest)

#include "PanelPlacementTest.moc"
