#pragma once

#include "contract/Subjects.h"
#include "platform/ModelConsent.h"

#include <QObject>
#include <QTest>

#include <memory>
#include <utility>
#include <vector>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// One consent, and the turning of its event loop.
class ModelConsentHarness {
public:
    virtual ~ModelConsentHarness() = default;

    virtual platform::ModelConsent &consent() = 0;

    /// Runs what is due now.
    virtual void turn() = 0;
};

/// Somebody who asks, and somebody who sees the questions.
class ModelConsentCase : public QObject {
protected:
    using Answer = platform::DownloadAnswer;
    using Question = platform::DownloadQuestion;

    void begin(std::unique_ptr<ModelConsentHarness> harness) {
        m_harness = std::move(harness);
        m_shown.clear();
        m_replies.clear();
        m_answers.clear();
    }

    platform::ModelConsent &consent() { return m_harness->consent(); }

    void present() {
        consent().setPresenter([this](const Question &question, const auto &reply) {
            m_shown += question;
            m_replies.push_back(reply);
        });
    }
    void ask(const Question &question) {
        consent().ask(question, [this](Answer answer) { m_answers += answer; });
    }

    /// Ends as if nobody had heard the answer.
    void decline(const Question &question) {
        present();
        ask(question);
        m_replies.back()(Answer::notNow);
        m_harness->turn();
        m_answers.clear();
    }

    inline static const Question russian{{platform::ModelTask::translating(u"en"_s, u"ru"_s)}, {u"en-ru"_s}};
    inline static const Question german{{platform::ModelTask::hearing(u"de-DE"_s)}, {u"kroko-de"_s}};
    inline static const Question both{russian.tasks + german.tasks, russian.models + german.models};

    QList<Question> m_shown;
    std::vector<platform::ModelConsent::Reply> m_replies; ///< to what is shown
    QList<Answer> m_answers;

    std::unique_ptr<ModelConsentHarness> m_harness;
};

/// What everything keeps to that asks before a download.
class ModelConsentContract : public ModelConsentCase {
    Q_OBJECT

public:
    explicit ModelConsentContract(Subjects<ModelConsentHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { begin(m_subjects.harness()); }
    void cleanup() { m_harness.reset(); }

    void aQuestionIsShownAsItWasAsked() {
        present();
        ask(russian);
        QCOMPARE(m_shown, QList{russian});
    }

    void theAnswerIsReplied_data() {
        QTest::addColumn<Answer>("answer");
        QTest::newRow("download") << Answer::download;
        QTest::newRow("not now") << Answer::notNow;
    }
    void theAnswerIsReplied() {
        QFETCH(Answer, answer);
        present();
        ask(russian);
        m_replies.at(0)(answer);
        m_harness->turn();
        QCOMPARE(m_answers, QList{answer});
    }

    void theReplyComesFromTheEventLoop() {
        present();
        ask(russian);
        m_replies.at(0)(Answer::download);
        QVERIFY(m_answers.isEmpty());
        m_harness->turn();
        QCOMPARE(m_answers.size(), 1);
    }

    void aPresenterMayReplyAtOnce() {
        consent().setPresenter([](const Question &, const auto &reply) { reply(Answer::download); });
        ask(russian);
        ask(german);
        m_harness->turn();
        QCOMPARE(m_answers, (QList{Answer::download, Answer::download}));
    }

    void aSecondReplyChangesNothing() {
        present();
        ask(russian);
        m_replies.at(0)(Answer::download);
        m_replies.at(0)(Answer::notNow);
        m_harness->turn();
        QCOMPARE(m_answers, QList{Answer::download});
        ask(russian);
        QCOMPARE(m_shown.size(), 2);
    }

    void withoutAPresenterItIsNotNow() {
        ask(russian);
        QVERIFY(m_answers.isEmpty());
        m_harness->turn();
        QCOMPARE(m_answers, QList{Answer::notNow});
    }

    void thatIsNotRemembered() {
        ask(russian);
        m_harness->turn();
        present();
        ask(russian);
        QCOMPARE(m_shown, QList{russian});
    }

    void aPresenterThatGoesAnswersWhatIsOpenAndNothingOfItIsRemembered() {
        present();
        ask(russian);
        ask(german);
        consent().setPresenter({});
        m_harness->turn();
        QCOMPARE(m_answers, (QList{Answer::notNow, Answer::notNow}));
        present();
        ask(russian);
        QCOMPARE(m_shown, (QList{russian, russian}));
    }

    void aPresenterThatTakesThePlaceOfAnotherShowsWhatIsOpen() {
        present();
        ask(russian);
        present();
        QCOMPARE(m_shown, (QList{russian, russian}));
        m_replies.at(1)(Answer::download);
        m_replies.at(0)(Answer::notNow);
        m_harness->turn();
        QCOMPARE(m_answers, QList{Answer::download});
    }

    void questionsComeOneAfterTheOther() {
        present();
        ask(russian);
        ask(german);
        QCOMPARE(m_shown, QList{russian});
        m_replies.at(0)(Answer::download);
        m_harness->turn();
        QCOMPARE(m_shown, (QList{russian, german}));
        m_replies.at(1)(Answer::notNow);
        m_harness->turn();
        QCOMPARE(m_answers, (QList{Answer::download, Answer::notNow}));
    }

    void aQuestionForTheSameTaskJoinsTheOneThatIsOpen() {
        present();
        ask(russian);
        ask(russian);
        QCOMPARE(m_shown, QList{russian});
        m_replies.at(0)(Answer::download);
        m_harness->turn();
        QCOMPARE(m_answers, (QList{Answer::download, Answer::download}));
        QCOMPARE(m_shown, QList{russian});
    }

    void itJoinsOneThatWaitsToo() {
        present();
        ask(russian);
        ask(german);
        ask(german);
        m_replies.at(0)(Answer::download);
        m_replies.at(1)(Answer::download);
        m_harness->turn();
        QCOMPARE(m_shown, (QList{russian, german}));
        QCOMPARE(m_answers.size(), 3);
    }

    void whatWasDeclinedIsDeclinedAgainWithoutBeingShown() {
        decline(russian);
        ask(russian);
        QVERIFY(m_answers.isEmpty());
        m_harness->turn();
        QCOMPARE(m_shown, QList{russian});
        QCOMPARE(m_answers, QList{Answer::notNow});
    }

    void whateverModelsItTakesByThen() {
        decline(russian);
        ask({russian.tasks, {u"another"_s}});
        m_harness->turn();
        QCOMPARE(m_shown, QList{russian});
    }

    void anotherTaskIsAskedForAllTheSame() {
        decline(russian);
        ask(german);
        QCOMPARE(m_shown, (QList{russian, german}));
    }

    void theOtherDirectionIsAnotherTask() {
        decline(russian);
        ask({{platform::ModelTask::translating(u"ru"_s, u"en"_s)}, {u"ru-en"_s}});
        QCOMPARE(m_shown.size(), 2);
    }

    void aQuestionForOneTaskJoinsOneForSeveral() {
        present();
        ask(both);
        ask(german);
        QCOMPARE(m_shown, QList{both});
        m_replies.at(0)(Answer::download);
        m_harness->turn();
        QCOMPARE(m_answers, (QList{Answer::download, Answer::download}));
    }

    void aQuestionForSeveralTasksDoesNotJoinOneForOneOfThem() {
        present();
        ask(german);
        ask(both);
        m_replies.at(0)(Answer::download);
        m_harness->turn();
        QCOMPARE(m_shown, (QList{german, both}));
        QCOMPARE(m_answers, QList{Answer::download});
    }

    void whoDeclinesIsNotAskedByAQuestionThatWaitedBehind() {
        present();
        ask(german);
        ask(both);
        m_replies.at(0)(Answer::notNow);
        m_harness->turn();
        QCOMPARE(m_shown, QList{german});
        QCOMPARE(m_answers, (QList{Answer::notNow, Answer::notNow}));
    }

    void theOneBehindThatComesAllTheSame() {
        const Question french{{platform::ModelTask::translating(u"en"_s, u"fr"_s)}, {u"en-fr"_s}};
        present();
        ask(german);
        ask(both);
        ask(french);
        m_replies.at(0)(Answer::notNow);
        m_harness->turn();
        QCOMPARE(m_shown, (QList{german, french}));
    }

    void aTaskThatIsForgottenMeanwhileIsAskedForByAQuestionThatWaitedBehind() {
        present();
        ask(russian);
        ask(german);
        ask(both);
        m_replies.at(0)(Answer::notNow);
        consent().forget(russian.tasks.first());
        m_replies.at(1)(Answer::download);
        m_harness->turn();
        QCOMPARE(m_shown, (QList{russian, german, both}));
    }

    void whoDeclinesSeveralTasksDeclinesEach() {
        decline(both);
        ask(russian);
        ask(german);
        m_harness->turn();
        QCOMPARE(m_shown, QList{both});
        QCOMPARE(m_answers, (QList{Answer::notNow, Answer::notNow}));
    }

    void whoDeclinedOneOfThemDeclinedAll() {
        decline(german);
        ask(both);
        m_harness->turn();
        QCOMPARE(m_shown, QList{german});
        QCOMPARE(m_answers, QList{Answer::notNow});
    }

    void whatWasAcceptedIsAskedAgain() {
        present();
        ask(russian);
        m_replies.at(0)(Answer::download);
        m_harness->turn();
        ask(russian);
        QCOMPARE(m_shown, (QList{russian, russian}));
    }

    void aTaskThatIsForgottenIsAskedAgain() {
        decline(russian);
        consent().forget(russian.tasks.first());
        ask(russian);
        QCOMPARE(m_shown, (QList{russian, russian}));
    }

    void forgettingOneTaskLeavesTheOthers() {
        decline(russian);
        consent().forget(german.tasks.first());
        ask(russian);
        QCOMPARE(m_shown, QList{russian});
    }

private:
    const Subjects<ModelConsentHarness> m_subjects;
};

} // namespace quillora::test
