#include "support/Daemon.h"
#include "support/RealHttpPlatform.h"
#include "translation/OpenAITranslationService.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace quillora;

/// The client of the hosted engine against the backend, both real; the model behind it knows some sentences.
class QuilloraBackendTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        m_model = std::make_unique<test::Daemon>(QStringLiteral(QUILLORA_SCRIPTED_UPSTREAM));
        m_settings = QStringList{u"QUILLORA_BACKEND_UPSTREAM_URL="_qs + firstLine(*m_model),
                                 u"QUILLORA_BACKEND_UPSTREAM_MODEL=test"_qs,
                                 u"QUILLORA_BACKEND_SERVER_LISTEN=127.0.0.1:0"_qs,
                                 u"QUILLORA_BACKEND_LIMITS_DEVICE_PER_MINUTE=20"_qs,
                                 u"QUILLORA_BACKEND_TOKENS_FILE="_qs + m_folder.filePath(u"tokens"_qs)};
        m_token = newToken();
        m_backend = std::make_unique<test::Daemon>(QStringLiteral(QUILLORA_BACKEND), QStringList{u"serve"_qs},
                                                   m_settings);
        m_endpoint = firstLine(*m_backend);
    }
    void init() { m_platform = std::make_unique<test::RealHttpPlatform>(); }
    void cleanup() { m_platform.reset(); }

    void aSentenceIsTranslated() {
        QCOMPARE(translate(u"He was not an ill-disposed young man."_qs)->value(),
                 u"Ол ниеті жаман жас жігіт емес еді."_qs);
    }

    void theNameOfThisComputerLeadsToItToo() {
        m_endpoint.replace(u"127.0.0.1"_qs, u"localhost"_qs);
        QCOMPARE(translate(u"hello"_qs)->value(), u"сәлем"_qs);
    }

    void aWrongTokenIsRefused() {
        for (const QString &token : {u"Secret"_qs, m_token + u"2"_qs, u"ключ"_qs})
            QCOMPARE(translate(u"hello"_qs, u"Kazakh"_qs, token)->error(),
                     u"The subscription token is not valid."_qs);
    }

    void aMissingTokenIsAskedFor() {
        QCOMPARE(translate(u"hello"_qs, u"Kazakh"_qs, QString())->error(),
                 u"This translation backend asks for a subscription token."_qs);
    }

    void aTokenWithSpacesAroundItIsTheSame() {
        QCOMPARE(translate(u"hello"_qs, u"Kazakh"_qs, u" %1 "_qs.arg(m_token))->value(), u"сәлем"_qs);
    }

    void aModelThatFailsIsNamed() {
        QCOMPARE(translate(u"Something «else» 😀"_qs)->error(),
                 u"The translation model failed. Try again."_qs);
    }

    void aLanguageThatIsNotServedIsNamed() {
        QCOMPARE(translate(u"hello"_qs, u"Klingon"_qs)->error(),
                 u"This translation backend does not translate into Klingon."_qs);
    }

    void aTextThatIsTooLongIsNamed() {
        QCOMPARE(translate(QString(20001, u'a'))->error(),
                 u"The text is too long: this translation backend takes 20000 characters at once."_qs);
    }

    void aLimitThatIsReachedIsToldWithTheTimeToWait() {
        QString error;
        for (int count = 0; count < 50 && error.isEmpty(); ++count)
            error = translate(u"hello"_qs, u"Kazakh"_qs, m_token, u"busy device"_qs)->error();
        QVERIFY2(error.startsWith(u"Too many translations within a minute. Try again in "_qs),
                 qPrintable(error));
    }

private:
    static QString firstLine(test::Daemon &daemon) {
        daemon.waitUntilReady([&] { return daemon.process().canReadLine(); });
        return QString::fromUtf8(daemon.process().readLine()).trimmed();
    }

    QString newToken() const {
        test::ChildProcess command(QStringLiteral(QUILLORA_BACKEND), {u"token"_qs, u"add"_qs, u"laptop"_qs},
                                   m_settings);
        command.process().waitForFinished();
        return QString::fromUtf8(command.process().readAllStandardOutput()).trimmed();
    }

    std::shared_ptr<test::Outcome<QString>> translate(const QString &text,
                                                      const QString &targetLanguage = u"Kazakh"_qs) {
        return translate(text, targetLanguage, m_token);
    }

    std::shared_ptr<test::Outcome<QString>> translate(const QString &text, const QString &targetLanguage,
                                                      const QString &token,
                                                      const QString &device = u"1A-2B"_qs) {
        return m_platform->outcomeOf(m_service.translate(text, u"English (United States)"_qs, targetLanguage,
                                                         m_endpoint, token, device));
    }

    QTemporaryDir m_folder;
    QStringList m_settings;
    QString m_token;
    std::unique_ptr<test::Daemon> m_model;
    std::unique_ptr<test::Daemon> m_backend;
    QString m_endpoint;
    std::unique_ptr<test::RealHttpPlatform> m_platform;
    OpenAITranslationService m_service;
};

QTEST_GUILESS_MAIN(QuilloraBackendTest)
#include "QuilloraBackendTest.moc"
