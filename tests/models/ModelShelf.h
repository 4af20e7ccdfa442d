#pragma once

#include "fakes/FakePlatform.h"
#include "models/Models.h"
#include "support/ModelDescriptions.h"

namespace quillora::test {

using namespace Qt::StringLiterals;

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
         {std::tuple{u"kroko-de"_s, u"de"_s, u"de-DE"_s, 71 * mega},
          std::tuple{u"kroko-fr"_s, u"fr"_s, u"fr-FR"_s, 71 * mega},
          std::tuple{u"vosk-ru"_s, u"ru"_s, u"ru-RU"_s, 29 * mega}}) {
        platform.models.offer(speechModel(id, language, size));
        platform.routes.offer(ModelTask::hearing(locale), {id});
    }
    for (const QString &language : {u"de"_s, u"fr"_s, u"ru"_s}) {
        const QString to = u"en-"_s + language + u"-tiny"_s;
        const QString from = language + u"-en-tiny"_s;
        platform.models.offer(translationModel(to, u"en"_s, language, 14 * mega));
        platform.models.offer(translationModel(from, language, u"en"_s, 16 * mega));
        QStringList choices{to};
        if (language == u"ru"_s) {
            auto larger = translationModel(u"en-ru-base"_s, u"en"_s, u"ru"_s, 33 * mega);
            larger.sizeClass = platform::ModelSizeClass::large;
            platform.models.offer(larger);
            choices += larger.id;
        }
        platform.routes.offer(ModelTask::translating(u"en"_s, language), choices);
        platform.routes.offer(ModelTask::translating(language, u"en"_s), {from});
    }
}

/// Puts a model there as well that tells speech from pauses.
inline void fillShelfWithVoiceActivity(FakePlatform &platform) {
    fillShelf(platform);
    platform.models.offer(voiceActivityModel(u"silero-vad"_s));
    platform.routes.offer(platform::ModelTask::tellingPauses(), {u"silero-vad"_s});
}

} // namespace quillora::test
