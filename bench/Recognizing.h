#pragma once

#include "platform/linux/recognition/PocketSphinxData.h"
#include "platform/linux/recognition/RecognizerClient.h"
#include "support/ProcessTree.h"
#include "support/Recording.h"

#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <ctime>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

/// What the measurements of recognition in a process of its own have in common.
namespace quillora::bench {

using Samples = std::vector<qint16>;

constexpr size_t bufferFrames = 341; // of 16 kHz, as long as 1024 of 48 kHz

inline double milliseconds(const QElapsedTimer &timer) { return double(timer.nsecsElapsed()) / 1e6; }

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

inline bool isEachGoalMet = true;

/// In words, beside the figure.
inline QByteArray beside(double goal, double figure) {
    if (std::isnan(figure))
        return "(goal " + QByteArray::number(goal) + ": only root may measure that)";
    isEachGoalMet = isEachGoalMet && figure <= goal;
    return "(goal " + QByteArray::number(goal) + (figure <= goal ? ")" : ": MISSED)");
}

/// Proportional set size in MiB; not a number where this user may not look, as only root may at the
/// recognizer.
inline double memoryOf(qint64 process) {
    QFile rollup(QStringLiteral("/proc/%1/smaps_rollup").arg(process));
    if (!rollup.open(QIODevice::ReadOnly))
        return std::nan("");
    for (const QByteArray &line : rollup.readAll().split('\n')) {
        if (line.startsWith("Pss:"))
            return line.mid(4).trimmed().split(' ').first().toDouble() / 1024;
    }
    return std::nan("");
}

inline qint64 recognizerProcess() {
    const auto processes = test::ProcessTree::descendants();
    return processes.isEmpty() ? 0 : processes.first().id;
}

/// Processor time in seconds of this program and of the recognizer, which runs.
inline double timeOfBoth() {
    const auto timeOf = [](qint64 process) {
        clockid_t clock{};
        timespec time{};
        if (::clock_getcpuclockid(pid_t(process), &clock) != 0 || ::clock_gettime(clock, &time) != 0)
            qFatal("there is no such process");
        return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
    };
    return timeOf(::getpid()) + timeOf(recognizerProcess());
}

inline Samples allRecordings(QString *spoken = nullptr) {
    Samples all;
    for (const auto &recording : test::Recording::all()) {
        const auto sound = recording.sound().samples;
        all.insert(all.end(), sound.begin(), sound.end());
        if (spoken)
            *spoken += recording.spoken + u' ';
    }
    return all;
}

inline std::vector<Samples> inBuffers(const Samples &sound) {
    std::vector<Samples> buffers;
    for (size_t begin = 0; begin < sound.size(); begin += bufferFrames) {
        const auto end = std::min(begin + bufferFrames, sound.size());
        buffers.emplace_back(sound.begin() + qsizetype(begin), sound.begin() + qsizetype(end));
    }
    return buffers;
}

/// Calls `hear` with each buffer when a microphone would have delivered it, until it `isEnough`: where
/// several wait, they are decoded together.
inline void pace(
    const Samples &sound, const std::function<void(Samples)> &hear,
    const std::function<bool()> &isEnough = [] { return false; }) {
    const auto begin = std::chrono::steady_clock::now();
    size_t end = 0;
    for (auto &buffer : inBuffers(sound)) {
        end += buffer.size();
        std::this_thread::sleep_until(begin +
                                      std::chrono::microseconds(end * 1'000'000 / recognizer::sampleRate));
        if (isEnough())
            break;
        hear(std::move(buffer));
    }
}

inline platform::RecognizerModel pocketSphinxModel() {
    return platform::PocketSphinxData::findAll(platform::PocketSphinxData::standardFolders()).at(0).model();
}

/// One dictation through the client; waits for its texts.
class Dictating {
public:
    /// Called with each text as it comes, on the client's thread.
    using Observer = std::function<void(const QString &)>;

    explicit Dictating(platform::RecognizerClient &client, Observer observer = [](const QString &) {}) {
        m_job = client.recognize(
            [told = m_told, observer = std::move(observer)](const auto &result, const auto &error) {
                const std::lock_guard lock(told->mutex);
                if (result)
                    told->text = result->text;
                if (error)
                    qFatal("%s", qUtf8Printable(error->errorDescription()));
                observer(told->text);
                told->isFinal = result->isFinal;
                ++told->texts;
                told->changed.notify_all();
            });
    }
    void hear(Samples samples) { m_job->sound().add({{16000, 1}, std::move(samples)}); }
    QString end() {
        m_job->sound().end();
        std::unique_lock lock(m_told->mutex);
        m_told->changed.wait(lock, [this] { return m_told->isFinal; });
        return m_told->text;
    }
    /// Until nothing more comes of what was heard.
    void waitForQuiet() {
        std::unique_lock lock(m_told->mutex);
        for (int known = -1; known != m_told->texts;) {
            known = m_told->texts;
            m_told->changed.wait_for(lock, std::chrono::seconds(1), [&] { return m_told->texts != known; });
        }
    }
    int texts() const {
        const std::lock_guard lock(m_told->mutex);
        return m_told->texts;
    }

private:
    struct Told {
        std::mutex mutex;
        std::condition_variable changed;
        QString text;
        bool isFinal = false;
        int texts = 0;
    };
    std::shared_ptr<Told> m_told = std::make_shared<Told>();
    std::shared_ptr<platform::RecognitionJob> m_job;
};

/// Waits until the model is there.
inline std::unique_ptr<platform::RecognizerClient> loadedClient(const platform::RecognizerModel &model) {
    auto client = std::make_unique<platform::RecognizerClient>(QUILLORA_RECOGNIZER);
    client->load({model});
    Dictating(*client).end();
    return client;
}

} // namespace quillora::bench
