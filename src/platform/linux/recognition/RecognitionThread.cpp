#include "platform/linux/recognition/RecognitionThread.h"

#include "platform/linux/recognition/SpeechResampler.h"

#include <csignal>
#include <pthread.h>
#include <utility>

namespace quillora::platform {

namespace {

LocalizedError ended() { return LocalizedError(u"Speech recognition was ended."_qs); }

} // namespace

RecognitionThread::RecognitionThread(const PocketSphinxData &data) : m_dataToLoad(data) {
    m_thread = std::thread([this] { run(); });
}

RecognitionThread::~RecognitionThread() {
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
        for (const auto &job : m_jobs)
            job->abort();
    }
    m_changed.notify_all();
    m_thread.join();
}

void RecognitionThread::reload(const PocketSphinxData &data) {
    {
        const std::lock_guard lock(m_mutex);
        m_modelState = ModelState::loading;
        m_dataToLoad = data;
    }
    m_changed.notify_all();
}

void RecognitionThread::recognize(std::shared_ptr<RecognitionJob> job) {
    {
        const std::lock_guard lock(m_mutex);
        m_jobs.push_back(std::move(job));
    }
    m_changed.notify_all();
}

void RecognitionThread::run() {
    // Signals are the main thread's business.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    pthread_setname_np(pthread_self(), "recognition");

    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_isEnding || m_dataToLoad || !m_jobs.empty(); });
        if (m_dataToLoad && !m_isEnding) {
            const auto data = *std::exchange(m_dataToLoad, std::nullopt);
            lock.unlock();
            load(data);
            lock.lock();
        } else if (!m_jobs.empty()) {
            auto job = m_jobs.front();
            lock.unlock();
            perform(*job);
            lock.lock();
            m_jobs.pop_front();
        } else if (m_isEnding) {
            return;
        }
    }
}

void RecognitionThread::load(const PocketSphinxData &data) {
    m_modelState = ModelState::loading;
    m_data = data;
    m_decoder.reset();
    try {
        m_decoder = std::make_unique<PocketSphinxDecoder>(data, PocketSphinxDecoder::Options{});
        m_modelState = ModelState::ready;
    } catch (const std::exception &) {
        m_modelState = ModelState::failed;
    }
}

void RecognitionThread::perform(RecognitionJob &job) {
    if (job.sound().isCancelled()) {
        job.report(ended());
        return;
    }
    if (!m_decoder) {
        job.report(LocalizedError(u"The speech model could not be loaded."_qs));
        return;
    }
    try {
        listen(job);
    } catch (const LocalizedError &error) {
        job.report(error);
        load(m_data);
    }
}

void RecognitionThread::listen(RecognitionJob &job) {
    m_decoder->beginUtterance();
    std::optional<SpeechResampler> resampler;
    QString text;
    const auto hear = [&](const std::vector<qint16> &samples) {
        if (samples.empty() || job.sound().isCancelled())
            return;
        m_decoder->accept(samples);
        const QString heard = m_decoder->text();
        if (std::exchange(text, heard) != heard)
            job.report(RecognitionResult{heard, false});
    };

    bool isLast = false;
    while (!isLast) {
        const auto portion = job.sound().take();
        if (!portion)
            break;
        for (const AudioBuffer &buffer : portion->buffers) {
            if (buffer.format.channelCount == 0)
                continue;
            if (!resampler || resampler->inputFormat() != buffer.format)
                resampler.emplace(buffer.format);
            hear(resampler->convert(buffer.samples));
        }
        isLast = portion->isLast;
    }
    if (isLast && resampler)
        hear(resampler->finish());
    m_decoder->endUtterance();

    if (job.sound().isCancelled())
        job.report(ended());
    else
        job.report(RecognitionResult{m_decoder->text(), true});
}

} // namespace quillora::platform
