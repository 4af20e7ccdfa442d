#include "recognizer/FakeEngine.h"

#include "recognizer/protocol/Channel.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace quillora::test {

namespace {

using recognizer::LoadFailure;
using recognizer::Refusal;
using Clock = std::chrono::steady_clock;

const std::map<std::string, recognizer::Answer> answers{
    {"ready", recognizer::Ready{recognizer::systemCalls | recognizer::files}},
    {"refused", recognizer::Refused{Refusal::damaged}},
    {"finished", recognizer::Finished{1, "nothing at all"}},
    {"tried", recognizer::Tried{1}},
};

void fail(const std::string &fault) {
    if (const auto answer = answers.find(fault); answer != answers.end()) {
        const auto message = recognizer::encode(answer->second);
        if (::write(recognizer::socketDescriptor, message.data(), message.size()) < 0)
            std::abort();
    }
    if (fault == "missing")
        throw LoadFailure{Refusal::missing};
    if (fault == "damaged")
        throw LoadFailure{Refusal::damaged};
    if (fault == "version")
        throw LoadFailure{Refusal::otherVersion};
    if (fault == "slow")
        for (const auto begin = Clock::now(); Clock::now() - begin < std::chrono::milliseconds(700);)
            continue;
    if (fault == "error")
        throw std::runtime_error("as the script says");
    if (fault == "exit")
        std::exit(0);
    if (fault == "crash")
        ::raise(SIGSEGV);
    if (fault == "kill")
        ::raise(SIGKILL); // as the kernel does where memory runs out
    if (fault == "memory")
        ::operator delete(::operator new(std::size_t{1} << 60));
    if (fault == "garbage" && ::write(recognizer::socketDescriptor, "garbage", 7) == 7)
        return;
    if (fault == "hang")
        for (;;)
            ::pause();
}

class FakeDecoder : public recognizer::Decoder {
public:
    explicit FakeDecoder(std::map<int, std::string> faults) : m_faults(std::move(faults)) {}

    void beginUtterance() override {
        m_isFull = false;
        m_isLastInDoubt = false;
        m_text.clear();
        m_last = 0;
        m_silence = longSilence;
    }
    void accept(std::span<const std::int16_t> samples) override {
        for (const auto sample : samples)
            accept(sample);
    }
    bool hearsSpeech() override { return m_silence < longSilence; }
    void endUtterance() override {}
    bool isFull() override { return m_isFull; }
    std::size_t endEarly() override {
        m_text.resize(std::min(m_text.rfind(' '), m_text.size()));
        return m_sinceWord;
    }
    std::string text() override { return m_text; }

private:
    static constexpr int longSilence = recognizer::sampleRate / 2;

    void accept(std::int16_t sample) {
        ++m_sinceWord;
        m_silence = sample == 0 ? m_silence + 1 : 0;
        if (std::exchange(m_last, sample) == sample || sample == 0)
            return;
        if (const auto fault = m_faults.find(sample); fault != m_faults.end())
            fail(fault->second);
        m_isFull = m_faults.contains(sample) && m_faults.at(sample) == "full" && !m_text.empty();
        m_sinceWord = 1;
        if (m_isLastInDoubt)
            m_text[m_text.rfind('v')] = 'w';
        m_isLastInDoubt = m_faults.contains(sample) && m_faults.at(sample) == "revise";
        m_text +=
            std::string(m_text.empty() ? "" : " ") + (m_isLastInDoubt ? 'v' : 'w') + std::to_string(sample);
    }

    const std::map<int, std::string> m_faults;
    std::string m_text;
    bool m_isFull = false;
    bool m_isLastInDoubt = false;
    std::size_t m_sinceWord = 0; ///< samples since the last word began, that one included
    std::int16_t m_last = 0;
    int m_silence = longSilence;
};

} // namespace

std::unique_ptr<recognizer::Decoder> FakeEngine::load(const recognizer::Open &model) const {
    std::map<int, std::string> faults;
    std::ifstream script(model.files.empty() ? std::string() : model.files.front());
    for (std::string moment, fault; script >> moment >> fault;) {
        if (moment == "load")
            fail(fault);
        else
            faults[std::stoi(moment)] = fault;
    }
    return std::make_unique<FakeDecoder>(std::move(faults));
}

std::vector<std::int16_t> FakeSpeech::word(int number, int milliseconds) {
    return std::vector<std::int16_t>(std::size_t(milliseconds) * recognizer::sampleRate / 1000,
                                     static_cast<std::int16_t>(number));
}

std::vector<std::int16_t> FakeSpeech::silence(int milliseconds) { return word(0, milliseconds); }

std::vector<std::int16_t> FakeSpeech::words(int first, int last) {
    std::vector<std::int16_t> sound;
    for (int number = first; number <= last; ++number) {
        for (const auto &part : {word(number), silence(50)})
            sound.insert(sound.end(), part.begin(), part.end());
    }
    return sound;
}

std::string FakeSpeech::text(int first, int last) {
    std::string text;
    for (int number = first; number <= last; ++number)
        text += (text.empty() ? "w" : " w") + std::to_string(number);
    return text;
}

} // namespace quillora::test
