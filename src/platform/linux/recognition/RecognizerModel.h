#pragma once

#include "recognizer/protocol/Messages.h"

#include <QString>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace quillora::platform {

/// Whether the files of a model are what they should be; the worse the greater.
enum class ModelJudgement {
    right,   ///< those of a known version
    unknown, ///< of a version that is not known
    wrong,   ///< should be a known version's, but differ from them
};

/// What they are judged by.
enum class ModelCheck { sizes, checksums };

/// What a recognizer's process loads.
struct RecognizerModel {
    std::string engine;
    std::vector<std::string> files; ///< in the engine's order

    using IsUnwanted = std::function<bool()>;

    /// Called on the recognizer's thread. Sizes take no time. Checksums may, but not once the judgement
    /// `isUnwanted`: what is returned is of no interest then.
    std::function<ModelJudgement(ModelCheck check, const IsUnwanted &isUnwanted)> judge =
        [](ModelCheck, const IsUnwanted &) { return ModelJudgement::unknown; };

    // NOLINTNEXTLINE(readability-redundant-member-init): so that they may be left out
    std::vector<recognizer::Parameter> parameters = {}; ///< for the engine

    /// What decoding may take at once, besides as long as the sound lasts that the engine is given.
    std::chrono::milliseconds longestDecoding{};

    /// If set, the model is tried once, when it is loaded and nobody dictates: called on the recognizer's
    /// thread with how long decoding two seconds of sound takes.
    // NOLINTNEXTLINE(readability-redundant-member-init): so that it may be left out
    std::function<void(std::chrono::milliseconds)> tried = {};

    /// Called on the recognizer's thread where the model turns out not to be of use; the reason is a
    /// sentence.
    std::function<void(const QString &reason)> reject = [](const QString &) {};

    /// Called on the recognizer's thread where the model could not be loaded, or not gone on with, and that
    /// need not be its fault: its files are worth a look.
    std::function<void()> doubt = [] {};

    /// Called on the recognizer's thread where there was no process that could have loaded it.
    std::function<void()> noProcess = [] {};
};

} // namespace quillora::platform
