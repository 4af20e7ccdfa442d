#include "platform/linux/translation/OnDeviceTranslators.h"

#include "support/Outcome.h"

#include <QTest>

#include <set>

using namespace quillora::platform;
using quillora::test::Outcome;

namespace {

class NamedSession : public TranslationSession {
public:
    explicit NamedSession(QString name) : m_name(std::move(name)) {}

    QCoro::Task<> prepareTranslation() override { co_return; }
    QCoro::Task<TranslationResponse> translate(QString text) override {
        TranslationResponse response{m_name + u": "_qs + text};
        co_return response;
    }

private:
    const QString m_name;
};

/// Serves every pair into some languages, and names itself in what it translates.
class NamedEngine : public OnDeviceEngine {
public:
    NamedEngine(QString name, std::set<QString> targets)
        : m_name(std::move(name)), m_targets(std::move(targets)) {}

    std::shared_ptr<TranslationSession> session(const QString & /*source*/, const QString &target) override {
        return m_targets.contains(target) ? std::make_shared<NamedSession>(m_name) : nullptr;
    }

private:
    const QString m_name;
    const std::set<QString> m_targets;
};

std::unique_ptr<OnDeviceTranslators> translators() {
    std::vector<std::unique_ptr<OnDeviceEngine>> engines;
    engines.push_back(std::make_unique<NamedEngine>(u"first"_qs, std::set{u"es"_qs}));
    engines.push_back(std::make_unique<NamedEngine>(u"second"_qs, std::set{u"es"_qs, u"fr"_qs}));
    return std::make_unique<OnDeviceTranslators>(std::move(engines));
}

QCoro::Task<QString> prepared(std::shared_ptr<TranslationSession> session) {
    co_await session->prepareTranslation();
    co_return QString();
}

QCoro::Task<QString> translated(std::shared_ptr<TranslationSession> session) {
    const auto response = co_await session->translate(u"text"_qs);
    co_return response.targetText;
}

} // namespace

/// Which engine translates a pair.
class OnDeviceTranslatorsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theFirstEngineThatServesThePairTranslatesIt_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("translation");
        QTest::newRow("both serve it") << u"es"_qs << u"first: text"_qs;
        QTest::newRow("the second alone serves it") << u"fr"_qs << u"second: text"_qs;
    }
    void theFirstEngineThatServesThePairTranslatesIt() {
        QFETCH(const QString, target);
        const auto outcome = Outcome<QString>::of(translated(translators()->session(u"en"_qs, target)));
        QTEST(outcome->value(), "translation");
    }

    void aPairThatNoEngineServesIsNamedInEnglish() {
        const QString reason = u"No on-device translation from English to Russian is installed."_qs;
        const auto all = translators();
        QCOMPARE(Outcome<QString>::of(prepared(all->session(u"en"_qs, u"ru"_qs)))->error(), reason);
        QCOMPARE(Outcome<QString>::of(translated(all->session(u"en"_qs, u"ru"_qs)))->error(), reason);
    }
};

QTEST_GUILESS_MAIN(OnDeviceTranslatorsTest)
#include "OnDeviceTranslatorsTest.moc"
