#pragma once

#include "models/ModelNeed.h"
#include "platform/ModelStore.h"

#include <QString>

namespace quillora {

/// What a person reads of models. What is not known is called that, never guessed. Pure.
class ModelWords {
public:
    ModelWords() = delete;

    /// As in "14 MB".
    static QString bytes(qint64 bytes);

    /// As in "14 MB", "more than 14 MB" or "size not stated".
    static QString size(const DownloadSize &size);

    /// How well a model does, as in "Very good", and what it writes.
    static QString quality(const platform::ModelDescription &description);

    /// What the words for the quality stand on, as in "FLORES COMET x 100: 84.8, says the publisher.", and
    /// the memory that the model needs; empty if neither is stated.
    static QString measured(const platform::ModelDescription &description);

    /// What it asks of a computer, as in "Light"; empty if that is not known.
    static QString weight(const platform::ModelDescription &description);

    /// As in "From k2-fsa."
    static QString publisher(const platform::ModelDescription &description);

    /// What is not known of how to tell its files from others; empty if all is.
    static QString checksums(const platform::ModelDescription &description);

    /// Publisher, licence and checksums, as in "From k2-fsa. Licence: MIT. Checksum not stated."
    static QString origin(const platform::ModelDescription &description);

    /// What there is of it, or how far it is, as in "Downloading: 6 of 14 MB, 10 seconds left".
    static QString state(const platform::ModelState &state, const QString &offeredVersion);

    /// How things stand with a wish, as in "14 MB, by way of English" for what is missing.
    static QString standing(const ModelNeed &need);

    /// What of the catalogs cannot be used; empty if all of it can.
    static QString omissions(const QStringList &omissions);

    /// As in "Your models take 90 MB. 12 GB are free."
    static QString space(qint64 used, std::optional<qint64> free);
};

} // namespace quillora
