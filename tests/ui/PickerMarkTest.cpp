#include "ui/ModelMark.h"
#include "ui/Picker.h"
#include "ui/ToolTip.h"

#include <QAccessible>
#include <QTest>
#include <QTextDocument>

using namespace quillora;
using Mark = Picker::Mark;
using Standing = ModelNeed::Standing;

namespace {

const Mark missing{u"arrow.down.circle"_qs, {}, u"Not installed: 14 MB"_qs};
const Mark arriving{u"arrow.triangle.2.circlepath.circle"_qs, u"42 %"_qs, u"On its way, 42 %"_qs};

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
            u"Translate to"_qs,
            QList<Picker::Option>{{u"es"_qs, u"🇪🇸"_qs, u"Spanish"_qs}, {u"ru"_qs, u"🇷🇺"_qs, u"Russian"_qs}});
        m_picker->resize(300, 30);
        m_picker->select(u"ru"_qs);
    }
    void cleanup() { m_picker.reset(); }

    void aMarkChangesNoText() {
        m_picker->setMarks({{u"ru"_qs, missing}});
        QCOMPARE(m_picker->currentText(), u"🇷🇺 Russian"_qs);
        QCOMPARE(m_picker->itemText(0), u"🇪🇸 Spanish"_qs);
    }

    void aMarkTakesRoomBesideTheName() {
        const int unmarked = m_picker->fullWidth();
        m_picker->setMarks({{u"ru"_qs, missing}});
        const int symbol = m_picker->fullWidth();
        m_picker->setMarks({{u"ru"_qs, arriving}});
        QVERIFY(symbol > unmarked);
        QVERIFY(m_picker->fullWidth() > symbol);
    }

    void aMarkOfAnotherOptionIsSeenInTheListAlone() {
        const QImage unmarked = m_picker->grab().toImage();
        m_picker->setMarks({{u"es"_qs, missing}});
        QCOMPARE(m_picker->grab().toImage(), unmarked);
        QVERIFY(!m_picker->itemIcon(0).isNull());
    }

    void aMarkIsSeen() {
        const QImage unmarked = m_picker->grab().toImage();
        m_picker->setMarks({{u"ru"_qs, missing}});
        QVERIFY(m_picker->grab().toImage() != unmarked);
    }

    void theListHasNoRoomForMarksWhereThereAreNone() {
        m_picker->setMarks({{u"es"_qs, missing}});
        m_picker->setMarks({});
        QVERIFY(m_picker->itemIcon(0).isNull());
        QVERIFY(m_picker->itemIcon(1).isNull());
    }

    void theToolTipSaysWhatTheMarkMeans() {
        m_picker->setMarks({{u"ru"_qs, missing}});
        QCOMPARE(toolTip(), u"Not installed: 14 MB"_qs);
    }

    void whereTheNameIsCutTheToolTipSaysBoth() {
        m_picker->setMarks({{u"ru"_qs, missing}});
        m_picker->resize(70, 30);
        QCOMPARE(toolTip(), u"🇷🇺 Russian\nNot installed: 14 MB"_qs);
    }

    void assistiveTechnologySaysWhatTheMarkMeans() {
        m_picker->setMarks({{u"ru"_qs, missing}});
        const auto *interface = QAccessible::queryAccessibleInterface(m_picker.get());
        QCOMPARE(interface->text(QAccessible::Description), u"Not installed: 14 MB"_qs);
        QCOMPARE(m_picker->itemData(1, Qt::AccessibleDescriptionRole).toString(), u"Not installed: 14 MB"_qs);
    }

    void theMarkFollowsTheChoice() {
        m_picker->setMarks({{u"ru"_qs, missing}});
        m_picker->select(u"es"_qs);
        QCOMPARE(m_picker->accessibleDescription(), QString());
        QCOMPARE(toolTip(), QString());
    }

    // Which mark a language has.

    void whatIsReadyHasNoMark() { QVERIFY(!modelMark(need(Standing::ready))); }

    void whatIsMissingSaysItsSize() { QCOMPARE(modelMark(need(Standing::missing)), missing); }

    void whatArrivesSaysHowFarItIs() {
        ModelNeed some = need(Standing::arriving);
        some.percent = 42;
        QCOMPARE(modelMark(some), arriving);
    }

    void whatArrivesAndDoesNotSayHowFarItIsIsMarkedAllTheSame() {
        QCOMPARE(modelMark(need(Standing::arriving)),
                 (Mark{u"arrow.triangle.2.circlepath.circle"_qs, {}, u"On its way"_qs}));
    }

    void whatNothingServesSaysSo() {
        QCOMPARE(modelMark(need(Standing::unserved)),
                 (Mark{u"slash.circle"_qs, {}, u"There is no model for this"_qs}));
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
