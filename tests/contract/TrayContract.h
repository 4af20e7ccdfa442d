#pragma once

#include "contract/Subjects.h"
#include "platform/Tray.h"

#include <QPoint>
#include <QTest>

#include <memory>

namespace quillora::test {

/// A tray, and the desktop around it; at first no tray is there.
class TrayHarness {
public:
    virtual ~TrayHarness() = default;

    virtual platform::Tray &tray() = 0;

    /// A tray comes up.
    virtual void come() = 0;
    /// The tray goes.
    virtual void go() = 0;

    /// The user clicks on the item, which the tray shows at that place.
    virtual void click(const QPoint &place) = 0;
};

/// What all trays do.
class TrayContract : public QObject {
    Q_OBJECT

public:
    explicit TrayContract(Subjects<TrayHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() {
        m_clicks = 0;
        m_changes = 0;
        m_harness = m_subjects.harness();
    }
    void cleanup() {
        m_item.reset();
        m_harness.reset();
    }

    void aTrayThatIsThereShowsTheItem() {
        m_harness->come();
        makeItem();
        QTRY_VERIFY(m_item->isHosted());
    }

    void aTrayThatComesLaterShowsItAndThatIsTold() {
        makeItem();
        QVERIFY(!m_item->isHosted());
        m_changes = 0;
        m_harness->come();
        QTRY_VERIFY(m_item->isHosted());
        QTRY_VERIFY(m_changes > 0);
    }

    void aTrayThatGoesShowsItNoMoreAndThatIsTold() {
        m_harness->come();
        makeItem();
        QTRY_VERIFY(m_item->isHosted());
        m_changes = 0;
        m_harness->go();
        QTRY_VERIFY(!m_item->isHosted());
        QTRY_VERIFY(m_changes > 0);
    }

    void aTrayThatComesBackShowsItAgain() {
        m_harness->come();
        makeItem();
        QTRY_VERIFY(m_item->isHosted());
        m_harness->go();
        QTRY_VERIFY(!m_item->isHosted());
        m_harness->come();
        QTRY_VERIFY(m_item->isHosted());
    }

    void aClickIsToldAndFindsTheItemWhereItIs() {
        m_harness->come();
        makeItem();
        QTRY_VERIFY(m_item->isHosted());
        m_harness->click({1200, 12});
        QTRY_COMPARE(m_clicks, 1);
        QVERIFY(m_item->anchor());
        QVERIFY(m_item->anchor()->contains(1200, 12));
    }

    void withoutATrayTheItemIsNowhere() {
        makeItem();
        QVERIFY(!m_item->anchor());
    }

private:
    void makeItem() {
        m_item = m_harness->tray().makeItem(
            {.activated = [this] { ++m_clicks; }, .hostChanged = [this] { ++m_changes; }});
    }

    Subjects<TrayHarness> m_subjects;
    std::unique_ptr<TrayHarness> m_harness;
    std::unique_ptr<platform::StatusItem> m_item;
    int m_clicks = 0;
    int m_changes = 0; ///< that were told
};

} // namespace quillora::test
