#pragma once

#include "platform/SpeechRecognizers.h"
#include "platform/linux/recognition/PocketSphinxData.h"
#include "platform/linux/recognition/RecognitionThread.h"
#include "platform/linux/sound/CaptureDrain.h"

#include <QStringList>

#include <memory>
#include <vector>

namespace quillora::platform {

/// Speech recognition out of the distribution's packages: PocketSphinx and its en-US data. Texts come in
/// lower case and without punctuation.
///
/// The model is loaded in the background from the construction on and stays loaded. Destroying the object
/// ends every recognition with an error.
class PocketSphinxRecognizers : public SpeechRecognizers {
public:
    /// Audio ends once `drain` lets it. The data is looked for in `folders`, in that order.
    explicit PocketSphinxRecognizers(std::shared_ptr<CaptureDrain> drain,
                                     QStringList folders = PocketSphinxData::standardFolders());

    QStringList supportedLocales() const override;
    std::unique_ptr<SpeechRecognizer> makeRecognizer(const QString &localeIdentifier) override;

private:
    bool isModelLoaded() const;
    void load(const PocketSphinxData &data);
    void reloadChangedData();

    const std::shared_ptr<CaptureDrain> m_drain;
    const QStringList m_folders;
    std::vector<PocketSphinxData::FileState> m_loadedFrom;
    std::shared_ptr<RecognitionThread> m_thread; ///< none until there is data
};

} // namespace quillora::platform
