#include "platform/linux/tray/NotifierStatusItem.h"
#include "platform/linux/tray/MenuAdaptor.h"
#include "platform/linux/tray/NotifierItemAdaptor.h"
#include "support/NotifierTray.h"
#include "support/PrivateSessionBus.h"

#include <QAction>
#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QMenu>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::NotifierStatusItem;
using test::NotifierTray;

class NotifierStatusItemTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        QIcon::setThemeSearchPaths({});
        m_bus.emplace();
    }
    void init() {
        QIcon::setThemeSearchPaths({});
        m_tray.emplace(m_bus->address());
    }
    void cleanup() {
        m_item.reset();
        m_tray.reset();
    }
    void cleanupTestCase() { m_bus.reset(); }

    void itRegistersWithTheWatcher() {
        makeItem();
        QCOMPARE(m_tray->items().size(), 1);
        QVERIFY(m_tray->items().first().startsWith(u"org.kde.StatusNotifierItem-"));
        QCOMPARE(m_tray->itemProperty(u"Id"_s), u"org.quillora.Quillora"_s);
        QCOMPARE(m_tray->itemProperty(u"Category"_s), u"ApplicationStatus"_s);
        QCOMPARE(m_tray->itemProperty(u"Status"_s), u"Active"_s);
        QCOMPARE(m_tray->itemProperty(u"ItemIsMenu"_s), false);
    }

    void itIsCalledByItsAccessibilityDescription() {
        makeItem();
        m_item->setIcon(u"quillora-idle-symbolic"_s, {}, u"Quillora"_s);
        QCOMPARE(m_tray->itemProperty(u"Title"_s), u"Quillora"_s);
        const auto toolTip =
            qdbus_cast<platform::NotifierToolTip>(m_tray->itemProperty(u"ToolTip"_s).value<QDBusArgument>());
        QCOMPARE(toolTip.title, u"Quillora"_s);
    }

    void itRegistersWithAWatcherThatComesUpLater() {
        m_tray.reset();
        m_item = std::make_unique<NotifierStatusItem>(m_bus->connection());
        QTRY_COMPARE(m_item->watcher(), NotifierStatusItem::Watcher::absent);
        QVERIFY(!m_item->isHosted());
        m_tray.emplace(m_bus->address());
        QTRY_VERIFY(m_item->isHosted());
        QCOMPARE(m_tray->items().size(), 1);
    }

    void itRegistersAgainWithAWatcherThatRestarts() {
        makeItem();
        m_tray.reset();
        QTRY_COMPARE(m_item->watcher(), NotifierStatusItem::Watcher::absent);
        QVERIFY(!m_item->isHosted());
        m_tray.emplace(m_bus->address());
        QTRY_VERIFY(m_item->isHosted());
        QCOMPARE(m_tray->items().size(), 1);
    }

    void aWatcherThatIsBackBeforeItsEndWasNoticedWasNeverAbsent() {
        makeItem();
        bool wasAbsent = false;
        connect(m_item.get(), &NotifierStatusItem::watcherChanged, this, [this, &wasAbsent] {
            wasAbsent |= m_item->watcher() == NotifierStatusItem::Watcher::absent;
        });
        m_tray.reset();
        m_tray.emplace(m_bus->address());
        QTRY_COMPARE(m_tray->items().size(), 1);
        QTRY_VERIFY(m_item->isHosted());
        QVERIFY(!wasAbsent);
        m_item->disconnect(this);
    }

    void withoutAHostNothingShowsIt() {
        m_tray.reset();
        m_tray.emplace(m_bus->address(), NotifierTray::Host::absent);
        m_item = std::make_unique<NotifierStatusItem>(m_bus->connection());
        QSignalSpy changes(m_item.get(), &NotifierStatusItem::watcherChanged);
        QTRY_COMPARE(m_tray->items().size(), 1);
        QTRY_COMPARE(changes.count(), 3); // the watcher is found, has the item, has no host
        QVERIFY(!m_item->isHosted());
        m_tray->addHost();
        QTRY_VERIFY(m_item->isHosted());
    }

    void aWatcherThatRefusesItDoesNotShowIt() {
        m_tray->refuseItems();
        m_item = std::make_unique<NotifierStatusItem>(m_bus->connection());
        QSignalSpy changes(m_item.get(), &NotifierStatusItem::watcherChanged);
        QTRY_COMPARE(changes.count(), 3); // the watcher is found, has no room, has a host
        QVERIFY(!m_item->isHosted());
    }

    void withoutABusThereIsNoWatcher() {
        const auto nowhere = QDBusConnection::connectToBus(u"disabled:"_s, u"nowhere"_s);
        const NotifierStatusItem item(nowhere);
        QCOMPARE(item.watcher(), NotifierStatusItem::Watcher::absent);
        QVERIFY(!item.isHosted());
    }

    void theTrayGetsTheDrawingInEverySize() {
        makeItem();
        QIcon drawing;
        for (const QColor &colour : {QColor(Qt::red), QColor(0, 0, 255, 128)}) {
            QPixmap pixmap(drawing.isNull() ? 16 : 22, drawing.isNull() ? 16 : 22);
            pixmap.fill(colour);
            drawing.addPixmap(pixmap);
        }
        m_item->setIcon(u"no-such-icon"_s, drawing, u"Quillora"_s);
        const auto pixmaps = qdbus_cast<platform::NotifierPixmaps>(
            m_tray->itemProperty(u"IconPixmap"_s).value<QDBusArgument>());
        QCOMPARE(pixmaps.size(), 2);
        for (const auto &pixmap : pixmaps) {
            const QSize size(pixmap.width, pixmap.height);
            QCOMPARE(imageOf(pixmap), drawing.pixmap(size, 1).toImage().convertToFormat(imageFormat));
        }
        QCOMPARE(pixmaps.first().width, 16);
        QCOMPARE(pixmaps.last().width, 22);
    }

    void anIconThatIsInstalledIsNamed_data() {
        QTest::addColumn<QString>("name");
        for (const auto *state : {"idle", "recording", "processing"})
            QTest::newRow(state) << u"quillora-%1-symbolic"_s.arg(QString::fromLatin1(state));
    }
    void anIconThatIsInstalledIsNamed() {
        QFETCH(QString, name);
        QIcon::setThemeSearchPaths({QStringLiteral(QUILLORA_ICONS)});
        QIcon::setThemeName(u"hicolor"_s);
        makeItem();
        m_item->setIcon(name, {}, u"Quillora"_s);
        QCOMPARE(m_tray->itemProperty(u"IconName"_s), name);
    }

    void anIconThatIsNotInstalledIsNotNamed() {
        makeItem();
        m_item->setIcon(u"quillora-idle-symbolic"_s, {}, u"Quillora"_s);
        QCOMPARE(m_tray->itemProperty(u"IconName"_s), QString());
    }

    void aNewIconIsAnnounced() {
        makeItem();
        m_tray->takeItemSignals();
        m_item->setIcon(u"quillora-recording-symbolic"_s, {}, u"Quillora"_s);
        QStringList announced;
        QTRY_VERIFY((announced += m_tray->takeItemSignals()).contains(u"NewIcon"_s));
    }

    void aClickTellsWhereTheIconIs() {
        makeItem();
        QSignalSpy clicks(m_item.get(), &NotifierStatusItem::activated);
        QVERIFY(!m_item->anchor());
        m_tray->callItem(u"Activate"_s, {1200, 12});
        QCOMPARE(clicks.count(), 1);
        QCOMPARE(m_item->anchor(), std::optional(QRect(1200, 12, 1, 1)));
    }

    void aTrayThatDoesNotKnowWhereTheIconIsTellsNothing() {
        makeItem();
        QSignalSpy clicks(m_item.get(), &NotifierStatusItem::activated);
        m_tray->callItem(u"Activate"_s, {0, 0});
        QCOMPARE(clicks.count(), 1);
        QVERIFY(!m_item->anchor());
    }

    void theTrayShowsTheMenu() {
        makeItem();
        QMenu menu;
        fill(menu);
        m_item->setMenu(&menu);
        QCOMPARE(m_tray->itemProperty(u"Menu"_s).value<QDBusObjectPath>().path(), u"/MenuBar"_s);

        const auto answer = m_tray->callMenu(u"GetLayout"_s, {0, -1, QStringList()});
        QCOMPARE(answer.size(), 2);
        const auto layout = qdbus_cast<platform::MenuLayout>(answer.at(1).value<QDBusArgument>());
        QCOMPARE(layout.id, 0);
        QCOMPARE(layout.children.size(), 3);
        QCOMPARE(layout.children.at(0).properties.value(u"label"_s), u"Start"_s);
        QCOMPARE(layout.children.at(0).properties.value(u"enabled"_s), true);
        QCOMPARE(layout.children.at(1).properties.value(u"type"_s), u"separator"_s);
        QCOMPARE(layout.children.at(2).properties.value(u"label"_s), u"_Login__item & more"_s);
        QCOMPARE(layout.children.at(2).properties.value(u"toggle-type"_s), u"checkmark"_s);
        QCOMPARE(layout.children.at(2).properties.value(u"toggle-state"_s), 0);
    }

    void anotherMenuTakesThePlaceOfTheFirst() {
        makeItem();
        QMenu first, second;
        fill(first);
        fill(second);
        second.actions().first()->setText(u"Another"_s);
        m_item->setMenu(&first);
        m_item->setMenu(&second);
        const auto label = m_tray->callMenu(u"GetProperty"_s, {1, u"label"_s});
        QCOMPARE(label.value(0).value<QDBusVariant>().variant(), u"Another"_s);
    }

    void aTrayThatCannotShowTheMenuHasItShown() {
        makeItem();
        QMenu menu;
        fill(menu);
        m_item->setMenu(&menu);
        m_tray->callItem(u"ContextMenu"_s, {100, 100});
        QVERIFY(menu.isVisible());
    }

    void aChoiceInTheTrayRunsTheAction() {
        makeItem();
        QMenu menu;
        fill(menu);
        m_item->setMenu(&menu);
        QSignalSpy triggers(menu.actions().first(), &QAction::triggered);
        clickMenu(1);
        QTRY_COMPARE(triggers.count(), 1);
        clickMenu(3);
        QTRY_VERIFY(menu.actions().last()->isChecked());
        const auto state = m_tray->callMenu(u"GetProperty"_s, {3, u"toggle-state"_s});
        QCOMPARE(state.value(0).value<QDBusVariant>().variant(), 1);
    }

    void theTrayHasItsAnswerBeforeTheActionRuns() {
        makeItem();
        QMenu menu;
        fill(menu);
        m_item->setMenu(&menu);
        const QString connectionName = u"clicks"_s;
        const auto tray = QDBusConnection::connectToBus(m_bus->address(), connectionName);
        auto click = QDBusMessage::createMethodCall(m_tray->items().last(), u"/MenuBar"_s,
                                                    u"com.canonical.dbusmenu"_s, u"Event"_s);
        click << 1 << u"clicked"_s << QVariant::fromValue(QDBusVariant(0)) << 0u;
        const QDBusPendingCall answer = tray.asyncCall(click);
        std::optional<bool> wasAnswered;
        // None comes for as long as the click is being dealt with.
        connect(menu.actions().first(), &QAction::triggered, this, [&] {
            wasAnswered = QTest::qWaitFor([&] { return answer.isFinished(); }, 30000) && !answer.isError();
        });
        QTRY_VERIFY(wasAnswered);
        QVERIFY(*wasAnswered);
        QDBusConnection::disconnectFromBus(connectionName);
    }

    void hoveringInTheTrayRunsNothing() {
        makeItem();
        QMenu menu;
        fill(menu);
        m_item->setMenu(&menu);
        QSignalSpy triggers(menu.actions().first(), &QAction::triggered);
        m_tray->callMenu(u"Event"_s, {1, u"hovered"_s, QVariant::fromValue(QDBusVariant(0)), 0u});
        QCoreApplication::processEvents();
        QCOMPARE(triggers.count(), 0);
    }

    void itemsThatDoNotExistAreNamed() {
        makeItem();
        QMenu menu;
        fill(menu);
        m_item->setMenu(&menu);
        const auto answer =
            m_tray->callMenu(u"AboutToShowGroup"_s, {QVariant::fromValue(QList<int>{0, 1, 9})});
        QCOMPARE(answer.size(), 2);
        QCOMPARE(qdbus_cast<QList<int>>(answer.at(1)), QList<int>{9});
    }

    void theMenuIsBroughtUpToDateBeforeItOpens() {
        makeItem();
        QMenu menu;
        fill(menu);
        m_item->setMenu(&menu);
        connect(&menu, &QMenu::aboutToShow, &menu, [&] { menu.actions().first()->setText(u"Stop"_s); });
        m_tray->callMenu(u"AboutToShow"_s, {0});
        const auto label = m_tray->callMenu(u"GetProperty"_s, {1, u"label"_s});
        QCOMPARE(label.value(0).value<QDBusVariant>().variant(), u"Stop"_s);
    }

    void aChangedActionIsAnnounced() {
        makeItem();
        QMenu menu;
        fill(menu);
        m_item->setMenu(&menu);
        auto bus = QDBusConnection::connectToBus(m_bus->address(), u"listener"_s);
        m_menuUpdates.clear();
        bus.connect({}, u"/MenuBar"_s, u"com.canonical.dbusmenu"_s, u"ItemsPropertiesUpdated"_s, this,
                    SLOT(recordMenuUpdate(QDBusMessage)));
        menu.actions().first()->setEnabled(false);
        QTRY_COMPARE(m_menuUpdates.size(), 1);
        const auto updated = qdbus_cast<platform::MenuItemPropertiesList>(
            m_menuUpdates.first().arguments().first().value<QDBusArgument>());
        QCOMPARE(updated.size(), 1);
        QCOMPARE(updated.first().id, 1);
        QCOMPARE(updated.first().properties.value(u"enabled"_s), false);
        QDBusConnection::disconnectFromBus(u"listener"_s);
    }

    void afterItsEndTheItemHasLeftTheBus() {
        makeItem();
        const QString service = m_tray->items().first();
        m_item.reset();
        QTRY_VERIFY(!m_bus->connection().interface()->isServiceRegistered(service));
    }

private Q_SLOTS:
    void recordMenuUpdate(const QDBusMessage &message) { m_menuUpdates += message; }

private:
    static constexpr auto imageFormat = QImage::Format_ARGB32_Premultiplied;

    static QImage imageOf(const platform::NotifierPixmap &pixmap) {
        QImage image(pixmap.width, pixmap.height, QImage::Format_ARGB32);
        const auto *bytes = reinterpret_cast<const uchar *>(pixmap.data.constData());
        for (int y = 0; y < pixmap.height; ++y) {
            for (int x = 0; x < pixmap.width; ++x, bytes += 4)
                image.setPixelColor(x, y, QColor(bytes[1], bytes[2], bytes[3], bytes[0]));
        }
        return image.convertToFormat(imageFormat);
    }

    static void fill(QMenu &menu) {
        menu.addAction(u"Start"_s);
        menu.addSeparator();
        menu.addAction(u"&Login_item && more"_s)->setCheckable(true);
    }

    void makeItem() {
        m_item = std::make_unique<NotifierStatusItem>(m_bus->connection());
        QTRY_VERIFY(m_item->isHosted());
    }

    void clickMenu(int id) {
        m_tray->callMenu(u"Event"_s, {id, u"clicked"_s, QVariant::fromValue(QDBusVariant(0)), 0u});
    }

    std::optional<test::PrivateSessionBus> m_bus;
    std::optional<NotifierTray> m_tray;
    std::unique_ptr<NotifierStatusItem> m_item;
    QList<QDBusMessage> m_menuUpdates;
};

QTEST_MAIN(NotifierStatusItemTest)

#include "NotifierStatusItemTest.moc"
