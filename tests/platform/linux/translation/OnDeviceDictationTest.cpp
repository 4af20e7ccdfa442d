#include "controller/AppController.h"
#include "fakes/FakePlatform.h"
#include "support/DownloadedTranslation.h"
#include "support/ThrowAwayAuthority.h"
#include "translation/TranslationHostView.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::platform;
using namespace quillora::test;

namespace {

/// A desktop of fakes but for what translates.
class Desktop : public FakePlatform {
public:
    explicit Desktop(const QSslConfiguration &identity) : translation(identity) {
        translation.server.delivery = Delivery::everything;
        translation.seatPerson(DownloadAnswer::download);
        speech.locales = {u"en-US"_s, u"de-DE"_s};
        workspaceFake.frontmost = workspaceFake.launch(u"editor"_s);
    }

    Translators &translators() override { return *translation.translators; }
    ModelConsent &modelConsent() override { return *translation.consent; }

    DownloadedTranslation translation;
};

} // namespace

/// From what was said to what is pasted, with real translation.
class OnDeviceDictationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        m_authority.emplace();
        m_authority->trustHere();
    }
    void init() {
        m_desktop = std::make_unique<Desktop>(m_authority->issue(u"127.0.0.1"_s));
        m_controller = std::make_unique<AppController>();
        m_host = std::make_unique<TranslationHostView>(m_controller->translationBridge());
    }
    void cleanup() {
        end();
        m_desktop.reset();
    }

    void aDictationByWayOfEnglishIsInserted() {
        choose(u"de-DE"_s, u"ru"_s);
        dictate(u"hallo Welt"_s);
        QVERIFY(waitForTheEnd());
        QCOMPARE(m_controller->statusText(), u"Inserted translation."_s);
        QCOMPARE(pasted(), QStringList{u"привет мир"_s});
        QCOMPARE(
            m_desktop->translation.questions,
            (QList{DownloadQuestion{{ModelTask::translating(u"de"_s, u"ru"_s)}, {u"de-en"_s, u"en-ru"_s}}}));
    }

    void aDictationIntoALanguageThatNothingServesIsRecordedAndSaysWhy() {
        choose(u"en-US"_s, u"th"_s);
        m_controller->hotKeyPressed();
        m_desktop->run();
        QVERIFY(m_controller->isRecording());
        QCOMPARE(m_controller->statusText(), u"Listening..."_s);
        m_controller->hotKeyReleased();
        m_desktop->speech.deliverFinal(u"hello"_s);
        QVERIFY(waitForTheEnd());
        QCOMPARE(m_controller->statusText(),
                 u"Translation failed: There is no on-device translation from English to Thai. Choose "
                 "OpenAI Natural as the engine."_s);
        QCOMPARE(m_controller->transcriptText(), u"hello"_s);
        QCOMPARE(m_controller->translatedText(), QString());
        QCOMPARE(pasted(), QStringList());
        QVERIFY(m_desktop->translation.questions.isEmpty());
    }

    void languagesThatAreChosenDuringATranslationCountForTheNext() {
        choose(u"en-US"_s, u"ru"_s);
        dictate(u"hello"_s);
        choose(u"en-US"_s, u"es"_s);
        QVERIFY(waitForTheEnd());
        QCOMPARE(pasted(), QStringList{u"привет"_s});
        m_desktop->queue.advance(std::chrono::seconds(5)); // the clipboard is as it was
        dictate(u"house"_s);
        QVERIFY(waitForTheEnd());
        QCOMPARE(pasted(), (QStringList{u"привет"_s, u"casa"_s}));
    }

    void theEndDuringATranslationInsertsNothing() {
        choose(u"en-US"_s, u"ru"_s);
        dictate(u"hello"_s);
        QVERIFY(waitForTheEnd()); // the model is in memory
        m_desktop->queue.advance(std::chrono::seconds(5));
        dictate(u"world"_s);
        QVERIFY(m_controller->isProcessing());
        end();
        m_desktop->translation.translators.reset();
        QCoreApplication::processEvents();
        m_desktop->run();
        QCOMPARE(pasted(), QStringList{u"привет"_s});
    }

private:
    void choose(const QString &locale, const QString &target) {
        m_controller->setSourceLocaleIdentifier(locale);
        m_controller->setTargetLanguageIdentifier(target);
    }
    /// As far as the translation.
    void dictate(const QString &text) {
        m_controller->hotKeyPressed();
        m_desktop->run();
        m_controller->hotKeyReleased();
        m_desktop->speech.deliverFinal(text);
        m_desktop->run();
    }
    bool waitForTheEnd() {
        return m_desktop->translation.waitUntil([&] {
            m_desktop->run();
            return !m_controller->isProcessing() && !m_controller->isRecording();
        });
    }
    /// What was put on the clipboard, to be pasted.
    QStringList pasted() const {
        const QString writing = u"pasteboard.write "_s;
        QStringList texts;
        for (const QString &call : m_desktop->log.calls().filter(writing))
            texts += call.mid(writing.size());
        return texts;
    }
    void end() {
        m_host.reset();
        m_controller.reset();
        m_desktop->run();
    }

    std::optional<ThrowAwayAuthority> m_authority;
    std::unique_ptr<Desktop> m_desktop;
    std::unique_ptr<AppController> m_controller;
    std::unique_ptr<TranslationHostView> m_host;
};

QTEST_GUILESS_MAIN(OnDeviceDictationTest)
#include "OnDeviceDictationTest.moc"
