#pragma once

#include <QString>

#include <array>
#include <optional>

namespace quillora {

/// What translates: the platform on this machine, or the hosted backend.
enum class TranslationEngine { appleLocal, openAINatural };

/// All engines, in the order in which they are offered.
inline constexpr std::array allTranslationEngines{TranslationEngine::appleLocal,
                                                  TranslationEngine::openAINatural};

/// The engine's identity, as the settings store it.
QString rawValue(TranslationEngine engine);

/// The name shown to the user.
QString name(TranslationEngine engine);

/// Exact and case-sensitive; nothing for any other string.
std::optional<TranslationEngine> translationEngineFromRawValue(const QString &rawValue);

} // namespace quillora
