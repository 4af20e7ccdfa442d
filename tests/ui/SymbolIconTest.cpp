#include "ui/SymbolIcon.h"

#include <QDir>
#include <QFile>
#include <QIcon>
#include <QPainter>
#include <QTest>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

using quillora::SymbolIcon;

namespace {

const QStringList family{u"mic.circle.fill"_s,
                         u"globe"_s,
                         u"arrow.triangle.2.circlepath.circle"_s,
                         u"mic.fill"_s,
                         u"stop.fill"_s,
                         u"keyboard"_s,
                         u"xmark.circle"_s,
                         u"arrow.counterclockwise"_s,
                         u"power"_s,
                         u"arrow.left.arrow.right"_s,
                         u"arrow.down.circle"_s,
                         u"doc.on.clipboard"_s,
                         u"waveform"_s,
                         u"text.bubble"_s,
                         u"circle.fill"_s};

int inkOf(const QImage &image) {
    int ink = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            ink += qAlpha(image.pixel(x, y)) > 32;
    return ink;
}

} // namespace

class SymbolIconTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everySymbolIsOneOfTheFamily_data() {
        QTest::addColumn<QString>("name");
        for (const QString &name : family)
            QTest::newRow(qPrintable(name)) << name;
    }

    /// One grid, one stroke width, one colour.
    void everySymbolIsOneOfTheFamily() {
        QFETCH(QString, name);
        QFile file(u":/icons/"_s + name + u".svg"_s);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QXmlStreamReader xml(&file);
        QVERIFY(xml.readNextStartElement());
        QCOMPARE(xml.attributes().value(u"viewBox"_s).toString(), u"0 0 24 24"_s);
        QCOMPARE(xml.attributes().value(u"stroke-width"_s).toString(), u"1.5"_s);
        while (!xml.atEnd()) {
            if (xml.readNext() != QXmlStreamReader::StartElement)
                continue;
            for (const auto &attribute : {u"fill"_s, u"stroke"_s}) {
                const auto value = xml.attributes().value(attribute).toString();
                QVERIFY2(value.isEmpty() || value == u"none"_s || value == u"currentColor"_s,
                         qPrintable(value));
            }
        }
        QVERIFY(!xml.hasError());
    }

    void everySymbolCanBeSeenAtEverySize_data() { everySymbolIsOneOfTheFamily_data(); }

    void everySymbolCanBeSeenAtEverySize() {
        QFETCH(QString, name);
        for (const int size : {14, 16, 18, 22, 32, 48, 64}) {
            const auto image = SymbolIcon::icon(name, Qt::red).pixmap(size).toImage();
            QVERIFY2(inkOf(image) > size * size / 16, qPrintable(QString::number(size)));
        }
    }

    void aSymbolHasTheColourAskedFor() {
        const auto image = SymbolIcon::icon(u"stop.fill"_s, QColor(10, 200, 30)).pixmap(24).toImage();
        QCOMPARE(image.pixelColor(12, 12), QColor(10, 200, 30));
        QCOMPARE(image.pixelColor(0, 0).alpha(), 0);
    }

    void aDisabledSymbolIsFainter() {
        const auto icon = SymbolIcon::icon(u"stop.fill"_s, Qt::black);
        const auto enabled = icon.pixmap(QSize(24, 24), QIcon::Normal).toImage().pixelColor(12, 12);
        const auto disabled = icon.pixmap(QSize(24, 24), QIcon::Disabled).toImage().pixelColor(12, 12);
        QVERIFY(disabled.alpha() < enabled.alpha());
    }

    void aDisabledSymbolIsPaintedFainter() {
        const auto paintedAlpha = [](QIcon::Mode mode) {
            QImage image(24, 24, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            QPainter painter(&image);
            SymbolIcon::icon(u"stop.fill"_s, Qt::black).paint(&painter, image.rect(), Qt::AlignCenter, mode);
            painter.end();
            return image.pixelColor(12, 12).alpha();
        };
        QVERIFY(paintedAlpha(QIcon::Disabled) > 0);
        QVERIFY(paintedAlpha(QIcon::Disabled) < paintedAlpha(QIcon::Normal));
    }

    void aSymbolIsAsWideAsAskedForWhateverWasDrawnBefore() {
        const auto icon = SymbolIcon::icon(u"globe"_s, Qt::black);
        for (const int width : {12, 24, 48})
            QCOMPARE(icon.pixmap(QSize(width, 24)).width(), width);
    }

    void aSymbolIsSharpOnADenseScreen() {
        QImage dense(48, 48, QImage::Format_ARGB32_Premultiplied);
        dense.setDevicePixelRatio(2);
        dense.fill(Qt::transparent);
        QPainter painter(&dense);
        SymbolIcon::paint(painter, u"globe"_s, QRectF(0, 0, 24, 24), Qt::black);
        painter.end();
        const auto direct = SymbolIcon::icon(u"globe"_s, Qt::black).pixmap(48).toImage();
        QCOMPARE(inkOf(dense), inkOf(direct));
    }

    void anUnknownSymbolIsNull() { QVERIFY(SymbolIcon::icon(u"nothing"_s, Qt::black).isNull()); }
};

QTEST_MAIN(SymbolIconTest)
#include "SymbolIconTest.moc"
