#include "app/StatusIcon.h"

#include <QIcon>
#include <QTest>

#include <map>

using namespace Qt::StringLiterals;

using quillora::DictationState;
using quillora::StatusIcon;

namespace {

const std::map<DictationState, const char *> names{{DictationState::idle, "idle"},
                                                   {DictationState::recording, "recording"},
                                                   {DictationState::processing, "processing"}};

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

bool isRed(const QImage &icon) {
    for (int y = 0; y < icon.height(); ++y) {
        for (int x = 0; x < icon.width(); ++x) {
            const QColor pixel = icon.pixelColor(x, y);
            if (pixel.red() > 200 && pixel.green() < 120 && pixel.blue() < 120)
                return true;
        }
    }
    return false;
}

} // namespace

class StatusIconTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyStateStandsOutFromEveryPanel_data() {
        QTest::addColumn<DictationState>("state");
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("background");
        for (const auto &[state, stateName] : names) {
            for (const int size : StatusIcon::sizes) {
                for (const int background : {0, 255})
                    QTest::addRow("%s %d on %d", stateName, size, background) << state << size << background;
            }
        }
    }
    void everyStateStandsOutFromEveryPanel() {
        QFETCH(DictationState, state);
        QFETCH(int, size);
        QFETCH(int, background);
        const QImage image = StatusIcon(state).image(size);
        QCOMPARE(image.size(), QSize(size, size));
        QVERIFY(contrast(image, background) > 100);
    }

    void theStatesLookDifferent() {
        for (const int size : StatusIcon::sizes) {
            QVERIFY(StatusIcon(DictationState::idle).image(size) !=
                    StatusIcon(DictationState::recording).image(size));
            QVERIFY(StatusIcon(DictationState::idle).image(size) !=
                    StatusIcon(DictationState::processing).image(size));
            QVERIFY(StatusIcon(DictationState::recording).image(size) !=
                    StatusIcon(DictationState::processing).image(size));
        }
    }

    void onlyRecordingIsRed() {
        for (const int size : StatusIcon::sizes) {
            for (const auto &[state, name] : names)
                QCOMPARE(isRed(StatusIcon(state).image(size)), state == DictationState::recording);
        }
    }

    void theIconHasEverySize() {
        const auto sizes = StatusIcon(DictationState::idle).icon().availableSizes();
        QCOMPARE(sizes, (QList<QSize>{{16, 16}, {22, 22}, {24, 24}, {32, 32}, {48, 48}}));
    }

    void everyStateIsNamedAsItsInstalledDrawing_data() {
        QTest::addColumn<DictationState>("state");
        QTest::addColumn<QString>("name");
        for (const auto &[state, stateName] : names)
            QTest::newRow(stateName) << state
                                     << u"quillora-%1-symbolic"_s.arg(QString::fromLatin1(stateName));
    }
    void everyStateIsNamedAsItsInstalledDrawing() {
        QFETCH(DictationState, state);
        QFETCH(QString, name);
        QIcon::setThemeSearchPaths({QStringLiteral(QUILLORA_ICONS)});
        QIcon::setThemeName(u"hicolor"_s);
        QCOMPARE(StatusIcon(state).name(), name);
        QVERIFY(QIcon::hasThemeIcon(name));
    }
};

QTEST_MAIN(StatusIconTest)

#include "StatusIconTest.moc"
