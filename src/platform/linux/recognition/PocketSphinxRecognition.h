#pragma once

#include "platform/SpeechRecognition.h"
#include "platform/linux/recognition/PocketSphinxData.h"
#include "platform/linux/recognition/RecognitionThread.h"
#include "platform/linux/sound/MicrophoneSwitch.h"
#include "platform/linux/sound/PulseConnection.h"

#include <QStringList>

#include <memory>
#include <vector>

namespace quillora::platform {

/// Speech recognition out of the distribution's packages: PocketSphinx and its en-US data. Texts come in
/// lower case and without punctuation.
///
/// The model is loaded in the background from the construction on and stays loaded. Destroying the object
/// ends every recognition with an error. The installed platform's main queue must outlive it.
class PocketSphinxRecognition : public SpeechRecognition {
public:
    /// The data is looked for in `folders`, in that order.
    explicit PocketSphinxRecognition(std::shared_ptr<PulseConnection> sound,
                                     QStringList folders = PocketSphinxData::standardFolders());
    ~PocketSphinxRecognition() override;

    void requestAuthorization(std::function<void(SpeechAuthorizationStatus)> reply) override;

    /// Comes once the sound server has answered, or after 500 ms. Denied if the user has switched the
    /// microphone off for applications. Granted even where there is no server: that shows as an input format
    /// without channels.
    void requestMicrophoneAccess(std::function<void(bool granted)> reply) override;

    QStringList supportedLocales() const override;
    std::unique_ptr<SpeechRecognizer> makeRecognizer(const QString &localeIdentifier) override;
    std::shared_ptr<AudioBufferRecognitionRequest> makeBufferRequest() override;
    std::unique_ptr<AudioEngine> makeAudioEngine() override;

private:
    using Replies = std::vector<std::function<void(bool)>>;

    bool isModelLoaded() const;
    void load(const PocketSphinxData &data);
    void reloadChangedData();

    const std::shared_ptr<PulseConnection> m_sound;
    const QStringList m_folders;
    const MicrophoneSwitch m_microphoneSwitch;
    const std::shared_ptr<Replies> m_accessReplies = std::make_shared<Replies>();
    std::vector<PocketSphinxData::FileState> m_loadedFrom;
    std::shared_ptr<RecognitionThread> m_thread; ///< none until there is data
};

} // namespace quillora::platform
