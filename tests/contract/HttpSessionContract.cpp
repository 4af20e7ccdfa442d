#include "contract/HttpSessionContract.h"

#include <QTest>

namespace quillora::test {

void HttpSessionContract::cleanup() {
    m_harness->destroySession();
    m_harness->run();
    m_harness.reset();
}

void HttpSessionContract::theRequestArrivesAsItWasGiven() {
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

void HttpSessionContract::statusAndBodyAreGivenBackAsTheyAre_data() {
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

void HttpSessionContract::statusAndBodyAreGivenBackAsTheyAre() {
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    m_harness->answerNext(status, body);
    const auto answer = start();
    QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
    QVERIFY(answer->value().isHttp);
    QCOMPARE(answer->value().statusCode, status);
    QCOMPARE(answer->value().body, body);
}

void HttpSessionContract::theWaiterIsNeverResumedInsideTheCall() {
    m_harness->answerNext(200, "{}");
    const auto answer = start();
    QVERIFY(!answer->isDone());
    QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
}

void HttpSessionContract::aRequestThatCannotBeDeliveredFailsInASentence() {
    m_harness->failNext();
    const auto answer = start();
    QVERIFY(!answer->isDone());
    QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
    QVERIFY(answer->error().endsWith(u'.'));
}

void HttpSessionContract::aFailureLeavesTheSessionUsable() {
    m_harness->failNext();
    const auto failure = start();
    QVERIFY(m_harness->waitUntil([&] { return failure->isDone(); }));
    m_harness->answerNext(200, "again");
    const auto answer = start();
    QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
    QCOMPARE(answer->value().body, "again");
}

void HttpSessionContract::preparingSendsNothing() {
    m_harness->answerNext(200, "{}");
    m_harness->session().prepare(m_harness->url());
    const auto answer = start();
    QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
    QCOMPARE(answer->value().body, "{}");
    QCOMPARE(m_harness->received(),
             (QList<HttpSessionHarness::Received>{{"POST", request().headers, request().body}}));
}

void HttpSessionContract::preparingWhatCannotBeAskedIsHarmless_data() {
    QTest::addColumn<QUrl>("url");
    for (const char *url :
         {"", "ftp://127.0.0.1/v1", "file:///v1", "mailto:a@b.example", "https:///v1", "v1"})
        QTest::newRow(*url ? url : "empty") << QUrl(QString::fromLatin1(url));
}

void HttpSessionContract::preparingWhatCannotBeAskedIsHarmless() {
    QFETCH(QUrl, url);
    m_harness->answerNext(200, "{}");
    m_harness->session().prepare(m_harness->url());
    m_harness->session().prepare(url);
    const auto answer = start();
    QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
    QCOMPARE(answer->value().body, "{}");
}

void HttpSessionContract::answersMayComeInAnotherOrderThanTheRequests() {
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

void HttpSessionContract::aTaskThatIsDroppedStillAsks() {
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

void HttpSessionContract::destroyingTheSessionFailsWhatIsUnderWayFromTheMainQueue() {
    const auto answer = start();
    QVERIFY(hasArrived(1));
    m_harness->destroySession();
    QVERIFY(!answer->isDone());
    m_harness->run();
    QVERIFY(answer->error().endsWith(u'.'));
}

void HttpSessionContract::anAnswerThatCameBeforeTheSessionWasDestroyedIsHandedOver() {
    m_harness->answerNext(200, "{}");
    const auto answer = start();
    QVERIFY(m_harness->waitUntil([&] { return answer->isDone(); }));
    m_harness->destroySession();
    QCOMPARE(answer->value().body, "{}");
}

platform::HttpRequest HttpSessionContract::request(const QByteArray &body) const {
    platform::HttpRequest request;
    request.url = m_harness->url();
    request.method = "POST";
    request.timeoutInterval = std::chrono::seconds(45);
    request.headers = {{"Content-Type", "application/json"}};
    request.body = body;
    return request;
}

std::shared_ptr<HttpSessionContract::Answer> HttpSessionContract::start(const QByteArray &body) {
    return Answer::of(m_harness->session().data(request(body)));
}

bool HttpSessionContract::hasArrived(qsizetype count) {
    return m_harness->waitUntil([&] { return m_harness->received().size() == count; });
}

} // namespace quillora::test
