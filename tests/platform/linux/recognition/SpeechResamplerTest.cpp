#include "platform/linux/recognition/SpeechResampler.h"

#include <QTest>

#include <cmath>
#include <numbers>

using namespace Qt::StringLiterals;

using quillora::platform::AudioFormat;
using quillora::platform::SpeechResampler;

namespace {

constexpr double amplitude = 10000;

std::vector<qint16> tone(double frequency, const AudioFormat &format, double seconds) {
    std::vector<qint16> samples;
    for (int frame = 0; frame < int(seconds * format.sampleRate); ++frame) {
        const double angle = 2 * std::numbers::pi * frequency * frame / format.sampleRate;
        samples.insert(samples.end(), format.channelCount, qint16(std::lround(amplitude * std::sin(angle))));
    }
    return samples;
}

std::vector<qint16> converted(const std::vector<qint16> &samples, const AudioFormat &format) {
    SpeechResampler resampler(format);
    auto output = resampler.convert(samples);
    const auto rest = resampler.finish();
    output.insert(output.end(), rest.begin(), rest.end());
    return output;
}

/// The largest difference from the same tone made at 16 kHz, the first and last 10 ms left out.
double error(const std::vector<qint16> &output, double frequency) {
    double largest = 0;
    for (size_t i = 160; i + 160 < output.size(); ++i) {
        const double angle = 2 * std::numbers::pi * frequency * double(i) / SpeechResampler::outputRate;
        largest = std::max(largest, std::abs(output[i] - amplitude * std::sin(angle)));
    }
    return largest;
}

/// The amplitude of one frequency in 16 kHz sound.
double strength(const std::vector<qint16> &output, double frequency) {
    double sine = 0, cosine = 0;
    for (size_t i = 0; i < output.size(); ++i) {
        const double angle = 2 * std::numbers::pi * frequency * double(i) / SpeechResampler::outputRate;
        sine += output[i] * std::sin(angle);
        cosine += output[i] * std::cos(angle);
    }
    return 2 * std::hypot(sine, cosine) / double(output.size());
}

} // namespace

class SpeechResamplerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aToneStaysThatTone_data() {
        QTest::addColumn<double>("rate");
        QTest::addColumn<quint32>("channels");
        for (const int rate : {11025, 16000, 22050, 32000, 44100, 44101, 48000, 96000, 192000}) {
            for (const quint32 channels : {1U, 2U, 6U})
                QTest::addRow("%d Hz, %u channels", rate, channels) << double(rate) << channels;
        }
    }
    void aToneStaysThatTone() {
        QFETCH(double, rate);
        QFETCH(quint32, channels);
        const AudioFormat format{rate, channels};
        for (const double frequency : {100.0, 1000.0, 3000.0}) {
            const auto output = converted(tone(frequency, format, 0.5), format);
            QVERIFY(std::abs(qsizetype(output.size()) - 8000) <= 1);
            QVERIFY2(error(output, frequency) < 0.01 * amplitude,
                     qPrintable(u"%1 Hz is off by %2"_s.arg(frequency).arg(error(output, frequency))));
        }
    }

    void whatTheOutputCannotHoldIsFilteredOut() {
        const AudioFormat format{48000, 1};
        const auto output = converted(tone(12000, format, 0.5), format);
        for (size_t i = 160; i + 160 < output.size(); ++i)
            QVERIFY(std::abs(output[i]) < 0.01 * amplitude);
    }

    void theEmptyBandOfATelephoneIsFilledFaintly() {
        const AudioFormat format{8000, 1};
        const auto output = converted(tone(1000, format, 0.5), format);
        QCOMPARE(output.size(), size_t{8000});
        QVERIFY(std::abs(strength(output, 1000) - amplitude) < 0.02 * amplitude);
        QVERIFY(std::abs(strength(output, 7000) - 0.2 * amplitude) < 0.02 * amplitude);
        QVERIFY(strength(output, 5000) < 0.01 * amplitude);
    }

    void soundAtTheRightRateIsLeftAsItIs() {
        const AudioFormat format{16000, 1};
        const auto samples = tone(440, format, 0.1);
        QCOMPARE(converted(samples, format), samples);
    }

    void oneLiveChannelOfManyIsAsGoodAsAlone() {
        const auto alone = tone(440, {48000, 1}, 0.3);
        std::vector<qint16> samples(18 * alone.size(), 0);
        for (size_t frame = 0; frame < alone.size(); ++frame)
            samples[18 * frame + 7] = alone[frame];
        QCOMPARE(converted(samples, {48000, 18}), converted(alone, {48000, 1}));
    }

    void theSidesOfAStereoMicrophoneAreAveraged() {
        const AudioFormat format{16000, 2};
        std::vector<qint16> samples;
        for (int frame = 0; frame < 100; ++frame) {
            samples.push_back(32767);
            samples.push_back(-32767);
        }
        QCOMPARE(converted(samples, format), std::vector<qint16>(100, 0));
    }

    void howTheSoundIsCutIntoBuffersDoesNotMatter() {
        const AudioFormat format{44100, 2};
        const auto samples = tone(700, format, 0.3);
        SpeechResampler resampler(format);
        std::vector<qint16> output;
        size_t begin = 0;
        for (size_t frames = 1; begin < samples.size(); frames = frames * 3 % 1021) {
            const size_t end = std::min(samples.size(), begin + 2 * frames);
            const auto part =
                resampler.convert({samples.begin() + qsizetype(begin), samples.begin() + qsizetype(end)});
            output.insert(output.end(), part.begin(), part.end());
            begin = end;
        }
        const auto rest = resampler.finish();
        output.insert(output.end(), rest.begin(), rest.end());
        QCOMPARE(output, converted(samples, format));
    }

    void fullScaleDoesNotWrapAround() {
        const AudioFormat format{48000, 1};
        std::vector<qint16> samples;
        for (int frame = 0; frame < 4800; ++frame)
            samples.push_back(frame / 100 % 2 ? 32767 : -32768);
        const auto output = converted(samples, format);
        // In the middle of each half wave the sign is that of the input.
        for (size_t halfWave = 1; halfWave < 47; ++halfWave) {
            const auto sample = output[(halfWave * 100 + 50) / 3];
            QVERIFY(halfWave % 2 ? sample > 20000 : sample < -20000);
        }
    }
};

QTEST_APPLESS_MAIN(SpeechResamplerTest)
#include "SpeechResamplerTest.moc"
