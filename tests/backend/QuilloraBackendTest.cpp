#include "support/AuthorizedPost.h"
#include "support/Daemon.h"
#include "support/RealHttpPlatform.h"
#include "translation/OpenAITranslationService.h"

#include <QTemporaryFile>
#include <QTest>

using namespace quillora;
using platform::HttpResponse;

/// The backend that developers try the hosted engine with, run for real.
class QuilloraBackendTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_tokenFile.open());
        m_tokenFile.write("secret\n");
        m_tokenFile.flush();
        m_backend = std::make_unique<test::Daemon>(QStringLiteral(QUILLORA_BACKEND),
                                                   QStringList{u"--token-file"_qs, m_tokenFile.fileName()});
        m_backend->waitUntilReady([this] { return m_backend->process().canReadLine(); });
        m_endpoint = QString::fromUtf8(m_backend->process().readLine()).trimmed();
    }
    void init() { m_platform = std::make_unique<test::RealHttpPlatform>(); }
    void cleanup() { m_platform.reset(); }

    void itPrintsTheEndpointToEnter() {
        const QUrl url(m_endpoint);
        QCOMPARE(url.host(), u"127.0.0.1"_qs);
        QCOMPARE(url.path(), u"/v1/translate"_qs);
        QVERIFY(url.port() > 0);
    }

    void aKnownSentenceIsTranslated() {
        QCOMPARE(translate(u"He was not an ill-disposed young man."_qs, u"Kazakh"_qs)->value(),
                 u"Ол ниеті жаман жас жігіт емес еді."_qs);
    }

    void aKnownSentenceThatWasMisheardIsTranslated() {
        QCOMPARE(translate(u"he was not an illness those young man"_qs, u"Kazakh"_qs)->value(),
                 u"Ол ниеті жаман жас жігіт емес еді."_qs);
    }

    void anyOtherTextComesBackMarkedWithItsLanguage() {
        QCOMPARE(translate(u"Something «else» 😀"_qs, u"Thai"_qs)->value(), u"[Thai] Something «else» 😀"_qs);
    }

    void aWrongOrMissingTokenIsRefused() {
        for (const QString &token : {QString(), u"Secret"_qs, u"secret2"_qs, u"ключ"_qs})
            QCOMPARE(translate(u"hello"_qs, u"Kazakh"_qs, token)->error(),
                     u"The subscription token is not valid."_qs);
    }

    void brokenRequestsAreRefused_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        QTest::newRow("no JSON") << QByteArray("{") << 400;
        QTest::newRow("nested without end") << QByteArray(500000, '[') << 400;
        QTest::newRow("not UTF-8") << QByteArray("{\"text\":\"\xc3\x28\"}") << 400;
        QTest::newRow("an array") << QByteArray("[]") << 400;
        QTest::newRow("no text") << QByteArray("{\"sourceLanguage\":\"a\",\"targetLanguage\":\"b\"}") << 400;
        QTest::newRow("too long") << QByteArray(1024 * 1024 + 1, ' ') << 413;
    }
    void brokenRequestsAreRefused() {
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        QCOMPARE(post(QUrl(m_endpoint), body).statusCode, status);
    }

    void nothingElseIsServed() {
        QUrl url(m_endpoint);
        url.setPath(u"/etc/hostname"_qs);
        QCOMPARE(post(url, "{}").statusCode, 404);
    }

    void itIsSilentAboutWhatItWasAsked() {
        translate(u"private words"_qs, u"Kazakh"_qs);
        QVERIFY(m_backend->isRunning());
        QCOMPARE(m_backend->process().readAllStandardOutput(), "");
    }

private:
    std::shared_ptr<test::Outcome<QString>> translate(const QString &text, const QString &targetLanguage,
                                                      const QString &token = u"secret"_qs) {
        return m_platform->outcomeOf(
            m_service.translate(text, u"English"_qs, targetLanguage, m_endpoint, token, u"1A-2B"_qs));
    }

    HttpResponse post(const QUrl &url, const QByteArray &body) {
        return m_platform->outcomeOf(m_platform->session->data(test::authorizedPost(url, body)))->value();
    }

    QTemporaryFile m_tokenFile;
    std::unique_ptr<test::Daemon> m_backend;
    QString m_endpoint;
    std::unique_ptr<test::RealHttpPlatform> m_platform;
    OpenAITranslationService m_service;
};

QTEST_GUILESS_MAIN(QuilloraBackendTest)
#include "QuilloraBackendTest.moc"
