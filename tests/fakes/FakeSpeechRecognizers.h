#pragma once

#include "fakes/CallLog.h"
#include "platform/SpeechRecognizers.h"

#include <utility>
#include <vector>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// One recognition, whose results the test gives.
struct FakeRecognition {
    platform::RecognitionHandler handler;
    QString localeIdentifier;
    std::vector<platform::AudioBuffer> buffers;
    bool hasEnded = false;
    bool isCancelled = false;
};

class FakeSpeechRecognizers : public platform::SpeechRecognizers {
public:
    explicit FakeSpeechRecognizers(CallLog &log) : m_log(log) {}

    QStringList supportedLocales() const override { return locales; }
    void prepare(const QString &localeIdentifier) override { prepared += localeIdentifier; }
    std::unique_ptr<platform::SpeechRecognizer> makeRecognizer(const QString &localeIdentifier) override {
        m_log.add(u"recognizers.makeRecognizer "_s + localeIdentifier);
        if (makesNoRecognizer || !locales.contains(localeIdentifier))
            return nullptr;
        return std::make_unique<Recognizer>(*this, localeIdentifier);
    }

    /// The latest recognition; there must be one.
    FakeRecognition &recognition() { return *recognitions.back(); }
    void deliver(const QString &text) { deliver(platform::RecognitionResult{text, false}); }
    void deliverFinal(const QString &text) { deliver(platform::RecognitionResult{text, true}); }
    void deliverError(const QString &description) { recognition().handler({}, LocalizedError(description)); }

    bool isAvailable = true;
    bool makesNoRecognizer = false;
    QStringList locales{u"en-US"_s};
    QStringList prepared; ///< for which locales, in their order
    std::vector<std::shared_ptr<FakeRecognition>> recognitions;

private:
    /// A cancelled recognition has no results any more.
    void deliver(const platform::RecognitionResult &result) {
        if (!recognition().isCancelled)
            recognition().handler(result, {});
    }

    class Handle : public platform::Recognition {
    public:
        Handle(CallLog &log, std::shared_ptr<FakeRecognition> recognition)
            : m_log(log), m_recognition(std::move(recognition)) {}
        void append(platform::AudioBuffer buffer) override {
            m_recognition->buffers.push_back(std::move(buffer));
        }
        void endAudio() override {
            m_log.add(u"recognition.endAudio"_s);
            m_recognition->hasEnded = true;
        }
        void cancel() override {
            m_log.add(u"recognition.cancel"_s);
            m_recognition->isCancelled = true;
        }

    private:
        CallLog &m_log;
        const std::shared_ptr<FakeRecognition> m_recognition;
    };

    class Recognizer : public platform::SpeechRecognizer {
    public:
        Recognizer(FakeSpeechRecognizers &owner, QString locale)
            : m_owner(owner), m_locale(std::move(locale)) {}
        bool isAvailable() const override { return m_owner.isAvailable; }
        std::shared_ptr<platform::Recognition> recognize(platform::RecognitionHandler handler) override {
            m_owner.m_log.add(u"recognizer.recognize"_s);
            auto recognition = std::make_shared<FakeRecognition>();
            recognition->handler = std::move(handler);
            recognition->localeIdentifier = m_locale;
            m_owner.recognitions.push_back(recognition);
            return std::make_shared<Handle>(m_owner.m_log, std::move(recognition));
        }

    private:
        FakeSpeechRecognizers &m_owner;
        const QString m_locale;
    };

    CallLog &m_log;
};

} // namespace quillora::test
