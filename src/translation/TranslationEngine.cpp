#include "translation/TranslationEngine.h"

namespace quillora {

QString rawValue(TranslationEngine engine) {
    switch (engine) {
    case TranslationEngine::appleLocal:
        return u"appleLocal"_qs;
    case TranslationEngine::openAINatural:
        return u"openAINatural"_qs;
    }
    Q_UNREACHABLE();
}

QString name(TranslationEngine engine) {
    switch (engine) {
    case TranslationEngine::appleLocal:
        return u"Apple Local"_qs;
    case TranslationEngine::openAINatural:
        return u"OpenAI Natural"_qs;
    }
    Q_UNREACHABLE();
}

std::optional<TranslationEngine> translationEngineFromRawValue(const QString &value) {
    for (const auto engine : allTranslationEngines) {
        if (rawValue(engine) == value)
            return engine;
    }
    return {};
}

} // namespace quillora
