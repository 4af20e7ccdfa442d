#include "app/StatusIcon.h"

#include <QIcon>
#include <QTest>

using quillora::StatusIcon;

namespace {

const QString idle = u"globe"_qs;
const QString recording = u"mic.circle.fill"_qs;
const QString processing = u"arrow.triangle.2.circlepath.circle"_qs;

/// How far the icon stands out from a grey background at its most visible pixel: 0 is not at all, 255 fully.
int contrast(const QImage &icon, int background) {
    int most = 0;
    for (int y = 0; y < icon.height(); ++y) {
        for (int x = 0; x < icon.width(); ++x) {
            const QColor pixel = icon.pixelColor(x, y);
            const int seen = (qGray(pixel.rgb()) * pixel.alpha() + background * (255 - pixel.alpha())) / 255;
            most = std::max(most, std::abs(seen - background));
        }
    }
    return most;
}

} // namespace

class StatusIconTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyStateStandsOutFromEveryPanel_data() {
        QTest::addColumn<QString>("symbol");
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("background");
        for (const QString &symbol : {idle, recording, processing}) {
            for (const int size : StatusIcon::sizes) {
                for (const int background : {0, 255})
                    QTest::addRow("%s %d on %d", qPrintable(symbol), size, background)
                        << symbol << size << background;
            }
        }
    }
    void everyStateStandsOutFromEveryPanel() {
        QFETCH(QString, symbol);
        QFETCH(int, size);
        QFETCH(int, background);
        const QImage image = StatusIcon(symbol).image(size);
        QCOMPARE(image.size(), QSize(size, size));
        QVERIFY(contrast(image, background) > 100);
    }

    void theStatesLookDifferent() {
        for (const int size : StatusIcon::sizes) {
            QVERIFY(StatusIcon(idle).image(size) != StatusIcon(recording).image(size));
            QVERIFY(StatusIcon(idle).image(size) != StatusIcon(processing).image(size));
            QVERIFY(StatusIcon(recording).image(size) != StatusIcon(processing).image(size));
        }
    }

    void theIconHasEverySize() {
        const auto sizes = StatusIcon(idle).icon().availableSizes();
        QCOMPARE(sizes, (QList<QSize>{{16, 16}, {22, 22}, {24, 24}, {32, 32}, {48, 48}}));
    }

    void withoutAnInstalledIconThereIsNoThemeName() {
        QCOMPARE(StatusIcon(recording).themeName(), QString());
    }

    void anInstalledIconIsNamed_data() {
        QTest::addColumn<QString>("symbol");
        QTest::addColumn<QString>("name");
        QTest::newRow("idle") << idle << u"quillora-idle-symbolic"_qs;
        QTest::newRow("recording") << recording << u"quillora-recording-symbolic"_qs;
        QTest::newRow("processing") << processing << u"quillora-processing-symbolic"_qs;
        QTest::newRow("anything else") << u"waveform"_qs << u"quillora-idle-symbolic"_qs;
    }
    void anInstalledIconIsNamed() {
        QFETCH(QString, symbol);
        QFETCH(QString, name);
        QIcon::setThemeSearchPaths({QStringLiteral(QUILLORA_ICONS)});
        QIcon::setThemeName(u"hicolor"_qs);
        QCOMPARE(StatusIcon(symbol).themeName(), name);
    }
};

QTEST_MAIN(StatusIconTest)

#include "StatusIconTest.moc"
