#include "platform/linux/translation/OnDeviceTranslators.h"

#include "support/Outcome.h"
#include "support/Sessions.h"

#include <QTest>

#include <set>

using namespace Qt::StringLiterals;
using namespace quillora::platform;
using quillora::test::Outcome;
using quillora::test::prepared;
using quillora::test::translated;

namespace {

class NamedSession : public TranslationSession {
public:
    NamedSession(QString name, const bool &isBroken) : m_name(std::move(name)), m_isBroken(isBroken) {}

    QCoro::Task<> prepareTranslation() override {
        if (m_isBroken)
            throw quillora::LocalizedError(m_name + u" is broken."_s);
        co_return;
    }
    QCoro::Task<TranslationResponse> translate(QString text) override {
        TranslationResponse response{m_name + u": "_s + text};
        co_return response;
    }

private:
    const QString m_name;
    const bool &m_isBroken; ///< the engine's
};

/// Serves every pair into some languages, and names itself in what it translates.
class NamedEngine : public OnDeviceEngine {
public:
    NamedEngine(QString name, std::set<QString> targets)
        : m_name(std::move(name)), m_targets(std::move(targets)) {}

    std::shared_ptr<TranslationSession> session(const QString & /*source*/, const QString &target) override {
        return m_targets.contains(target) ? std::make_shared<NamedSession>(m_name, isBroken) : nullptr;
    }

    void warm(const QString &source, const QString &target) override { warmed += source + u'>' + target; }

    bool isBroken = false;
    QStringList warmed;

private:
    const QString m_name;
    const std::set<QString> m_targets;
};

/// Two engines, of which both serve Spanish and the second French.
struct Engines {
    std::vector<std::unique_ptr<OnDeviceEngine>> all;
    NamedEngine *first = add(u"first"_s, {u"es"_s});
    NamedEngine *second = add(u"second"_s, {u"es"_s, u"fr"_s});
    OnDeviceTranslators translators{std::move(all)};

private:
    NamedEngine *add(const QString &name, std::set<QString> targets) {
        all.push_back(std::make_unique<NamedEngine>(name, std::move(targets)));
        return static_cast<NamedEngine *>(all.back().get());
    }
};

} // namespace

/// Which engine translates a pair.
class OnDeviceTranslatorsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theFirstEngineThatServesThePairTranslatesIt_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("translation");
        QTest::newRow("both serve it") << u"es"_s << u"first: text"_s;
        QTest::newRow("the second alone serves it") << u"fr"_s << u"second: text"_s;
    }
    void theFirstEngineThatServesThePairTranslatesIt() {
        QFETCH(const QString, target);
        const auto outcome =
            Outcome<QString>::of(translated(Engines().translators.session(u"en"_s, target), u"text"_s));
        QTEST(outcome->value(), "translation");
    }

    void theNextTakesThePlaceOfOneThatTurnsOutNotToBeAbleTo() {
        Engines engines;
        engines.first->isBroken = true;
        const auto session = engines.translators.session(u"en"_s, u"es"_s);
        QCOMPARE(Outcome<QString>::of(translated(session, u"text"_s))->value(), u"second: text"_s);
    }

    void whereNoneCanTheReasonOfTheFirstCounts() {
        Engines engines;
        engines.first->isBroken = true;
        engines.second->isBroken = true;
        const auto session = engines.translators.session(u"en"_s, u"es"_s);
        QCOMPARE(Outcome<QString>::of(prepared(session))->error(), u"first is broken."_s);
    }

    void everyPreparationBeginsWithTheFirst() {
        Engines engines;
        engines.first->isBroken = true;
        const auto session = engines.translators.session(u"en"_s, u"es"_s);
        Outcome<QString>::of(prepared(session));
        engines.first->isBroken = false;
        QCOMPARE(Outcome<QString>::of(translated(session, u"text"_s))->value(), u"first: text"_s);
    }

    void onlyTheEngineThatWouldTranslateIsToldWhatMayBeTranslatedSoon() {
        Engines engines;
        for (const QString &target : {u"es"_s, u"fr"_s, u"ru"_s})
            engines.translators.warm(u"en"_s, target);
        QCOMPARE(engines.first->warmed, QStringList{u"en>es"_s});
        QCOMPARE(engines.second->warmed, QStringList{u"en>fr"_s});
    }

    void aPairThatNoEngineServesIsNamedInEnglish() {
        const QString reason =
            u"There is no on-device translation from English to Russian. Choose OpenAI Natural as the engine."_s;
        Engines engines;
        const auto session = engines.translators.session(u"en"_s, u"ru"_s);
        QCOMPARE(Outcome<QString>::of(prepared(session))->error(), reason);
        QCOMPARE(Outcome<QString>::of(translated(session, u"text"_s))->error(), reason);
    }
};

QTEST_GUILESS_MAIN(OnDeviceTranslatorsTest)
#include "OnDeviceTranslatorsTest.moc"
