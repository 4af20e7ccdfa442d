#include "translation/TranslationEngine.h"

using namespace Qt::StringLiterals;

namespace quillora {

QString rawValue(TranslationEngine engine) {
    switch (engine) {
    case TranslationEngine::appleLocal:
        return u"appleLocal"_s;
    case TranslationEngine::openAINatural:
        return u"openAINatural"_s;
    }
    Q_UNREACHABLE();
}

QString name(TranslationEngine engine) {
    switch (engine) {
    case TranslationEngine::appleLocal:
        return u"Apple Local"_s;
    case TranslationEngine::openAINatural:
        return u"OpenAI Natural"_s;
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
