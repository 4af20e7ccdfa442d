#include "platform/linux/recognition/PocketSphinxData.h"
#include "platform/linux/recognition/SpeechResampler.h"
#include "recognizer/pocketsphinx/PocketSphinxDecoder.h"
#include "support/Recording.h"
#include "support/WordErrorRate.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::PocketSphinxData;
using recognizer::PocketSphinxDecoder;
using test::Recording;
using test::WordErrorRate;

namespace {

double milliseconds(const QElapsedTimer &timer) { return double(timer.nsecsElapsed()) / 1e6; }

/// A line of this process's status, in MiB.
double memory(const char *name) {
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(name))
            return line.mid(line.indexOf(':') + 1).trimmed().split(' ').first().toDouble() / 1024;
    }
    return 0;
}

PocketSphinxDecoder decoderWith(const PocketSphinxDecoder::Options &options) {
    const auto files = PocketSphinxData::findAll(PocketSphinxData::standardFolders()).at(0).model().files;
    return {files[0], files[1], files[2], options};
}

/// How long the end of one utterance takes and the whole of it, and how many words are wrong.
struct Measurement {
    double endMs = 0;
    double share = 0; ///< of the sound's own length
    WordErrorRate errors;
};

Measurement decode(PocketSphinxDecoder &decoder, const std::vector<qint16> &sound, const QString &spoken) {
    constexpr size_t chunk = 1024;
    Measurement measurement;
    QElapsedTimer whole;
    whole.start();
    decoder.beginUtterance();
    for (size_t begin = 0; begin < sound.size(); begin += chunk) {
        const auto from = sound.begin() + qsizetype(begin);
        decoder.accept({from, std::min(chunk, sound.size() - begin)});
        decoder.text();
    }
    QElapsedTimer end;
    end.start();
    decoder.endUtterance();
    const auto text = QString::fromStdString(decoder.text());
    measurement.endMs = milliseconds(end);
    measurement.share = milliseconds(whole) / (double(sound.size()) / 16);
    measurement.errors = WordErrorRate::of(text, spoken);
    return measurement;
}

void printOptions() {
    std::vector<qint16> all;
    for (const auto &recording : Recording::all()) {
        const auto sound = recording.sound().samples;
        all.insert(all.end(), sound.begin(), sound.end());
    }
    std::printf("passes after the end      word errors  end of 3-7 s  end of %2.0f s  real-time factor\n",
                2 * double(all.size()) / 16000);
    struct Row {
        const char *name;
        PocketSphinxDecoder::Options options;
    };
    for (const auto &row : {Row{"flat search, best path", {true, true}}, Row{"best path", {false, true}},
                            Row{"flat search", {true, false}}, Row{"none", {false, false}}}) {
        auto decoder = decoderWith(row.options);
        WordErrorRate total;
        double longestEnd = 0, share = 0;
        for (const auto &recording : Recording::all()) {
            const auto one = decode(decoder, recording.sound().samples, recording.spoken);
            total.errors += one.errors.errors;
            total.spokenWords += one.errors.spokenWords;
            longestEnd = std::max(longestEnd, one.endMs);
            share += one.share / double(Recording::all().size());
        }
        auto twice = all;
        twice.insert(twice.end(), all.begin(), all.end());
        const auto longOne = decode(decoder, twice, {});
        std::printf("%-24s  %8.1f %%  %9.0f ms  %8.0f ms  %16.3f\n", row.name, total.percent(), longestEnd,
                    longOne.endMs, share);
        std::fflush(stdout);
    }
}

void printLoading() {
    const double before = memory("VmRSS");
    QElapsedTimer timer;
    timer.start();
    const auto decoder = decoderWith({});
    std::printf("model: loaded in %.0f ms, %.0f MiB resident (%.0f MiB at most)\n", milliseconds(timer),
                memory("VmRSS") - before, memory("VmHWM"));
}

void printResampling() {
    platform::SpeechResampler resampler({48000, 2});
    const std::vector<qint16> second(2 * 48000, 1000);
    QElapsedTimer timer;
    timer.start();
    resampler.convert(second);
    std::printf("resampling: %.1f ms a second of 48 kHz stereo\n", milliseconds(timer));
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    printLoading();
    printResampling();
    printOptions();
}
