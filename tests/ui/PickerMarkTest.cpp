#include "ui/PickerMark.h"
#include "ui/ModelMark.h"
#include "ui/ToolTip.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QTest>
#include <QTextDocument>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::ModelKind;
using Mark = Picker::Mark;
using Standing = ModelNeed::Standing;

namespace {

const Mark missing{u"arrow.down.circle"_s, {}, u"Not installed: 14 MB"_s};
const Mark arriving{u"arrow.triangle.2.circlepath.circle"_s, 42, u"On its way, 42 %"_s};

ModelNeed need(Standing standing) {
    ModelNeed need;
    need.standing = standing;
    need.size.bytes = 14'000'000;
    return need;
}

} // namespace

/// What stands beside an option's name.
class PickerMarkTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_picker = std::make_unique<Picker>(
            u"Translate to"_s,
            QList<Picker::Option>{{u"es"_s, u"🇪🇸"_s, u"Spanish"_s}, {u"ru"_s, u"🇷🇺"_s, u"Russian"_s}});
        m_picker->resize(300, 30);
        m_picker->select(u"ru"_s);
    }
    void cleanup() { m_picker.reset(); }

    void aMarkChangesNoText() {
        m_picker->setMarks({{u"ru"_s, missing}});
        QCOMPARE(m_picker->currentText(), u"🇷🇺 Russian"_s);
        QCOMPARE(m_picker->itemText(0), u"🇪🇸 Spanish"_s);
    }

    void aMarkTakesNoRoomFromTheName() {
        const QImage unmarked = m_picker->grab().toImage();
        m_picker->setMarks({{u"ru"_s, arriving}});
        QCOMPARE(m_picker->grab().toImage(), unmarked);
    }

    void aMarkOfAnotherOptionIsSeenInTheListAlone() {
        const QImage unmarked = m_picker->grab().toImage();
        m_picker->setMarks({{u"es"_s, missing}});
        QCOMPARE(m_picker->grab().toImage(), unmarked);
        QVERIFY(!m_picker->itemIcon(0).isNull());
    }

    void besideTheTitleAMarkIsSeen() {
        PickerMark beside(*m_picker);
        QCOMPARE(beside.sizeHint().width(), 0);
        beside.resize(20, 20);
        const QImage nothing = beside.grab().toImage();
        m_picker->setMarks({{u"ru"_s, missing}});
        QCOMPARE(beside.sizeHint().width(), Picker::markSize);
        const QImage symbol = beside.grab().toImage();
        QVERIFY(symbol != nothing);
        m_picker->setMarks({});
        QCOMPARE(beside.sizeHint().width(), 0);
        QCOMPARE(beside.grab().toImage(), nothing);
    }

    void besideTheTitleARingSaysHowFarItIs() {
        PickerMark beside(*m_picker);
        beside.resize(20, 20);
        QList<QImage> seen;
        for (const int percent : {0, 10, 50, 99}) {
            Mark further = arriving;
            further.percent = percent;
            m_picker->setMarks({{u"ru"_s, further}});
            const QImage image = beside.grab().toImage();
            QVERIFY(!seen.contains(image));
            seen += image;
        }
    }

    void besideTheTitleTheToolTipSaysWhatItMeansToo() {
        PickerMark beside(*m_picker);
        m_picker->setMarks({{u"ru"_s, missing}});
        QCOMPARE(beside.toolTip(), u"Not installed: 14 MB"_s);
        m_picker->select(u"es"_s);
        QCOMPARE(beside.toolTip(), QString());
    }

    void theListHasNoRoomForMarksWhereThereAreNone() {
        m_picker->setMarks({{u"es"_s, missing}});
        m_picker->setMarks({});
        QVERIFY(m_picker->itemIcon(0).isNull());
        QVERIFY(m_picker->itemIcon(1).isNull());
    }

    void theToolTipSaysWhatTheMarkMeans() {
        m_picker->setMarks({{u"ru"_s, missing}});
        QCOMPARE(toolTip(), u"Not installed: 14 MB"_s);
    }

    void whereTheNameIsCutTheToolTipSaysBoth() {
        m_picker->setMarks({{u"ru"_s, missing}});
        m_picker->resize(70, 30);
        QCOMPARE(toolTip(), u"🇷🇺 Russian\nNot installed: 14 MB"_s);
    }

    void assistiveTechnologySaysWhatTheMarkMeans() {
        m_picker->setMarks({{u"ru"_s, missing}});
        const auto *interface = QAccessible::queryAccessibleInterface(m_picker.get());
        QCOMPARE(interface->text(QAccessible::Description), u"Not installed: 14 MB"_s);
        QCOMPARE(m_picker->itemData(1, Qt::AccessibleDescriptionRole).toString(), u"Not installed: 14 MB"_s);
    }

    void theMarkFollowsTheChoice() {
        m_picker->setMarks({{u"ru"_s, missing}});
        m_picker->select(u"es"_s);
        QCOMPARE(m_picker->accessibleDescription(), QString());
        QCOMPARE(toolTip(), QString());
    }

    void andWhatTheUserPicks() {
        PickerMark beside(*m_picker);
        m_picker->setMarks({{u"es"_s, missing}});
        m_picker->showPopup();
        QTest::keyClicks(m_picker->view(), u"sp"_s);
        QTest::keyClick(m_picker->view(), Qt::Key_Return);
        QCOMPARE(m_picker->currentText(), u"🇪🇸 Spanish"_s);
        QCOMPARE(m_picker->accessibleDescription(), u"Not installed: 14 MB"_s);
        QCOMPARE(beside.toolTip(), u"Not installed: 14 MB"_s);
    }

    // Which mark a language has.

    void whatIsReadyHasNoMark() { QVERIFY(!modelMark(need(Standing::ready), ModelKind::speech)); }

    void whatIsMissingSaysItsSize() {
        QCOMPARE(modelMark(need(Standing::missing), ModelKind::speech), missing);
    }

    void whatArrivesSaysHowFarItIs() {
        ModelNeed some = need(Standing::arriving);
        some.percent = 42;
        QCOMPARE(modelMark(some, ModelKind::speech), arriving);
    }

    void whatArrivesAndDoesNotSayHowFarItIsIsMarkedAllTheSame() {
        QCOMPARE(modelMark(need(Standing::arriving), ModelKind::speech),
                 (Mark{u"arrow.triangle.2.circlepath.circle"_s, {}, u"On its way"_s}));
    }

    void whatNothingHearsSaysSo() {
        QCOMPARE(modelMark(need(Standing::unserved), ModelKind::speech),
                 (Mark{u"slash.circle"_s, {}, u"There is no model for this"_s}));
    }

    void whatNothingTranslatesSaysWhatDoes() {
        QCOMPARE(modelMark(need(Standing::unserved), ModelKind::translation),
                 (Mark{u"slash.circle"_s,
                       {},
                       u"There is no model for this. Choose OpenAI Natural as the engine."_s}));
    }

private:
    /// Without the marks of rich text.
    QString toolTip() const {
        QTextDocument text;
        text.setHtml(test::toolTipOf(*m_picker));
        return text.toPlainText();
    }

    std::unique_ptr<Picker> m_picker;
};

QTEST_MAIN(PickerMarkTest)
#include "PickerMarkTest.moc"
