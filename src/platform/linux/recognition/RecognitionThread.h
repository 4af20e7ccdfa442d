#pragma once

#include "platform/linux/recognition/PocketSphinxData.h"
#include "platform/linux/recognition/PocketSphinxDecoder.h"
#include "platform/linux/recognition/RecognitionJob.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace quillora::platform {

/// The thread that loads the model, keeps it loaded and recognizes one utterance after the other. Any thread.
class RecognitionThread {
public:
    enum class ModelState { loading, ready, failed };

    /// Begins to load the model.
    explicit RecognitionThread(const PocketSphinxData &data);

    /// Ends what is under way with an error, then joins: at once, or when a model that is being loaded has
    /// been read.
    ~RecognitionThread();
    RecognitionThread(const RecognitionThread &) = delete;
    RecognitionThread &operator=(const RecognitionThread &) = delete;

    ModelState modelState() const { return m_modelState; }

    /// Tries again to load the model.
    void reload(const PocketSphinxData &data);

    /// The job's turn comes when all earlier ones have ended and the model is loaded.
    void recognize(std::shared_ptr<RecognitionJob> job);

private:
    void run();
    void load(const PocketSphinxData &data);
    void perform(RecognitionJob &job);
    void listen(RecognitionJob &job);

    std::atomic<ModelState> m_modelState = ModelState::loading;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::optional<PocketSphinxData> m_dataToLoad;
    std::deque<std::shared_ptr<RecognitionJob>> m_jobs; ///< the one under way stays at the front
    bool m_isEnding = false;

    // Of the recognition thread.
    PocketSphinxData m_data; ///< what the decoder was loaded from
    std::unique_ptr<PocketSphinxDecoder> m_decoder;

    std::thread m_thread;
};

} // namespace quillora::platform
