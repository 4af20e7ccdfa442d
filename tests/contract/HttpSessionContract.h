#pragma once

#include "contract/Subjects.h"
#include "platform/HttpSession.h"
#include "support/Outcome.h"

#include <QObject>

#include <functional>
#include <memory>

namespace quillora::test {

/// An HTTP session, and the server at the other end.
class HttpSessionHarness {
public:
    /// What the server saw of a request, of the headers only those that the request was given.
    struct Received {
        QByteArray method;
        QList<std::pair<QByteArray, QByteArray>> headers;
        QByteArray body;

        bool operator==(const Received &) const = default;
    };

    virtual ~HttpSessionHarness() = default;

    virtual platform::HttpSession &session() = 0;
    virtual void destroySession() = 0;

    /// Where the server listens.
    virtual QUrl url() const = 0;

    /// The next request is answered at once, or cannot be delivered.
    virtual void answerNext(int status, const QByteArray &body) = 0;
    virtual void failNext() = 0;

    /// Answers a request that arrived and found no answer, counted from 0.
    virtual void answerHeld(qsizetype number, int status, const QByteArray &body) = 0;

    virtual QList<Received> received() const = 0;

    /// Lets time pass for the main queue and the network until `condition` holds; false if it never did.
    virtual bool waitUntil(const std::function<bool()> &condition) = 0;

    /// Runs what is posted to the main queue, and nothing else.
    virtual void run() = 0;
};

/// What every HTTP session keeps to.
class HttpSessionContract : public QObject {
    Q_OBJECT

public:
    explicit HttpSessionContract(Subjects<HttpSessionHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup();

    void theRequestArrivesAsItWasGiven();
    void statusAndBodyAreGivenBackAsTheyAre_data();
    void statusAndBodyAreGivenBackAsTheyAre();
    void theWaiterIsNeverResumedInsideTheCall();
    void aRequestThatCannotBeDeliveredFailsInASentence();
    void aFailureLeavesTheSessionUsable();
    void preparingSendsNothing();
    void preparingWhatCannotBeAskedIsHarmless_data();
    void preparingWhatCannotBeAskedIsHarmless();
    void answersMayComeInAnotherOrderThanTheRequests();
    void aTaskThatIsDroppedStillAsks();
    void destroyingTheSessionFailsWhatIsUnderWayFromTheMainQueue();
    void anAnswerThatCameBeforeTheSessionWasDestroyedIsHandedOver();

private:
    using Answer = Outcome<platform::HttpResponse>;

    platform::HttpRequest request(const QByteArray &body = "{}") const;
    std::shared_ptr<Answer> start(const QByteArray &body = "{}");
    bool hasArrived(qsizetype count);

    Subjects<HttpSessionHarness> m_subjects;
    std::unique_ptr<HttpSessionHarness> m_harness;
};

} // namespace quillora::test
