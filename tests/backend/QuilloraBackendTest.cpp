#include "support/Daemon.h"
#include "support/RealHttpPlatform.h"
#include "translation/OpenAITranslationService.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;

/// The client of the hosted engine against the backend, both real; the model behind it knows some sentences.
class QuilloraBackendTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        m_model = std::make_unique<test::Daemon>(QStringLiteral(QUILLORA_SCRIPTED_UPSTREAM));
        m_settings = QStringList{u"QUILLORA_BACKEND_UPSTREAM_URL="_s + firstLine(*m_model),
                                 u"QUILLORA_BACKEND_UPSTREAM_MODEL=test"_s,
                                 u"QUILLORA_BACKEND_SERVER_LISTEN=127.0.0.1:0"_s,
                                 u"QUILLORA_BACKEND_LIMITS_DEVICE_PER_MINUTE=20"_s,
                                 u"QUILLORA_BACKEND_TOKENS_FILE="_s + m_folder.filePath(u"tokens"_s)};
        m_token = newToken();
        m_backend = std::make_unique<test::Daemon>(QStringLiteral(QUILLORA_BACKEND), QStringList{u"serve"_s},
                                                   m_settings);
        m_endpoint = firstLine(*m_backend);
    }
    void init() { m_platform = std::make_unique<test::RealHttpPlatform>(); }
    void cleanup() { m_platform.reset(); }

    void aSentenceIsTranslated() {
        QCOMPARE(translate(u"He was not an ill-disposed young man."_s)->value(),
                 u"Ол ниеті жаман жас жігіт емес еді."_s);
    }

    void theNameOfThisComputerLeadsToItToo() {
        m_endpoint.replace(u"127.0.0.1"_s, u"localhost"_s);
        QCOMPARE(translate(u"hello"_s)->value(), u"сәлем"_s);
    }

    void aWrongTokenIsRefused() {
        for (const QString &token : {u"Secret"_s, m_token + u"2"_s, u"ключ"_s})
            QCOMPARE(translate(u"hello"_s, u"Kazakh"_s, token)->error(),
                     u"The subscription token is not valid."_s);
    }

    void aMissingTokenIsAskedFor() {
        QCOMPARE(translate(u"hello"_s, u"Kazakh"_s, QString())->error(),
                 u"This translation backend asks for a subscription token."_s);
    }

    void aTokenWithSpacesAroundItIsTheSame() {
        QCOMPARE(translate(u"hello"_s, u"Kazakh"_s, u" %1 "_s.arg(m_token))->value(), u"сәлем"_s);
    }

    void aModelThatFailsIsNamed() {
        QCOMPARE(translate(u"Something «else» 😀"_s)->error(), u"The translation model failed. Try again."_s);
    }

    void aLanguageThatIsNotServedIsNamed() {
        QCOMPARE(translate(u"hello"_s, u"Klingon"_s)->error(),
                 u"This translation backend does not translate into Klingon."_s);
    }

    void aTextThatIsTooLongIsNamed() {
        QCOMPARE(translate(QString(20001, u'a'))->error(),
                 u"The text is too long: this translation backend takes 20000 characters at once."_s);
    }

    void aLimitThatIsReachedIsToldWithTheTimeToWait() {
        QString error;
        for (int count = 0; count < 50 && error.isEmpty(); ++count)
            error = translate(u"hello"_s, u"Kazakh"_s, m_token, u"busy device"_s)->error();
        QVERIFY2(error.startsWith(u"Too many translations within a minute. Try again in "_s),
                 qPrintable(error));
    }

private:
    static QString firstLine(test::Daemon &daemon) {
        daemon.waitUntilReady([&] { return daemon.process().canReadLine(); });
        return QString::fromUtf8(daemon.process().readLine()).trimmed();
    }

    QString newToken() const {
        test::ChildProcess command(QStringLiteral(QUILLORA_BACKEND), {u"token"_s, u"add"_s, u"laptop"_s},
                                   m_settings);
        command.process().waitForFinished();
        return QString::fromUtf8(command.process().readAllStandardOutput()).trimmed();
    }

    std::shared_ptr<test::Outcome<QString>> translate(const QString &text,
                                                      const QString &targetLanguage = u"Kazakh"_s) {
        return translate(text, targetLanguage, m_token);
    }

    std::shared_ptr<test::Outcome<QString>> translate(const QString &text, const QString &targetLanguage,
                                                      const QString &token,
                                                      const QString &device = u"1A-2B"_s) {
        return m_platform->outcomeOf(m_service.translate(text, u"English (United States)"_s, targetLanguage,
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
