#include "platform/linux/recognition/ChannelMix.h"

#include <QTest>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

using quillora::platform::ChannelMix;

namespace {

constexpr int rate = 48000;
constexpr int perMillisecond = rate / 1000;

using Channel = std::vector<qint16>;

Channel tone(double frequency, double amplitude, int milliseconds) {
    Channel samples;
    for (int i = 0; i < milliseconds * perMillisecond; ++i)
        samples.push_back(
            qint16(std::lround(amplitude * std::sin(2 * std::numbers::pi * frequency * i / rate))));
    return samples;
}

Channel silence(int milliseconds) { return Channel(size_t(milliseconds * perMillisecond), 0); }

/// White noise, as loud as a tone of this amplitude.
Channel hiss(double amplitude, int milliseconds, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::normal_distribution<> sample(0, amplitude / std::numbers::sqrt2);
    Channel samples;
    for (int i = 0; i < milliseconds * perMillisecond; ++i)
        samples.push_back(qint16(std::lround(sample(random))));
    return samples;
}

Channel operator+(Channel first, const Channel &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::vector<float> mixed(const std::vector<Channel> &channels) {
    ChannelMix mix(rate, channels.size());
    std::vector<float> output;
    Channel frame(channels.size());
    for (size_t i = 0; i < channels.front().size(); ++i) {
        for (size_t channel = 0; channel < channels.size(); ++channel)
            frame[channel] = channels[channel][i];
        output.push_back(mix.mix(frame.data()));
    }
    return output;
}

/// The amplitude of a tone in a part of the sound.
double strength(const std::vector<float> &output, double frequency, int fromMs, int toMs) {
    double sine = 0, cosine = 0;
    for (int i = fromMs * perMillisecond; i < toMs * perMillisecond; ++i) {
        const double angle = 2 * std::numbers::pi * frequency * i / rate;
        sine += output[size_t(i)] * std::sin(angle);
        cosine += output[size_t(i)] * std::cos(angle);
    }
    return 2 * std::hypot(sine, cosine) / ((toMs - fromMs) * perMillisecond);
}

/// The smallest amplitude of a tone of 1 kHz in any 5 ms of a part of the sound.
double weakest(const std::vector<float> &output, int fromMs, int toMs) {
    double smallest = 32768;
    for (int ms = fromMs; ms + 5 <= toMs; ms += 5)
        smallest = std::min(smallest, strength(output, 1000, ms, ms + 5));
    return smallest;
}

double decibel(double ratio) { return 20 * std::log10(ratio); }

#define VERIFY_AT_LEAST(value, limit)                                                                        \
    QVERIFY2((value) >= (limit), qPrintable(QStringLiteral("%1, not %2").arg(value).arg(limit)))

} // namespace

class ChannelMixTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void oneChannelIsLeftAsItIs() {
        const auto voice = hiss(3000, 50);
        QCOMPARE(mixed({voice}), std::vector<float>(voice.begin(), voice.end()));
    }

    void amongSilentChannelsAVoiceIsHeardAsIfAlone_data() { channelCounts(); }
    void amongSilentChannelsAVoiceIsHeardAsIfAlone() {
        QFETCH(int, channels);
        for (int live : {0, channels - 1}) {
            std::vector<Channel> microphone(size_t(channels), silence(500));
            const auto voice = hiss(3000, 500);
            microphone[size_t(live)] = voice;
            QCOMPARE(mixed(microphone), std::vector<float>(voice.begin(), voice.end()));
        }
    }

    void amongChannelsThatHissAVoiceKeepsItsLevel_data() { channelCounts(); }
    void amongChannelsThatHissAVoiceKeepsItsLevel() {
        QFETCH(int, channels);
        struct Case {
            double hissDecibel, lossDecibel;
        };
        for (const auto [hissDecibel, lossDecibel] :
             {Case{-60, 0.001}, Case{-40, 0.01}, Case{-30, 0.05}, Case{-20, 4}}) {
            std::vector<Channel> microphone;
            for (int i = 0; i < channels; ++i)
                microphone.push_back(hiss(8000 * std::pow(10, hissDecibel / 20), 1300, unsigned(i)));
            microphone.front() = silence(500) + tone(1000, 8000, 800);
            const auto output = mixed(microphone);
            VERIFY_AT_LEAST(decibel(strength(output, 1000, 600, 1300) / 8000), -lossDecibel);
            // Nor does it take long to get there.
            VERIFY_AT_LEAST(decibel(weakest(output, 530, 1300) / 8000), -lossDecibel - 6);
        }
    }

    void theHissOfOtherChannelsIsNotAddedToAVoice() {
        std::vector<Channel> microphone(18);
        for (unsigned i = 0; i < 18; ++i)
            microphone[i] = hiss(300, 1000, i);
        microphone[3] = tone(1000, 8000, 1000);
        const auto output = mixed(microphone);
        const double level = strength(output, 1000, 500, 1000);
        double power = 0;
        for (size_t i = 500 * perMillisecond; i < output.size(); ++i)
            power += output[i] * output[i];
        const double noise = power / (500 * perMillisecond) - level * level / 2;
        const double oneChannel = 300 * 300 / 2.;
        QVERIFY2(noise < 0.01 * oneChannel, qPrintable(QString::number(noise / oneChannel)));
    }

    void inAPauseTheChannelsThatHissAreAveraged() {
        std::vector<Channel> microphone;
        for (unsigned i = 0; i < 8; ++i)
            microphone.push_back(hiss(300, 1000, i));
        const auto output = mixed(microphone);
        for (size_t i = 100 * perMillisecond; i < output.size(); ++i) {
            float sum = 0;
            for (const auto &channel : microphone)
                sum += channel[i];
            QCOMPARE(output[i], sum / 8);
        }
    }

    void aStereoMicrophoneIsAveraged() {
        // The talker stands to the left; each side has a sound of its own besides.
        const auto left = hiss(4000, 1000, 1), right = hiss(2000, 1000, 2);
        const auto output = mixed({left, right});
        for (size_t i = 10 * perMillisecond; i < output.size(); ++i)
            QCOMPARE(output[i], float(left[i] + right[i]) / 2);
    }

    void twoTalkersAtOnceAreBothHeard() {
        for (const double other : {8000, 4000, 2600}) {
            const auto output = mixed({tone(1000, 8000, 1000), tone(700, other, 1000)});
            VERIFY_AT_LEAST(strength(output, 1000, 0, 1000), 0.49 * 8000);
            VERIFY_AT_LEAST(strength(output, 700, 0, 1000), 0.49 * other);
        }
    }

    void whoSpeaksNextIsHeardAtOnce_data() { channelCounts(); }
    void whoSpeaksNextIsHeardAtOnce() {
        QFETCH(int, channels);
        for (const double level : {8000, 4000, 16000}) {
            std::vector<Channel> microphone;
            for (int i = 0; i < channels; ++i)
                microphone.push_back(hiss(8, 3000, unsigned(i)));
            microphone.front() = tone(1000, 8000, 1000) + hiss(8, 2000);
            microphone.back() = hiss(8, 1000) + tone(1000, level, 2000);
            const auto output = mixed(microphone);
            VERIFY_AT_LEAST(weakest(output, 0, 1000), 0.98 * 8000);
            VERIFY_AT_LEAST(weakest(output, 1010, 1020), 0.35 * level);
            VERIFY_AT_LEAST(weakest(output, 1020, 3000), 0.48 * level);
            VERIFY_AT_LEAST(weakest(output, 2900, 3000), 0.98 * level);
        }
    }

    void nothingIsSwitchedWhenAnotherSpeaks() {
        const auto output = mixed({tone(200, 8000, 500) + silence(500), silence(500) + tone(300, 8000, 500)});
        const double steepest = 8000 * 2 * std::numbers::pi * 300 / rate;
        for (size_t i = 1; i < output.size(); ++i)
            QVERIFY(std::abs(output[i] - output[i - 1]) < 1.5 * steepest);
    }

    void aClickElsewhereDoesNotDrownAVoice() {
        const auto output =
            mixed({tone(1000, 4000, 1000), silence(500) + Channel(perMillisecond, 32767) + silence(499)});
        VERIFY_AT_LEAST(weakest(output, 0, 500), 0.98 * 4000);
        VERIFY_AT_LEAST(weakest(output, 505, 1000), 0.48 * 4000);
    }

    void afterAnUproarElsewhereAVoiceIsSoonBack() {
        const auto output = mixed({tone(1000, 4000, 3000), silence(500) + hiss(20000, 100) + silence(2400)});
        VERIFY_AT_LEAST(weakest(output, 1000, 3000), 0.48 * 4000);
        VERIFY_AT_LEAST(weakest(output, 2800, 3000), 0.97 * 4000);
    }

    void aDirectCurrentElsewhereDoesNotDrownAVoice() {
        const auto output = mixed({tone(1000, 1000, 1000), Channel(1000 * perMillisecond, 8000)});
        VERIFY_AT_LEAST(weakest(output, 500, 1000), 0.48 * 1000);
    }

    void humElsewhereDoesNotDrownAVoice() {
        const auto output = mixed({tone(1000, 1000, 1000), tone(50, 8000, 1000)});
        VERIFY_AT_LEAST(strength(output, 1000, 500, 1000), 0.48 * 1000);
    }

    void theLoudestSoundDoesNotOverflow() {
        const Channel loudest(100 * perMillisecond, -32768);
        for (const float sample : mixed(std::vector<Channel>(18, loudest)))
            QCOMPARE(sample, -32768.0F);
    }

private:
    static void channelCounts() {
        QTest::addColumn<int>("channels");
        for (const int channels : {2, 4, 8, 18})
            QTest::addRow("%d channels", channels) << channels;
    }
};

QTEST_APPLESS_MAIN(ChannelMixTest)
#include "ChannelMixTest.moc"
