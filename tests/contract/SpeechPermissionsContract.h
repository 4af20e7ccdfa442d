#pragma once

#include "contract/Subjects.h"
#include "platform/SpeechPermissions.h"
#include "support/ChildProcess.h"

#include <QTest>
#include <QThread>

#include <functional>
#include <memory>
#include <vector>

namespace quillora::test {

/// The world around one implementation of SpeechPermissions, in which everything is permitted.
class SpeechPermissionsHarness {
public:
    virtual ~SpeechPermissionsHarness() = default;

    virtual platform::SpeechPermissions &permissions() = 0;

    /// Lets the main queue do what was posted to it.
    virtual void turn() = 0;
};

/// What all SpeechPermissions do.
class SpeechPermissionsContract : public QObject {
    Q_OBJECT

public:
    explicit SpeechPermissionsContract(Subjects<SpeechPermissionsHarness> subjects)
        : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void aQuestionIsAnsweredOnceLaterAndOnTheMainThread_data() {
        QTest::addColumn<Question>("question");
        QTest::newRow("speech recognition")
            << Question(&platform::SpeechPermissions::requestSpeechRecognition);
        QTest::newRow("microphone") << Question(&platform::SpeechPermissions::requestMicrophone);
    }
    void aQuestionIsAnsweredOnceLaterAndOnTheMainThread() {
        QFETCH(Question, question);
        std::vector<bool> answers;
        QThread *answeredOn = nullptr;
        (permissions().*question)([&](bool isGranted) {
            answers.push_back(isGranted);
            answeredOn = QThread::currentThread();
        });
        QVERIFY(answers.empty());
        QVERIFY(eventually([&] { return !answers.empty(); }));
        QCOMPARE(answers, std::vector{true});
        QCOMPARE(answeredOn, QThread::currentThread());
    }

    void whoAsksAgainInTheAnswerIsAnsweredToo() {
        int answers = 0;
        permissions().requestMicrophone([&](bool) {
            ++answers;
            permissions().requestMicrophone([&](bool) { ++answers; });
        });
        QVERIFY(eventually([&] { return answers == 2; }));
    }

private:
    using Question = void (platform::SpeechPermissions::*)(platform::SpeechPermissions::Reply);

    platform::SpeechPermissions &permissions() { return m_harness->permissions(); }
    bool eventually(const std::function<bool()> &condition) {
        return ChildProcess::waitUntil([&] {
            m_harness->turn();
            return condition();
        });
    }

    Subjects<SpeechPermissionsHarness> m_subjects;
    std::unique_ptr<SpeechPermissionsHarness> m_harness;
};

} // namespace quillora::test
