#include "ui/DownloadQuestionWindow.h"
#include "ui/LimitedLabel.h"
#include "ui/ModelsHarness.h"
#include "ui/PanelButton.h"
#include "ui/Pictures.h"
#include "ui/SegmentBar.h"
#include "ui/TextLink.h"

#include <QLineEdit>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;

namespace {

/// Some of what is published, with what is said of it.
void fillRichShelf(FakePlatform &platform) {
    fillShelfWithVoiceActivity(platform);
    const platform::ModelScore good{84.8, u"FLORES COMET x 100"_s, u"the publisher"_s};
    const auto published = platform.models.models(); // a copy: each is offered anew
    for (auto model : published) {
        if (model.kind == platform::ModelKind::translation) {
            model.score = good;
            model.checksums = platform::ModelChecksums::some;
            if (model.sizeClass == platform::ModelSizeClass::large)
                model.score->value = 87.4;
            else
                model.sizeClass = platform::ModelSizeClass::light;
        } else if (model.id == u"kroko-fr"_s) {
            model.licence = u"CC-BY-SA-4.0"_s;
            model.licenceAddress = QUrl(u"https://licences.example/by-sa"_s);
            model.punctuates = true;
            model.checksums = platform::ModelChecksums::none;
        }
        platform.models.offer(model);
    }
}

/// One of which there is as much to say as of any that is published.
void offerLongFacts(FakePlatform &platform) {
    auto model = speechModel(u"fast-conformer-ten-languages"_s, u"nl"_s);
    model.punctuates = true;
    platform.models.offer(model);
    platform.models.offer(speechModel(u"whisper-small"_s, u"nl"_s));
    platform.routes.offer(platform::ModelTask::hearing(u"nl-NL"_s), {model.id, u"whisper-small"_s});
}

/// Whether every text has the room that it asks for.
bool isLaidOut(const QWidget &window) {
    const auto labels = window.findChildren<LimitedLabel *>();
    return std::all_of(labels.begin(), labels.end(), [](const LimitedLabel *label) {
        return !label->isVisible() || label->height() >= label->sizeHint().height();
    });
}

} // namespace

/// Writes a picture of the Models window and of the question in every state; checks that each is a picture of
/// the size that it should have, and unlike every other.
class ModelsScreenshots : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Pictures::begin(); }
    void cleanup() { QApplication::setLayoutDirection(Qt::LeftToRight); }

    void everyStateIsPictured_data() {
        Pictures::addRows({"first", "downloading", "installed", "translation", "choices", "search", "licence",
                           "troubles", "right-to-left", "long-words", "long-facts", "question"});
    }

    void everyStateIsPictured() {
        QFETCH(QString, state);
        QFETCH(QString, scheme);
        QApplication::setPalette(Pictures::lightPalette());
        if (state == u"right-to-left"_s)
            QApplication::setLayoutDirection(Qt::RightToLeft);
        ModelsHarness harness([&](FakePlatform &platform) {
            Pictures::prefer(platform, scheme);
            if (state == u"long-words"_s) {
                platform.locale.displayNames[u"de-DE"_s] =
                    u"Hochdeutsch der Bundesrepublik Deutschland (Amtssprache)"_s;
                platform.locale.displayNames[u"de"_s] = u"Donaudampfschifffahrtsgesellschaftssprache"_s;
                platform.locale.displayNames[u"en"_s] = u"Gemeinschaftsenglischunterrichtssprache"_s;
            }
            if (state == u"troubles"_s) {
                platform.models.omitted = {
                    u"The model mine in /etc/xdg/Quillora/models.json is left out. There is no engine \"another\" here."_s};
            }
            fillRichShelf(platform);
            if (state == u"long-facts"_s)
                offerLongFacts(platform);
        });
        enter(harness, state);
        harness.show();
        if (state == u"licence"_s)
            openLicence(harness);
        std::unique_ptr<DownloadQuestionWindow> question;
        QWidget *pictured = harness.window.get();
        if (state == u"question"_s) {
            question = std::make_unique<DownloadQuestionWindow>(
                u"Download what translating German to French, by way of English, takes? 30 MB from "
                u"models.example, kept on this computer."_s,
                [](auto) {});
            question->show();
            pictured = question.get();
        }
        harness.platform.run();
        QCoreApplication::processEvents();
        QTRY_VERIFY_WITH_TIMEOUT(isLaidOut(*pictured), 30000);
        QVERIFY(pictured->height() <= 617);
        m_pictures.take(*pictured, u"models-%1-%2"_s.arg(state, scheme));
    }

private:
    Pictures m_pictures;

    /// By the keyboard, where nothing shows pages.
    static void openLicence(ModelsHarness &harness) {
        harness.platform.webPagesFake.hasBrowser = false;
        for (int i = 0; i < 60 && !qobject_cast<TextLink *>(harness.window->focusWidget()); ++i)
            QTest::keyClick(harness.window->focusWidget(), Qt::Key_Tab);
        QTest::keyClick(harness.window->focusWidget(), Qt::Key_Return);
    }

    static void enter(ModelsHarness &harness, const QString &state) {
        auto &store = harness.platform.models;
        harness.window->select(u"de-DE"_s, u"en"_s);
        if (state == u"downloading"_s) {
            harness.find<PanelButton>(u"installWanted"_s).click();
            platform::ModelProgress progress = received(27'000'000, 71'000'000);
            progress.timeLeft = std::chrono::seconds(40);
            store.progress(progress);
        } else if (state == u"installed"_s) {
            store.place(u"kroko-de"_s, u"1"_s);
            store.place(u"de-en-tiny"_s, u"1"_s);
            store.place(u"vosk-ru"_s, u"1"_s, {}, FakeModelStore::Owner::administrator);
            harness.platform.space.usedBytes = 87'000'000;
        } else if (state == u"translation"_s || state == u"choices"_s) {
            harness.window->select(u"de-DE"_s, u"fr"_s);
            harness.find<SegmentBar>(u"kinds"_s).setCurrentIndex(1);
            if (state == u"choices"_s)
                harness.find<PanelButton>(u"otherChoices"_s).click();
        } else if (state == u"search"_s) {
            harness.find<SegmentBar>(u"kinds"_s).setCurrentIndex(1);
            harness.find<QLineEdit>(u"search"_s).setText(u"fren"_s);
        } else if (state == u"troubles"_s) {
            store.place(u"kroko-de"_s, u"1"_s);
            store.damage(u"kroko-de"_s, u"The file model.onnx is not what was installed."_s);
            store.install(u"vosk-ru"_s);
            store.fail(u"There is not enough room: 29 MB are needed, and 3 MB are free. Make room, and "
                       u"install it again."_s);
            store.install(u"kroko-fr"_s);
            store.progress(received(20'000'000, 71'000'000));
            store.pause(u"kroko-fr"_s);
            store.place(u"kroko-fr"_s, u"0"_s);
        } else if (state == u"right-to-left"_s) {
            store.install(u"kroko-de"_s);
            store.progress(received(20'000'000, 71'000'000));
        } else if (state == u"long-facts"_s) {
            harness.find<QLineEdit>(u"search"_s).setText(u"dut"_s);
        } else if (state == u"long-words"_s) {
            harness.find<SegmentBar>(u"kinds"_s).setCurrentIndex(1);
        }
        harness.platform.run();
    }
};

QTEST_MAIN(ModelsScreenshots)
#include "ModelsScreenshots.moc"
