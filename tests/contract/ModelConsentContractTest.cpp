#include "contract/ModelConsentContract.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/routing/RememberedConsent.h"
#include "support/Files.h"
#include "support/TestSuites.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::RememberedConsent;

namespace {

class FakeHarness : public test::ModelConsentHarness {
public:
    platform::ModelConsent &consent() override { return m_platform.consent; }
    void turn() override { m_platform.run(); }

private:
    test::FakePlatform m_platform;
};

class FolderHarness : public test::ModelConsentHarness {
public:
    platform::ModelConsent &consent() override { return *m_consent; }
    void turn() override { m_queue.run(); }

    void restart() { m_consent.emplace(m_queue, path()); }
    QString path() const { return m_folder.filePath(u"state/Quillora/declined.json"_s); }

private:
    QTemporaryDir m_folder;
    test::FakeMainQueue m_queue;
    std::optional<RememberedConsent> m_consent{std::in_place, m_queue, path()};
};

/// What only this one is asked.
class RememberedConsentTest : public test::ModelConsentCase {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        auto harness = std::make_unique<FolderHarness>();
        m_folder = harness.get();
        begin(std::move(harness));
    }

    void whatWasDeclinedLiesUnderTheStateFolder() {
        const QTemporaryDir home;
        qputenv("XDG_STATE_HOME", home.path().toUtf8());
        QCOMPARE(RememberedConsent::standardFile(), home.filePath(u"Quillora/declined-downloads.json"_s));
        qunsetenv("XDG_STATE_HOME");
    }

    void notNowHoldsOverARestart() {
        decline(russian);
        m_folder->restart();
        present();
        ask(russian);
        QCOMPARE(m_shown, QList{russian});
        m_folder->turn();
        QCOMPARE(m_answers, QList{Answer::notNow});
    }

    void whatIsForgottenStaysForgottenOverARestart() {
        decline(russian);
        decline(german);
        consent().forget(russian.tasks.first());
        m_folder->restart();
        present();
        ask(russian);
        ask(german);
        QCOMPARE(m_shown, (QList{russian, german, russian}));
    }

    void aRecordThatCannotBeReadIsKeptBesideTheNewOne() {
        decline(russian);
        test::writeFile(m_folder->path(), "{ half");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"declined.json cannot be read"_s));
        m_folder->restart();
        decline(russian);
        QCOMPARE(test::readFile(m_folder->path() + u".unreadable"_s), QByteArray("{ half"));
        m_folder->restart();
        present();
        ask(russian);
        QCOMPARE(m_shown, (QList{russian, russian})); // neither was asked after the restart
    }

    void aQuestionThatIsOpenAtTheEndIsNotAnswered() {
        present();
        ask(russian);
        m_folder->restart();
        m_replies.at(0)(Answer::download); // the window is still there
        m_folder->turn();
        QVERIFY(m_answers.isEmpty());
    }

private:
    FolderHarness *m_folder = nullptr;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::ModelConsentContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"RememberedConsent", [] { return std::make_unique<FolderHarness>(); }}});
    RememberedConsentTest own;
    return test::TestSuites({&contract, &own}).run(argc, argv);
}
#include "ModelConsentContractTest.moc"
