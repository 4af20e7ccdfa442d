#include "app/PanelPlacement.h"

#include <QTest>

using namespace quillora;

namespace {

constexpr QSize panelSize(380, 600);
constexpr QRect topPanelScreen(0, 28, 1366, 740);   ///< what a panel at the top leaves
constexpr QRect bottomPanelScreen(0, 0, 1366, 740); ///< what one at the bottom leaves
constexpr QRect leftPanelScreen(28, 0, 1338, 768);
constexpr QRect rightPanelScreen(0, 0, 1338, 768);
constexpr QRect firstScreen(0, 0, 1366, 768);
constexpr QRect secondScreen(1366, 0, 1280, 720); ///< 2560 x 1440, at twice the scale

} // namespace

class PanelPlacementTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void placesThePanel_data() {
        QTest::addColumn<QRect>("anchor"); // invalid: none
        QTest::addColumn<QPoint>("pointer");
        QTest::addColumn<QRect>("screen");
        QTest::addColumn<QRect>("available"); // no panel is known where the toolkit cannot tell
        QTest::addColumn<QPoint>("position");

        const QRect noAnchor;
        QTest::newRow("centred under an icon in a top panel")
            << QRect(700, 2, 24, 24) << QPoint() << firstScreen << topPanelScreen << QPoint(521, 28);
        QTest::newRow("kept on the screen at its right edge")
            << QRect(1340, 2, 24, 24) << QPoint() << firstScreen << topPanelScreen << QPoint(986, 28);
        QTest::newRow("kept on the screen at its left edge")
            << QRect(0, 2, 24, 24) << QPoint() << firstScreen << topPanelScreen << QPoint(0, 28);
        QTest::newRow("above an icon in a bottom panel")
            << QRect(1300, 742, 24, 24) << QPoint() << firstScreen << bottomPanelScreen << QPoint(986, 140);
        QTest::newRow("beside an icon in a left panel")
            << QRect(2, 400, 24, 24) << QPoint() << firstScreen << leftPanelScreen << QPoint(28, 111);
        QTest::newRow("beside an icon at the top of a left panel")
            << QRect(2, 2, 24, 24) << QPoint() << firstScreen << leftPanelScreen << QPoint(28, 0);
        QTest::newRow("beside an icon at the bottom of a left panel")
            << QRect(2, 742, 24, 24) << QPoint() << firstScreen << leftPanelScreen << QPoint(28, 168);
        QTest::newRow("beside an icon in a right panel")
            << QRect(1340, 400, 24, 24) << QPoint() << firstScreen << rightPanelScreen << QPoint(958, 111);
        QTest::newRow("beside an icon at the bottom of a right panel")
            << QRect(1340, 742, 24, 24) << QPoint() << firstScreen << rightPanelScreen << QPoint(958, 168);
        QTest::newRow("under a click in an unknown top panel")
            << QRect(2000, 14, 1, 1) << QPoint() << secondScreen << secondScreen << QPoint(1810, 15);
        QTest::newRow("above a click in an unknown bottom panel")
            << QRect(2000, 706, 1, 1) << QPoint() << secondScreen << secondScreen << QPoint(1810, 106);
        QTest::newRow("beside a click in an unknown left panel")
            << QRect(1380, 350, 1, 1) << QPoint() << secondScreen << secondScreen << QPoint(1381, 50);
        QTest::newRow("beside a click in an unknown right panel")
            << QRect(2632, 350, 1, 1) << QPoint() << secondScreen << secondScreen << QPoint(2252, 50);
        QTest::newRow("pointer at the top right")
            << noAnchor << QPoint(1300, 10) << firstScreen << topPanelScreen << QPoint(986, 28);
        QTest::newRow("pointer at the top left")
            << noAnchor << QPoint(10, 10) << firstScreen << topPanelScreen << QPoint(0, 28);
        QTest::newRow("pointer at the bottom right")
            << noAnchor << QPoint(1300, 700) << firstScreen << bottomPanelScreen << QPoint(986, 140);
        QTest::newRow("pointer at the bottom left")
            << noAnchor << QPoint(10, 700) << firstScreen << bottomPanelScreen << QPoint(0, 140);
        QTest::newRow("a screen that is too small shows the top left")
            << noAnchor << QPoint(300, 300) << QRect(0, 0, 320, 480) << QRect(0, 0, 320, 480) << QPoint(0, 0);
    }
    void placesThePanel() {
        QFETCH(QRect, anchor);
        QFETCH(QPoint, pointer);
        QFETCH(QRect, screen);
        QFETCH(QRect, available);
        QFETCH(QPoint, position);
        const auto known = anchor.isValid() ? std::optional(anchor) : std::nullopt;
        const QRect room = roomForPanel(known, screen, available);
        QCOMPARE(placePanel(panelSize, known, pointer, room), QRect(position, panelSize));
    }

    void theIconStaysInSightWhereNoBarIsKnown_data() {
        QTest::addColumn<QRect>("anchor");
        QTest::addColumn<QRect>("room");
        QTest::newRow("top") << QRect(500, 14, 1, 1) << QRect(0, 15, 960, 525);
        QTest::newRow("bottom") << QRect(500, 526, 1, 1) << QRect(0, 0, 960, 526);
        QTest::newRow("left") << QRect(14, 300, 1, 1) << QRect(15, 0, 945, 540);
        QTest::newRow("right") << QRect(946, 300, 1, 1) << QRect(0, 0, 946, 540);
    }
    void theIconStaysInSightWhereNoBarIsKnown() {
        QFETCH(QRect, anchor);
        QFETCH(QRect, room);
        constexpr QRect screen(0, 0, 960, 540);
        QCOMPARE(roomForPanel(anchor, screen, screen), room);
    }
};

QTEST_APPLESS_MAIN(PanelPlacementTest)

#include "PanelPlacementTest.moc"
