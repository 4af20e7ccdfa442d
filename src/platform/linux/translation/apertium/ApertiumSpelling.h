#pragma once

#include <QString>

namespace quillora::platform {

/// The passage as the engine must have it to understand it, in the language with this code: a recognizer
/// writes everything small, but the engine knows the English pronoun by its capital alone.
QString spelledForApertium(QString passage, const QString &language);

/// A translation of `passage`, into the language with this code, without the engine's marks of style: the
/// space that it leaves of a word that it drops, and the capital with which it begins now and then, where
/// that can be told from the word's own.
QString spelledLikePassage(QString translation, const QString &passage, const QString &language);

} // namespace quillora::platform
