#pragma once

#include "recognizer/sherpa/SherpaInterface.h"

#include <string>
#include <vector>

namespace quillora::recognizer {

/// The functions of sherpa-onnx, out of the two files that come with the program. They may throw, and where
/// the library cannot go on it ends the process.
struct SherpaLibrary {
    /// The files that are looked for in `folder`.
    static std::vector<std::string> files(const std::string &folder);

    /// Throws LoadFailure where they are not there, or of another version than the one whose interface is
    /// known.
    explicit SherpaLibrary(const std::string &folder);

    struct {
        const sherpa::OnlineRecognizer *(*create)(const sherpa::OnlineConfiguration *);
        void (*destroy)(const sherpa::OnlineRecognizer *);
        const sherpa::OnlineStream *(*createStream)(const sherpa::OnlineRecognizer *);
        void (*destroyStream)(const sherpa::OnlineStream *);
        void (*setOption)(const sherpa::OnlineStream *, sherpa::Text name, sherpa::Text value);
        void (*accept)(const sherpa::OnlineStream *, std::int32_t rate, const float *samples,
                       std::int32_t count);
        void (*finish)(const sherpa::OnlineStream *);
        std::int32_t (*isReady)(const sherpa::OnlineRecognizer *, const sherpa::OnlineStream *);
        void (*decode)(const sherpa::OnlineRecognizer *, const sherpa::OnlineStream *);
        const sherpa::Result *(*result)(const sherpa::OnlineRecognizer *, const sherpa::OnlineStream *);
        void (*destroyResult)(const sherpa::Result *);
    } online;

    struct {
        const sherpa::OfflineRecognizer *(*create)(const sherpa::OfflineConfiguration *);
        void (*destroy)(const sherpa::OfflineRecognizer *);
        const sherpa::OfflineStream *(*createStream)(const sherpa::OfflineRecognizer *);
        void (*destroyStream)(const sherpa::OfflineStream *);
        void (*accept)(const sherpa::OfflineStream *, std::int32_t rate, const float *samples,
                       std::int32_t count);
        void (*decode)(const sherpa::OfflineRecognizer *, const sherpa::OfflineStream *);
        const sherpa::Result *(*result)(const sherpa::OfflineStream *);
        void (*destroyResult)(const sherpa::Result *);
    } offline;

    struct {
        const sherpa::SpeechDetector *(*create)(const sherpa::SpeechDetectorConfiguration *,
                                                float bufferSeconds);
        void (*destroy)(const sherpa::SpeechDetector *);
        void (*accept)(const sherpa::SpeechDetector *, const float *samples, std::int32_t count);
        std::int32_t (*hearsSpeech)(const sherpa::SpeechDetector *);
        void (*dropSegments)(const sherpa::SpeechDetector *);
        void (*reset)(const sherpa::SpeechDetector *);
    } detector;
};

} // namespace quillora::recognizer
