#include "ui/LimitedLabel.h"
#include "ui/ToolTip.h"

#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

using quillora::LimitedLabel;
using quillora::test::toolTipOf;

namespace {

std::unique_ptr<LimitedLabel> labelWith(const QString &text) {
    auto label = std::make_unique<LimitedLabel>(2);
    label->resize(328, 40);
    label->setPlainText(text);
    label->show();
    return label;
}

QImage pictureOf(LimitedLabel &label) { return label.grab().toImage(); }

/// From the first row of a picture that is not all background to the last.
int heightOfInk(const QImage &picture) {
    const QRgb background = picture.pixel(0, 0);
    int first = picture.height();
    int last = -1;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            if (picture.pixel(x, y) != background) {
                first = std::min(first, y);
                last = y;
            }
        }
    }
    return std::max(0, last - first + 1);
}

} // namespace

class LimitedLabelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aShortTextHasNoTip() {
        const auto label = labelWith(u"Ready."_s);
        QCOMPARE(label->text(), u"Ready."_s);
        QCOMPARE(toolTipOf(*label), QString());
    }

    void theTipTellsAllThatIsCut() {
        const QString text = u"Translation failed: salt & <pepper>, "_s.repeated(5) + u"the end"_s;
        const auto label = labelWith(text);
        QVERIFY(toolTipOf(*label).contains(u"salt &amp; &lt;pepper&gt;"_s));
        QVERIFY(toolTipOf(*label).contains(u"the end"_s));
    }

    /// The toolkit gives any other text as many pixels in one line as it wants.
    void theTipIsBrokenIntoLines() {
        const auto label = labelWith(u"words & words "_s.repeated(60));
        QVERIFY(Qt::mightBeRichText(toolTipOf(*label)));
        QVERIFY(!toolTipOf(*label).contains(QChar::Nbsp));
    }

    void anEndlessTextLooksAsItsBeginningDoes() {
        const QString error = u"Translation failed: <html>a page instead of an answer "_s;
        const auto endless = labelWith(error.repeated(20000));
        const auto longOne = labelWith(error.repeated(15));
        QCOMPARE(pictureOf(*endless), pictureOf(*longOne));
    }

    void noMoreLinesAreShownThanAskedForHoweverMuchRoomThereIs() {
        const auto label = labelWith(u"Translation failed: "_s.repeated(15));
        label->resize(328, 200);
        const int line = label->fontMetrics().lineSpacing();
        QVERIFY(heightOfInk(pictureOf(*label)) > line);
        QVERIFY(heightOfInk(pictureOf(*label)) <= 2 * line);
    }

    void ofAnEndlessTextOnlyItsBeginningIsKept() {
        const auto label = labelWith(u"Translation failed: "_s + QString(1 << 20, u'x'));
        QCOMPARE(label->text(), u"Translation failed: "_s + QString(980, u'x') + u'…');
        QVERIFY(toolTipOf(*label).contains(u"Translation failed: xxx"_s));
        QVERIFY(toolTipOf(*label).size() < 1200);
    }

    void characterPairsAreNotTornApart() {
        const auto label = labelWith(QString(999, u'x') + u"😀😀"_s);
        QCOMPARE(label->text(), QString(999, u'x') + u'…');
    }

    void theLabelWantsNoMoreRoomThanItsLinesCanHold() {
        const auto label = labelWith(QString(1 << 20, u'x'));
        QVERIFY(label->sizeHint().width() < 10000);
    }

    void lineEndsTakeNoRoom() {
        const auto label = labelWith(u"Translation failed:\n\n\n  the server   is tired"_s);
        const auto plain = labelWith(u"Translation failed: the server is tired"_s);
        QCOMPARE(pictureOf(*label), pictureOf(*plain));
    }
};

QTEST_MAIN(LimitedLabelTest)
#include "LimitedLabelTest.moc"
