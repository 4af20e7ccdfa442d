#pragma once

#include "controller/AppController.h"

namespace quillora::test {

/// Calls back for as long as the controller lives whenever a published value was written, with its place
/// among all of them: they are in the order of their declaration.
template <typename Callback>
void onAnyChange(AppController &controller, const Callback &callback) {
    size_t place = 0;
    const auto connectAll = [&](auto... changed) {
        (QObject::connect(&controller, changed, &controller, [callback, own = place++] { callback(own); }),
         ...);
    };
    connectAll(&AppController::sourceLocaleIdentifierChanged, &AppController::targetLanguageIdentifierChanged,
               &AppController::translationEngineIdentifierChanged,
               &AppController::openAIEndpointStringChanged, &AppController::openAIClientTokenChanged,
               &AppController::isRecordingChanged, &AppController::isProcessingChanged,
               &AppController::statusTextChanged, &AppController::transcriptTextChanged,
               &AppController::translatedTextChanged, &AppController::hotKeyChanged,
               &AppController::isRecordingHotKeyChanged);
}

} // namespace quillora::test
