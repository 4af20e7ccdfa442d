#include "contract/SpeechRecognizersContract.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/recognition/InstalledToneModel.h"
#include "platform/linux/recognition/OnDeviceRecognizers.h"
#include "platform/linux/recognition/PocketSphinxRecognizers.h"
#include "platform/linux/recognition/ProcessRecognizer.h"
#include "recognizer/FakeEngine.h"
#include "support/Recording.h"

#include <QCoreApplication>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;

namespace {

class FakeHarness : public test::SpeechRecognizersHarness {
public:
    platform::SpeechRecognizers &recognizers() override { return m_platform.speech; }
    void hearSentence(platform::Recognition &recognition) override {
        recognition.endAudio();
        hearUnendedSentence(recognition);
    }
    void hearUnendedSentence(platform::Recognition &) override {
        m_platform.speech.deliver(u"he"_s);
        m_platform.speech.deliver(u"he was"_s);
        m_platform.speech.deliverFinal(u"he was young"_s);
    }
    void letRecognitionsFinish() override {}

private:
    test::FakePlatform m_platform;
};

class PocketSphinxHarness : public test::SpeechRecognizersHarness {
public:
    platform::SpeechRecognizers &recognizers() override { return m_recognizers; }
    void hearUnendedSentence(platform::Recognition &recognition) override {
        test::speak(recognition, test::Recording::of(u"he was not an ill disposed young man"_s).sound());
    }

private:
    platform::PocketSphinxRecognizers m_recognizers{std::make_shared<platform::CaptureDrain>(),
                                                    QUILLORA_RECOGNIZER};
};

/// The recognizer's process with the fake engine in it.
class FakeEngineRecognizers : public platform::SpeechRecognizers {
public:
    FakeEngineRecognizers() { m_client->load({{"fake", {}}}); }

    QStringList supportedLocales() const override { return {u"en-US"_s}; }
    void prepare(const QString &) override {}
    std::unique_ptr<platform::SpeechRecognizer> makeRecognizer(const QString &localeIdentifier) override {
        if (!supportedLocales().contains(localeIdentifier))
            return nullptr;
        return std::make_unique<platform::ProcessRecognizer>(m_client,
                                                             std::make_shared<platform::CaptureDrain>());
    }

private:
    const std::shared_ptr<platform::RecognizerClient> m_client =
        std::make_shared<platform::RecognizerClient>(QUILLORA_FAKE_RECOGNIZER);
};

class FakeEngineHarness : public test::SpeechRecognizersHarness {
public:
    platform::SpeechRecognizers &recognizers() override { return m_recognizers; }
    void hearUnendedSentence(platform::Recognition &recognition) override {
        recognition.append({{16000, 1}, test::FakeSpeech::words(1, 5)});
    }

private:
    FakeEngineRecognizers m_recognizers;
};

class OnDeviceHarness : public test::SpeechRecognizersHarness {
public:
    OnDeviceHarness() {
        const auto &model = m_model.description();
        m_platform.models.offer(model);
        m_platform.models.place(model.id, model.version, m_model.folder());
        m_platform.routes.offer(platform::ModelTask::hearing(u"en-US"_s), {model.id});
        m_platform.run();
    }

    platform::SpeechRecognizers &recognizers() override { return m_recognizers; }
    void hearUnendedSentence(platform::Recognition &recognition) override {
        test::speak(recognition, {{recognizer::sampleRate, 1}, test::ToneSpeech().say("he was not")});
    }

private:
    test::FakePlatform m_platform;
    test::InstalledToneModel m_model{u"streaming-zipformer-transducer"_s, {u"en"_s}};
    platform::OnDeviceRecognizers m_recognizers{
        std::make_shared<platform::CaptureDrain>(),
        QUILLORA_RECOGNIZER,
        m_platform.models,
        m_platform.routes,
        {m_platform.speech, [](const QString &) { return std::vector<platform::RecognizerModel>(); }},
        m_platform.queue};
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::SpeechRecognizersContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"PocketSphinxRecognizers", [] { return std::make_unique<PocketSphinxHarness>(); }},
         {"OnDeviceRecognizers", [] { return std::make_unique<OnDeviceHarness>(); }},
         {"fake engine", [] { return std::make_unique<FakeEngineHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
