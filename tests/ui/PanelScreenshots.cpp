#include "controller/HostedEndpoint.h"
#include "ui/PanelHarness.h"
#include "ui/Picker.h"
#include "ui/Pictures.h"

#include <QContextMenuEvent>
#include <QHash>
#include <QLineEdit>
#include <QPainter>
#include <QTest>

using namespace quillora;
using namespace quillora::test;

namespace {

const QString longEnglish =
    u"The quick brown fox jumps over the lazy dog, and then it goes on to tell the whole story again from "
    u"the "
    u"very beginning, because nobody in the room had been listening the first time, which is a pity, since "
    u"it "
    u"was a rather good story about a fox, a dog, and the unlikely friendship that grew between them."_qs;
const QString manyScripts =
    u"สวัสดีครับ วันนี้อากาศดีมาก เราไปเดินเล่นที่สวนกันเถอะ 안녕하세요, 오늘은 날씨가 정말 좋네요. "
    u"今天天气很好，我们去公园散步吧。"
    u"今日はとても良い天気ですね。 مرحبا، الطقس جميل اليوم، لنذهب في نزهة. Привет, как дела?"_qs;

const QHash<QString, QString> dictated{
    {u"russian"_qs, u"Сегодня хорошая погода, давайте прогуляемся по парку с LibreOffice в рюкзаке. "_qs},
    {u"chinese"_qs, u"今天天气很好，我们一起去公园散步吧。他说Qt的版本是6.4，不是5.15。"_qs},
    {u"arabic"_qs, u"مرحبا، الطقس جميل اليوم، لنذهب في نزهة مع LibreOffice Writer و Qt 6.4 غدا. "_qs}};

} // namespace

/// Writes a picture of the panel in every state, for eyes and for the README; checks that each is a picture
/// of the size that it should have.
class PanelScreenshots : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Pictures::begin(); }

    void everyStateIsPictured_data() {
        Pictures::addRows({"idle", "recording", "processing", "hotkey-capture", "hosted-engine", "translated",
                           "long-texts", "long-status", "long-names", "marks", "russian", "chinese", "arabic",
                           "keyboard-focus"});
    }

    void everyStateIsPictured() {
        QFETCH(QString, state);
        QFETCH(QString, scheme);
        QApplication::setPalette(Pictures::lightPalette());
        PanelHarness harness([&](FakePlatform &platform) { Pictures::prefer(platform, scheme); });
        enter(harness, state);
        harness.show();
        if (state == u"keyboard-focus"_qs)
            QTest::keyClick(harness.panel.get(), Qt::Key_Tab);
        harness.platform.run();
        QCoreApplication::processEvents();
        QCOMPARE(harness.panel->width(), 380);
        m_pictures.take(*harness.panel, u"%1-%2"_qs.arg(state, scheme));
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
        auto &picker = harness.find<Picker>(u"sourcePicker"_qs);
        picker.showPopup();
        QTRY_VERIFY(QApplication::activePopupWidget());
        const QPixmap menu = QApplication::activePopupWidget()->grab();
        QVERIFY(menu.width() >= picker.width());
        QVERIFY(menu.save(u"%1/menu-%2-1x.png"_qs.arg(QStringLiteral(QUILLORA_SCREENSHOTS),
                                                      isDark ? u"dark"_qs : u"light"_qs)));
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
        auto &field = harness.find<QLineEdit>(u"endpointField"_qs);
        QContextMenuEvent request(QContextMenuEvent::Keyboard, {5, 5}, field.mapToGlobal(QPoint(5, 5)));
        QApplication::sendEvent(&field, &request);
        QTRY_VERIFY(QApplication::activePopupWidget());
        const QPixmap menu = QApplication::activePopupWidget()->grab();
        QVERIFY(menu.save(u"%1/field-menu-%2-1x.png"_qs.arg(QStringLiteral(QUILLORA_SCREENSHOTS),
                                                            isDark ? u"dark"_qs : u"light"_qs)));
        QApplication::activePopupWidget()->close();
    }

private:
    Pictures m_pictures;

    static void enter(PanelHarness &harness, const QString &state) {
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        if (state == u"recording"_qs) {
            harness.startRecording();
            harness.say(u"good morning everyone and thank you for coming"_qs);
        } else if (state == u"processing"_qs) {
            harness.startProcessing();
        } else if (state == u"hotkey-capture"_qs) {
            harness.controller->startHotKeyRecording();
        } else if (state == u"hosted-engine"_qs) {
            harness.controller->setOpenAIClientToken(u"not a real token"_qs);
            harness.useHostedEngine();
        } else if (state == u"translated"_qs) {
            harness.platform.translation.translation = [](const QString &) {
                return u"Buenos días a todos."_qs;
            };
            harness.dictate(u"good morning everyone"_qs);
        } else if (state == u"long-texts"_qs) {
            harness.platform.translation.translation = [](const QString &) { return manyScripts; };
            harness.dictate(longEnglish);
        } else if (state == u"long-status"_qs) {
            harness.controller->setSourceLocaleIdentifier(u"en-GB"_qs);
            harness.controller->setStatusText(
                u"Translation failed: "_qs + adviceWithoutDefaultEndpoint() +
                u" Could not connect to translate.quillora.example: there is no such host, or this computer "
                u"is offline."_qs);
        } else if (state == u"long-names"_qs) {
            harness.controller->setSourceLocaleIdentifier(u"en-GB"_qs);
            harness.controller->setTargetLanguageIdentifier(u"id"_qs);
        } else if (state == u"russian"_qs || state == u"chinese"_qs || state == u"arabic"_qs) {
            harness.controller->setTargetLanguageIdentifier(state == u"russian"_qs   ? u"ru"_qs
                                                            : state == u"chinese"_qs ? u"zh"_qs
                                                                                     : u"ar"_qs);
            harness.startRecording();
            harness.say(dictated.value(state).repeated(12));
        } else if (state == u"keyboard-focus"_qs) {
            harness.useHostedEngine();
        } else if (state == u"marks"_qs) {
            mark(harness);
        }
    }

    /// What is spoken is on its way, what it becomes is not there, and one that is not chosen never will be.
    static void mark(PanelHarness &harness) {
        const Picker::Mark missing{u"arrow.down.circle"_qs, {}, u"Not installed: 14 MB"_qs};
        const Picker::Mark arriving{u"arrow.triangle.2.circlepath.circle"_qs, 42, u"On its way, 42 %"_qs};
        const Picker::Mark unserved{u"slash.circle"_qs, {}, u"There is no model for this"_qs};
        harness.panel->setLanguageMarks(
            {{u"en-US"_qs, arriving}, {u"de-DE"_qs, missing}, {u"kk-KZ"_qs, unserved}},
            {{u"es"_qs, missing}});
    }
};

QTEST_MAIN(PanelScreenshots)
#include "PanelScreenshots.moc"
