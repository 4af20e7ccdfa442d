#include "controller/HostedEndpoint.h"
#include "ui/PanelHarness.h"
#include "ui/Picker.h"
#include "ui/Pictures.h"

#include <QContextMenuEvent>
#include <QHash>
#include <QLineEdit>
#include <QPainter>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;

namespace {

const QString longEnglish =
    u"The quick brown fox jumps over the lazy dog, and then it goes on to tell the whole story again from "
    u"the "
    u"very beginning, because nobody in the room had been listening the first time, which is a pity, since "
    u"it "
    u"was a rather good story about a fox, a dog, and the unlikely friendship that grew between them."_s;
const QString manyScripts =
    u"สวัสดีครับ วันนี้อากาศดีมาก เราไปเดินเล่นที่สวนกันเถอะ 안녕하세요, 오늘은 날씨가 정말 좋네요. "
    u"今天天气很好，我们去公园散步吧。"
    u"今日はとても良い天気ですね。 مرحبا، الطقس جميل اليوم، لنذهب في نزهة. Привет, как дела?"_s;

struct Dictated {
    QString target;
    QString words;
};
const QHash<QString, Dictated> dictated{
    {u"russian"_s,
     {u"ru"_s, u"Сегодня хорошая погода, давайте прогуляемся по парку с LibreOffice в рюкзаке. "_s}},
    {u"chinese"_s, {u"zh"_s, u"今天天气很好，我们一起去公园散步吧。他说Qt的版本是6.4，不是5.15。"_s}},
    {u"japanese"_s,
     {u"ja"_s, u"今日はとても良い天気ですね。LibreOfficeで書いた手紙を、Qt 6.4で開いてください。"_s}},
    {u"thai"_s, {u"th"_s, u"สวัสดีครับ วันนี้อากาศดีมาก เราไปเดินเล่นที่สวนกับ LibreOffice Writer และ Qt 6.4 กันเถอะ "_s}},
    {u"arabic"_s,
     {u"ar"_s, u"مرحبا، الطقس جميل اليوم، لنذهب في نزهة مع LibreOffice Writer و Qt 6.4 غدا. "_s}}};

} // namespace

/// Writes a picture of the panel in every state, for eyes and for the README; checks that each is a picture
/// of the size that it should have.
class PanelScreenshots : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Pictures::begin(); }

    void everyStateIsPictured_data() {
        Pictures::addRows({"idle", "recording", "processing", "hotkey-capture", "hosted-engine", "translated",
                           "long-texts", "long-status", "status-link", "long-names", "marks",
                           "download-while-recording", "russian", "chinese", "japanese", "thai", "arabic",
                           "keyboard-focus"});
    }

    void everyStateIsPictured() {
        QFETCH(QString, state);
        QFETCH(QString, scheme);
        QApplication::setPalette(Pictures::lightPalette());
        PanelHarness harness([&](FakePlatform &platform) { Pictures::prefer(platform, scheme); });
        enter(harness, state);
        harness.show();
        if (state == u"keyboard-focus"_s)
            QTest::keyClick(harness.panel.get(), Qt::Key_Tab);
        harness.platform.run();
        QCoreApplication::processEvents();
        QCOMPARE(harness.panel->width(), 380);
        m_pictures.take(*harness.panel, u"%1-%2"_s.arg(state, scheme));
    }

    void theOpenMenuIsPictured_data() {
        QTest::addColumn<bool>("isDark");
        QTest::newRow("light") << false;
        QTest::newRow("dark") << true;
    }

    void theOpenMenuIsPictured() {
        QFETCH(bool, isDark);
        QApplication::setPalette(Pictures::lightPalette());
        PanelHarness harness([isDark](FakePlatform &platform) {
            using Scheme = platform::Appearance::ColorScheme;
            platform.appearanceFake.prefer({isDark ? Scheme::dark : Scheme::light, {}, false});
        });
        mark(harness);
        harness.show();
        auto &picker = harness.find<Picker>(u"sourcePicker"_s);
        picker.showPopup();
        QTRY_VERIFY(QApplication::activePopupWidget());
        const QPixmap menu = QApplication::activePopupWidget()->grab();
        QVERIFY(menu.width() >= picker.width());
        QVERIFY(menu.save(u"%1/menu-%2-1x.png"_s.arg(QStringLiteral(QUILLORA_SCREENSHOTS),
                                                     isDark ? u"dark"_s : u"light"_s)));
    }

    void theMenuOfAFieldIsPictured_data() { theOpenMenuIsPictured_data(); }

    void theMenuOfAFieldIsPictured() {
        QFETCH(bool, isDark);
        QApplication::setPalette(Pictures::lightPalette());
        PanelHarness harness([isDark](FakePlatform &platform) {
            using Scheme = platform::Appearance::ColorScheme;
            platform.appearanceFake.prefer({isDark ? Scheme::dark : Scheme::light, {}, false});
        });
        harness.useHostedEngine();
        harness.show();
        auto &field = harness.find<QLineEdit>(u"endpointField"_s);
        QContextMenuEvent request(QContextMenuEvent::Keyboard, {5, 5}, field.mapToGlobal(QPoint(5, 5)));
        QApplication::sendEvent(&field, &request);
        QTRY_VERIFY(QApplication::activePopupWidget());
        const QPixmap menu = QApplication::activePopupWidget()->grab();
        QVERIFY(menu.save(u"%1/field-menu-%2-1x.png"_s.arg(QStringLiteral(QUILLORA_SCREENSHOTS),
                                                           isDark ? u"dark"_s : u"light"_s)));
        QApplication::activePopupWidget()->close();
    }

private:
    Pictures m_pictures;

    static void enter(PanelHarness &harness, const QString &state) {
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        if (state == u"recording"_s) {
            harness.startRecording();
            harness.say(u"good morning everyone and thank you for coming"_s);
        } else if (state == u"processing"_s) {
            harness.startProcessing();
        } else if (state == u"hotkey-capture"_s) {
            harness.controller->startHotKeyRecording();
        } else if (state == u"hosted-engine"_s) {
            harness.controller->setOpenAIClientToken(u"not a real token"_s);
            harness.useHostedEngine();
        } else if (state == u"translated"_s) {
            harness.platform.translation.translation = [](const QString &) {
                return u"Buenos días a todos."_s;
            };
            harness.dictate(u"good morning everyone"_s);
        } else if (state == u"long-texts"_s) {
            harness.platform.translation.translation = [](const QString &) { return manyScripts; };
            harness.dictate(longEnglish);
        } else if (state == u"long-status"_s) {
            harness.controller->setSourceLocaleIdentifier(u"en-GB"_s);
            harness.controller->setStatusText(
                u"Translation failed: "_s + adviceWithoutDefaultEndpoint() +
                u" Could not connect to translate.quillora.example: there is no such host, or this computer "
                u"is offline."_s);
        } else if (state == u"status-link"_s) {
            harness.controller->setStatusText(u"Translation failed: The download for English to Russian "
                                              u"failed: There is no room. Try again "
                                              u"under Models in the tray menu."_s);
            harness.panel->setStatusLink(ContentView::StatusLink::models);
        } else if (state == u"long-names"_s) {
            harness.controller->setSourceLocaleIdentifier(u"en-GB"_s);
            harness.controller->setTargetLanguageIdentifier(u"id"_s);
        } else if (dictated.contains(state)) {
            harness.controller->setTargetLanguageIdentifier(dictated[state].target);
            harness.startRecording();
            harness.say(dictated[state].words.repeated(12));
        } else if (state == u"keyboard-focus"_s) {
            harness.useHostedEngine();
        } else if (state == u"marks"_s) {
            mark(harness);
        } else if (state == u"download-while-recording"_s) {
            mark(harness);
            harness.startRecording();
        }
    }

    /// What is spoken is on its way, what it becomes is not there, and one that is not chosen never will be.
    static void mark(PanelHarness &harness) {
        const Picker::Mark missing{u"arrow.down.circle"_s, {}, u"Not installed: 14 MB"_s};
        const Picker::Mark arriving{u"arrow.triangle.2.circlepath.circle"_s, 42, u"On its way, 42 %"_s};
        const Picker::Mark unserved{u"slash.circle"_s, {}, u"There is no model for this"_s};
        harness.panel->setLanguageMarks(
            {{u"en-US"_s, arriving}, {u"de-DE"_s, missing}, {u"kk-KZ"_s, unserved}}, {{u"es"_s, missing}});
    }
};

QTEST_MAIN(PanelScreenshots)
#include "PanelScreenshots.moc"
