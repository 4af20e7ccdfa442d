#include "support/ConsentInFolder.h"
#include "support/Files.h"
#include "support/SetVariable.h"

#include <QTest>

using namespace quillora::test;
using quillora::platform::RememberedConsent;

/// What a restart, and a record that cannot be read, make of answers.
class RememberedConsentTest : public ModelConsentCase {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        auto harness = std::make_unique<ConsentInFolder>();
        m_folder = harness.get();
        begin(std::move(harness));
    }

    void whatWasDeclinedLiesUnderTheStateFolder() {
        const QTemporaryDir home;
        const SetVariable state("XDG_STATE_HOME", {home.path()});
        QCOMPARE(RememberedConsent::standardFile(), home.filePath(u"Quillora/declined-downloads.json"_s));
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
        writeFile(m_folder->path(), "{ half");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"declined.json cannot be read"_s));
        m_folder->restart();
        decline(russian);
        QCOMPARE(readFile(m_folder->path() + u".unreadable"_s), QByteArray("{ half"));
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
    ConsentInFolder *m_folder = nullptr;
};

QTEST_GUILESS_MAIN(RememberedConsentTest)
#include "RememberedConsentTest.moc"
