#pragma once

#include "fakes/FakePlatform.h"
#include "models/Models.h"
#include "support/ModelDescriptions.h"

namespace quillora::test {

/// How far a download is.
inline platform::ModelProgress received(qint64 bytes, std::optional<qint64> total = {}) {
    platform::ModelProgress progress;
    progress.step = platform::ModelProgress::Step::downloading;
    progress.receivedBytes = bytes;
    progress.totalBytes = total;
    return progress;
}

/// Puts some models into a platform's store, and lays the routes: German, French and Russian can be heard;
/// all three are translated from and to English, English to Russian by any of two.
inline void fillShelf(FakePlatform &platform) {
    using platform::ModelTask;
    constexpr qint64 mega = 1'000'000;
    for (const auto &[id, language, locale, size] :
         {std::tuple{u"kroko-de"_qs, u"de"_qs, u"de-DE"_qs, 71 * mega},
          std::tuple{u"kroko-fr"_qs, u"fr"_qs, u"fr-FR"_qs, 71 * mega},
          std::tuple{u"vosk-ru"_qs, u"ru"_qs, u"ru-RU"_qs, 29 * mega}}) {
        platform.models.offer(speechModel(id, language, size));
        platform.routes.offer(ModelTask::hearing(locale), {id});
    }
    for (const QString &language : {u"de"_qs, u"fr"_qs, u"ru"_qs}) {
        const QString to = u"en-"_qs + language + u"-tiny"_qs;
        const QString from = language + u"-en-tiny"_qs;
        platform.models.offer(translationModel(to, u"en"_qs, language, 14 * mega));
        platform.models.offer(translationModel(from, language, u"en"_qs, 16 * mega));
        QStringList choices{to};
        if (language == u"ru"_qs) {
            auto larger = translationModel(u"en-ru-base"_qs, u"en"_qs, u"ru"_qs, 33 * mega);
            larger.sizeClass = platform::ModelSizeClass::large;
            platform.models.offer(larger);
            choices += larger.id;
        }
        platform.routes.offer(ModelTask::translating(u"en"_qs, language), choices);
        platform.routes.offer(ModelTask::translating(language, u"en"_qs), {from});
    }
}

} // namespace quillora::test
