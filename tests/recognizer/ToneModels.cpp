#include "recognizer/ToneModels.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <numbers>
#include <random>
#include <stdexcept>

namespace quillora::test {

namespace {

std::string folder() { return QUILLORA_TONES; }

/// Frequencies in Hz.
const std::map<char, double> &tones() {
    static const auto all = [] {
        std::map<char, double> found;
        std::ifstream file(folder() + "/tones.txt");
        for (std::string line; std::getline(file, line);) {
            if (const auto tab = line.find('\t'); tab == 1)
                found[line[0]] = std::stod(line.substr(tab));
        }
        return found;
    }();
    return all;
}

class Sound {
public:
    explicit Sound(const ToneSpeech &speech) : m_speech(speech) {}

    void addSilence(double seconds) { m_samples.resize(m_samples.size() + count(seconds)); }

    /// With soft edges, or they would sound like the lowest tones.
    void addTone(double frequency) {
        const auto length = count(m_speech.letterLength);
        const double edge = 0.025 * m_speech.rate;
        for (std::size_t i = 0; i < length; ++i) {
            const double distance = std::min(1.0, static_cast<double>(std::min(i, length - 1 - i)) / edge);
            const double loudness = m_speech.amplitude * (0.5 - 0.5 * std::cos(std::numbers::pi * distance));
            m_samples.push_back(loudness * std::sin(2 * std::numbers::pi * frequency *
                                                    static_cast<double>(i) / m_speech.rate));
        }
    }

    std::vector<std::int16_t> samples() const {
        std::mt19937 random(7);
        std::normal_distribution<double> noise(0, m_speech.noise > 0 ? m_speech.noise : 1);
        std::vector<std::int16_t> all;
        for (const double sample : m_samples) {
            const double value = sample + (m_speech.noise > 0 ? noise(random) : 0);
            all.push_back(
                static_cast<std::int16_t>(std::clamp(std::round(value * 32767), -32768.0, 32767.0)));
        }
        return all;
    }

private:
    std::size_t count(double seconds) const { return static_cast<std::size_t>(seconds * m_speech.rate); }

    const ToneSpeech &m_speech;
    std::vector<double> m_samples;
};

} // namespace

std::string ToneModels::libraryFolder() { return QUILLORA_SPEECH_LIBRARY; }

recognizer::Open ToneModels::model(std::string_view name, std::string_view language) {
    const auto dash = name.find('-');
    const std::string decoding(name.substr(0, dash)), family(name.substr(dash + 1));
    const std::string begin = folder() + '/' + decoding + '-';
    recognizer::Open open{.engine = "sherpa", .parameters = {{"family", family}, {"decoding", decoding}}};
    if (!language.empty())
        open.parameters.push_back({"language", std::string(language)});
    if (const auto end = family.find("-transducer"); end != std::string::npos) {
        for (const char *part : {"-encoder.onnx", "-decoder.onnx", "-joiner.onnx"})
            open.files.push_back(begin + family.substr(0, end) + part);
    } else if (family == "whisper" || family == "canary") {
        for (const char *part : {"-encoder.onnx", "-decoder.onnx"})
            open.files.push_back(begin + family + part);
    } else {
        open.files.push_back(begin + family + ".onnx");
    }
    std::string tokens = "tokens";
    if (name == "streaming-nemo-transducer")
        tokens = "tokens-nemo-transducer";
    else if (family == "sense-voice" || family == "whisper" || family == "canary")
        tokens = "tokens-" + family;
    else if (family.starts_with("nemo"))
        tokens = "tokens-nothing-last";
    open.files.push_back(folder() + '/' + tokens + ".txt");
    return open;
}

recognizer::Open ToneModels::revisingModel() {
    auto open = model("offline-nemo-ctc");
    open.files.front() = folder() + "/offline-revising-ctc.onnx";
    return open;
}

recognizer::Open ToneModels::heavyModel() {
    auto open = model("streaming-zipformer-ctc");
    open.files.front() = QUILLORA_HEAVY_TONES;
    return open;
}

recognizer::Open ToneModels::spelled(recognizer::Open model, std::string_view alphabet) {
    model.files.back() = folder() + "/tokens-" + std::string(alphabet) + ".txt";
    return model;
}

recognizer::Open ToneModels::heavyOfflineModel() {
    auto open = model("offline-nemo-ctc");
    open.files.front() = QUILLORA_HEAVY_OFFLINE_TONES;
    return open;
}

std::string ToneModels::detectorFile() { return folder() + "/speech-detector.onnx"; }

recognizer::Open ToneModels::withDetector(recognizer::Open model) {
    model.files.push_back(detectorFile());
    model.parameters.push_back({"detector", detectorFile()});
    return model;
}

std::vector<std::int16_t> ToneSpeech::say(std::string_view words) const {
    Sound sound(*this);
    sound.addSilence(lead);
    for (const char letter : words) {
        if (letter == '|') {
            sound.addSilence(1);
            continue;
        }
        sound.addTone(tones().at(letter));
        sound.addSilence(letterLength);
    }
    sound.addSilence(tail);
    return sound.samples();
}

std::vector<std::int16_t> ToneSpeech::knock(int times) {
    const auto noise = ToneSpeech{.noise = 0.1, .lead = 0.3}.say({});
    std::vector<std::int16_t> sound;
    for (int i = 0; i < times; ++i) {
        sound.insert(sound.end(), noise.begin(), noise.end());
        sound.resize(sound.size() + recognizer::sampleRate / 10);
    }
    return sound;
}

} // namespace quillora::test
