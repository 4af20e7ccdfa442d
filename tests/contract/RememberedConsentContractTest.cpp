#include "contract/ModelConsentContract.h"
#include "fakes/FakeMainQueue.h"
#include "platform/linux/routing/RememberedConsent.h"

#include <QFile>
#include <QTemporaryDir>

using namespace quillora;
using platform::RememberedConsent;

namespace {

class FolderHarness : public test::ModelConsentHarness {
public:
    platform::ModelConsent &consent() override { return *m_consent; }
    void turn() override { m_queue.run(); }

    void restart() { m_consent.emplace(m_queue, path()); }
    QString path() const { return m_folder.filePath(u"state/Quillora/declined.json"_qs); }

private:
    QTemporaryDir m_folder;
    test::FakeMainQueue m_queue;
    std::optional<RememberedConsent> m_consent{std::in_place, m_queue, path()};
};

} // namespace

class RememberedConsentContractTest : public test::ModelConsentContract {
    Q_OBJECT

    std::unique_ptr<test::ModelConsentHarness> makeHarness() override {
        return std::make_unique<FolderHarness>();
    }
    FolderHarness &folder() { return static_cast<FolderHarness &>(harness()); }

private Q_SLOTS:
    void notNowHoldsOverARestart() {
        decline(russian);
        folder().restart();
        present();
        ask(russian);
        QCOMPARE(m_shown, QList{russian});
        folder().turn();
        QCOMPARE(m_answers, QList{Answer::notNow});
    }

    void whatIsForgottenStaysForgottenOverARestart() {
        decline(russian);
        decline(german);
        consent().forget(russian.task);
        folder().restart();
        present();
        ask(russian);
        ask(german);
        QCOMPARE(m_shown, (QList{russian, german, russian}));
    }

    void aRecordThatCannotBeReadIsKeptBesideTheNewOne() {
        decline(russian);
        QFile file(folder().path());
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write("{ half");
        file.close();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"declined.json cannot be read"_qs));
        folder().restart();
        decline(russian);
        QFile kept(folder().path() + u".unreadable"_qs);
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), QByteArray("{ half"));
        folder().restart();
        present();
        ask(russian);
        QCOMPARE(m_shown, (QList{russian, russian})); // neither was asked after the restart
    }

    void aQuestionThatIsOpenAtTheEndIsNotAnswered() {
        present();
        ask(russian);
        folder().restart();
        m_replies.at(0)(Answer::download); // the window is still there
        folder().turn();
        QVERIFY(m_answers.isEmpty());
    }
};

QTEST_GUILESS_MAIN(RememberedConsentContractTest)
#include "RememberedConsentContractTest.moc"
