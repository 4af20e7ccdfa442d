#pragma once

#include "platform/SpeechRecognizers.h"
#include "platform/linux/recognition/PocketSphinxData.h"
#include "platform/linux/recognition/RecognizerClient.h"
#include "platform/linux/sound/CaptureDrain.h"

#include <QStringList>

#include <memory>
#include <string>
#include <vector>

namespace quillora::platform {

/// Speech recognition out of the distribution's packages: PocketSphinx and its en-US data, in a process of
/// its own. Texts come in lower case and without punctuation.
///
/// The model is loaded in the background once it is asked for. Destroying the object ends every recognition
/// with an error.
class PocketSphinxRecognizers : public SpeechRecognizers {
public:
    /// Audio ends once `drain` lets it. `program` is the recognizer's. The data is looked for in `folders`,
    /// in that order; what does not work does not hide what does.
    PocketSphinxRecognizers(std::shared_ptr<CaptureDrain> drain, std::string program,
                            QStringList folders = PocketSphinxData::standardFolders());

    QStringList supportedLocales() const override;
    void prepare(const QString &localeIdentifier) override;
    std::unique_ptr<SpeechRecognizer> makeRecognizer(const QString &localeIdentifier) override;

    /// Whether it is among the supported locales. Looks for the data of no other.
    bool hears(const QString &localeIdentifier) const;

    /// All that there is for the locale, the best first.
    std::vector<RecognizerModel> models(const QString &localeIdentifier) const;

private:
    bool isModelLoaded() const;
    void loadChangedData();

    const std::shared_ptr<CaptureDrain> m_drain;
    const std::string m_program;
    const QStringList m_folders;
    std::vector<std::vector<PocketSphinxData::FileState>> m_loadedFrom;
    std::shared_ptr<RecognizerClient> m_client; ///< none until there is data
};

} // namespace quillora::platform
