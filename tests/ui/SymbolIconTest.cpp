#include "ui/SymbolIcon.h"

#include <QDir>
#include <QFile>
#include <QIcon>
#include <QPainter>
#include <QTest>
#include <QXmlStreamReader>

using quillora::SymbolIcon;

namespace {

const QStringList family{u"mic.circle.fill"_qs,
                         u"globe"_qs,
                         u"arrow.triangle.2.circlepath.circle"_qs,
                         u"mic.fill"_qs,
                         u"stop.fill"_qs,
                         u"keyboard"_qs,
                         u"xmark.circle"_qs,
                         u"arrow.counterclockwise"_qs,
                         u"power"_qs,
                         u"arrow.left.arrow.right"_qs,
                         u"arrow.down.circle"_qs,
                         u"doc.on.clipboard"_qs,
                         u"waveform"_qs,
                         u"text.bubble"_qs,
                         u"circle.fill"_qs};

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
        QFile file(u":/icons/"_qs + name + u".svg"_qs);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QXmlStreamReader xml(&file);
        QVERIFY(xml.readNextStartElement());
        QCOMPARE(xml.attributes().value(u"viewBox"_qs).toString(), u"0 0 24 24"_qs);
        QCOMPARE(xml.attributes().value(u"stroke-width"_qs).toString(), u"1.5"_qs);
        while (!xml.atEnd()) {
            if (xml.readNext() != QXmlStreamReader::StartElement)
                continue;
            for (const auto &attribute : {u"fill"_qs, u"stroke"_qs}) {
                const auto value = xml.attributes().value(attribute).toString();
                QVERIFY2(value.isEmpty() || value == u"none"_qs || value == u"currentColor"_qs,
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
        const auto image = SymbolIcon::icon(u"stop.fill"_qs, QColor(10, 200, 30)).pixmap(24).toImage();
        QCOMPARE(image.pixelColor(12, 12), QColor(10, 200, 30));
        QCOMPARE(image.pixelColor(0, 0).alpha(), 0);
    }

    void aDisabledSymbolIsFainter() {
        const auto icon = SymbolIcon::icon(u"stop.fill"_qs, Qt::black);
        const auto enabled = icon.pixmap(QSize(24, 24), QIcon::Normal).toImage().pixelColor(12, 12);
        const auto disabled = icon.pixmap(QSize(24, 24), QIcon::Disabled).toImage().pixelColor(12, 12);
        QVERIFY(disabled.alpha() < enabled.alpha());
    }

    void aSymbolIsSharpOnADenseScreen() {
        QImage dense(48, 48, QImage::Format_ARGB32_Premultiplied);
        dense.setDevicePixelRatio(2);
        dense.fill(Qt::transparent);
        QPainter painter(&dense);
        SymbolIcon::paint(painter, u"globe"_qs, QRectF(0, 0, 24, 24), Qt::black);
        painter.end();
        const auto direct = SymbolIcon::icon(u"globe"_qs, Qt::black).pixmap(48).toImage();
        QCOMPARE(inkOf(dense), inkOf(direct));
    }

    void anUnknownSymbolIsNull() { QVERIFY(SymbolIcon::icon(u"nothing"_qs, Qt::black).isNull()); }
};

QTEST_MAIN(SymbolIconTest)
#include "SymbolIconTest.moc"
