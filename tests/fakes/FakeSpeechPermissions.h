#pragma once

#include "fakes/CallLog.h"
#include "platform/MainQueue.h"
#include "platform/SpeechPermissions.h"

#include <deque>
#include <utility>

namespace quillora::test {

using namespace Qt::StringLiterals;

class FakeSpeechPermissions : public platform::SpeechPermissions {
public:
    /// What a question gets: an answer in the next turn of the main queue, or one when the test gives it.
    enum class Replies { atOnce, byHand };

    FakeSpeechPermissions(CallLog &log, platform::MainQueue &mainQueue)
        : m_log(log), m_mainQueue(mainQueue) {}

    void requestSpeechRecognition(Reply reply) override {
        m_log.add(u"permissions.requestSpeechRecognition"_s);
        answer(std::move(reply), isSpeechRecognitionGranted, speechRecognitionReplies);
    }
    void requestMicrophone(Reply reply) override {
        m_log.add(u"permissions.requestMicrophone"_s);
        answer(std::move(reply), isMicrophoneGranted, microphoneReplies);
    }

    Replies replies = Replies::atOnce;
    bool isSpeechRecognitionGranted = true;
    bool isMicrophoneGranted = true;
    std::deque<Reply> speechRecognitionReplies;
    std::deque<Reply> microphoneReplies;

private:
    void answer(Reply reply, bool isGranted, std::deque<Reply> &unanswered) {
        if (replies == Replies::byHand)
            unanswered.push_back(std::move(reply));
        else
            m_mainQueue.async([reply = std::move(reply), isGranted] { reply(isGranted); });
    }

    CallLog &m_log;
    platform::MainQueue &m_mainQueue;
};

} // namespace quillora::test
