#pragma once

#include "contract/Subjects.h"
#include "platform/HttpSession.h"
#include "support/Outcome.h"

#include <QTest>

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
    void cleanup() {
        m_harness->destroySession();
        m_harness->run();
        m_harness.reset();
    }

    void theRequestArrivesAsItWasGiven() {
        m_harness->answerNext(200, "{}");
        auto question = request("{\"text\":\"żółć\"}");
        question.headers = {{"Content-Type", "application/json"},
                            {"X-Quillora-Device-Id", " 1A-2B "},
                            {"X-Cobaltwhisk-Device-Id", " 1A-2B "}};
        const auto answer = Answer::of(m_harness->session().data(question));
        QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
        QCOMPARE(m_harness->received(),
                 (QList<HttpSessionHarness::Received>{{"POST", question.headers, question.body}}));
    }

    void statusAndBodyAreGivenBackAsTheyAre_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("success") << 200 << QByteArray(R"({"translation":"word"})");
        QTest::newRow("created") << 201 << QByteArray(R"({"translation":"word"})");
        QTest::newRow("empty") << 200 << QByteArray();
        QTest::newRow("any bytes") << 200 << QByteArray("\0\xff\r\n\r\n", 6);
        QTest::newRow("redirect") << 302 << QByteArray("elsewhere");
        QTest::newRow("refusal") << 401 << QByteArray(R"({"error":"no"})");
        QTest::newRow("failure") << 503 << QByteArray("<html>");
    }

    void statusAndBodyAreGivenBackAsTheyAre() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        m_harness->answerNext(status, body);
        const auto answer = start();
        QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
        QVERIFY(answer->value().isHttp);
        QCOMPARE(answer->value().statusCode, status);
        QCOMPARE(answer->value().body, body);
    }

    void theWaiterIsNeverResumedInsideTheCall() {
        m_harness->answerNext(200, "{}");
        const auto answer = start();
        QVERIFY(!answer->isDone());
        QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
    }

    void aRequestThatCannotBeDeliveredFailsInASentence() {
        m_harness->failNext();
        const auto answer = start();
        QVERIFY(!answer->isDone());
        QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
        QVERIFY(answer->error().endsWith(u'.'));
    }

    void aFailureLeavesTheSessionUsable() {
        m_harness->failNext();
        const auto failure = start();
        QVERIFY(m_harness->waitUntil([&] { return failure->isDone(); }));
        m_harness->answerNext(200, "again");
        const auto answer = start();
        QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
        QCOMPARE(answer->value().body, "again");
    }

    void preparingSendsNothing() {
        m_harness->answerNext(200, "{}");
        m_harness->session().prepare(m_harness->url());
        const auto answer = start();
        QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
        QCOMPARE(answer->value().body, "{}");
        QCOMPARE(m_harness->received(),
                 (QList<HttpSessionHarness::Received>{{"POST", request().headers, request().body}}));
    }

    void preparingWhatCannotBeAskedIsHarmless_data() {
        QTest::addColumn<QUrl>("url");
        for (const char *url :
             {"", "ftp://127.0.0.1/v1", "file:///v1", "mailto:a@b.example", "https:///v1", "v1"})
            QTest::newRow(*url ? url : "empty") << QUrl(QString::fromLatin1(url));
    }

    void preparingWhatCannotBeAskedIsHarmless() {
        QFETCH(QUrl, url);
        m_harness->answerNext(200, "{}");
        m_harness->session().prepare(m_harness->url());
        m_harness->session().prepare(url);
        const auto answer = start();
        QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
        QCOMPARE(answer->value().body, "{}");
    }

    void answersMayComeInAnotherOrderThanTheRequests() {
        const auto first = start("1");
        QVERIFY(hasArrived(1));
        const auto second = start("2");
        QVERIFY(hasArrived(2));
        m_harness->answerHeld(1, 200, "two");
        QVERIFY(m_harness->waitUntil([&] { return second->isDone(); }));
        QVERIFY(!first->isDone());
        m_harness->answerHeld(0, 200, "one");
        QVERIFY(m_harness->waitUntil([&] { return first->isDone(); }));
        QCOMPARE(first->value().body, "one");
        QCOMPARE(second->value().body, "two");
    }

    void aTaskThatIsDroppedStillAsks() {
        {
            const auto dropped = m_harness->session().data(request("dropped"));
        }
        QVERIFY(hasArrived(1));
        m_harness->answerHeld(0, 200, "to nobody");
        m_harness->answerNext(200, "to somebody");
        const auto answer = start();
        QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
        QCOMPARE(answer->value().body, "to somebody");
    }

    void destroyingTheSessionFailsWhatIsUnderWayFromTheMainQueue() {
        const auto answer = start();
        QVERIFY(hasArrived(1));
        m_harness->destroySession();
        QVERIFY(!answer->isDone());
        m_harness->run();
        QVERIFY(answer->error().endsWith(u'.'));
    }

    void anAnswerThatCameBeforeTheSessionWasDestroyedIsHandedOver() {
        m_harness->answerNext(200, "{}");
        const auto answer = start();
        QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
        m_harness->destroySession();
        QCOMPARE(answer->value().body, "{}");
    }

private:
    using Answer = Outcome<platform::HttpResponse>;

    platform::HttpRequest request(const QByteArray &body = "{}") const {
        platform::HttpRequest request;
        request.url = m_harness->url();
        request.method = "POST";
        request.timeoutInterval = std::chrono::seconds(45);
        request.headers = {{"Content-Type", "application/json"}};
        request.body = body;
        return request;
    }

    std::shared_ptr<Answer> start(const QByteArray &body = "{}") {
        return Answer::of(m_harness->session().data(request(body)));
    }

    bool hasArrived(qsizetype count) {
        return m_harness->waitUntil([&] { return m_harness->received().size() == count; });
    }

    Subjects<HttpSessionHarness> m_subjects;
    std::unique_ptr<HttpSessionHarness> m_harness;
};

} // namespace quillora::test
