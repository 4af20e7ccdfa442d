#include "recognizer/sherpa/SherpaLibrary.h"

#include "recognizer/Decoder.h"
#include "recognizer/protocol/SherpaFiles.h"

#include <dlfcn.h>
#include <string_view>

namespace quillora::recognizer {

namespace {

constexpr std::string_view version = "1.13.8";

class Symbols {
public:
    /// The library stays until the process ends: what it once started does not let go of it.
    explicit Symbols(const std::string &file) : m_library(::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        if (!m_library)
            throw LoadFailure{Refusal::incompatible};
    }

    template <typename Function>
    void find(Function *&function, const char *name) const {
        function = reinterpret_cast<Function *>(::dlsym(m_library, name));
        if (!function)
            throw LoadFailure{Refusal::incompatible};
    }

private:
    void *const m_library;
};

} // namespace

std::vector<std::string> SherpaLibrary::files(const std::string &folder) {
    std::vector<std::string> files;
    files.reserve(sherpaLibraryFiles.size());
    for (const char *name : sherpaLibraryFiles)
        files.push_back(folder + '/' + name);
    return files;
}

SherpaLibrary::SherpaLibrary(const std::string &folder) {
    const Symbols symbols(files(folder).front());
    const char *(*versionOfLibrary)() = nullptr;
    symbols.find(versionOfLibrary, "SherpaOnnxGetVersionStr");
    if (versionOfLibrary() != version)
        throw LoadFailure{Refusal::incompatible};

    symbols.find(online.create, "SherpaOnnxCreateOnlineRecognizer");
    symbols.find(online.destroy, "SherpaOnnxDestroyOnlineRecognizer");
    symbols.find(online.createStream, "SherpaOnnxCreateOnlineStream");
    symbols.find(online.destroyStream, "SherpaOnnxDestroyOnlineStream");
    symbols.find(online.setOption, "SherpaOnnxOnlineStreamSetOption");
    symbols.find(online.accept, "SherpaOnnxOnlineStreamAcceptWaveform");
    symbols.find(online.finish, "SherpaOnnxOnlineStreamInputFinished");
    symbols.find(online.isReady, "SherpaOnnxIsOnlineStreamReady");
    symbols.find(online.decode, "SherpaOnnxDecodeOnlineStream");
    symbols.find(online.result, "SherpaOnnxGetOnlineStreamResult");
    symbols.find(online.destroyResult, "SherpaOnnxDestroyOnlineRecognizerResult");

    symbols.find(offline.create, "SherpaOnnxCreateOfflineRecognizer");
    symbols.find(offline.destroy, "SherpaOnnxDestroyOfflineRecognizer");
    symbols.find(offline.createStream, "SherpaOnnxCreateOfflineStream");
    symbols.find(offline.destroyStream, "SherpaOnnxDestroyOfflineStream");
    symbols.find(offline.accept, "SherpaOnnxAcceptWaveformOffline");
    symbols.find(offline.decode, "SherpaOnnxDecodeOfflineStream");
    symbols.find(offline.result, "SherpaOnnxGetOfflineStreamResult");
    symbols.find(offline.destroyResult, "SherpaOnnxDestroyOfflineRecognizerResult");

    symbols.find(detector.create, "SherpaOnnxCreateVoiceActivityDetector");
    symbols.find(detector.destroy, "SherpaOnnxDestroyVoiceActivityDetector");
    symbols.find(detector.accept, "SherpaOnnxVoiceActivityDetectorAcceptWaveform");
    symbols.find(detector.hearsSpeech, "SherpaOnnxVoiceActivityDetectorDetected");
    symbols.find(detector.dropSegments, "SherpaOnnxVoiceActivityDetectorClear");
    symbols.find(detector.reset, "SherpaOnnxVoiceActivityDetectorReset");
}

} // namespace quillora::recognizer
