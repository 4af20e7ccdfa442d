#pragma once

#include "platform/ModelStore.h"
#include "platform/linux/recognition/RecognizerModel.h"

#include <QString>

#include <optional>

namespace quillora::platform {

using namespace Qt::StringLiterals;

/// The name of the engine in descriptions of models.
inline const QString sherpaEngine = u"sherpa"_s;

/// Whether the engine's library lies beside the recognizer's program, and its models can be loaded.
bool hasSherpaLibrary(const std::string &program);

/// What the recognizer's process is told of a model whose files lie in `folder`, to hear a language such as
/// "de". Publishers name their files each in their own way, and leave others beside them: of several that
/// could be meant the quantised one is taken. None if a file is not there, or the model is of a kind that is
/// not known.
std::optional<RecognizerModel> sherpaModel(const ModelDescription &model, const QString &folder,
                                           const QString &language);

/// The same model with the network that tells speech from pauses for it, whose file lies in `folder`. None if
/// it is not there.
std::optional<RecognizerModel> withDetector(RecognizerModel model, const QString &folder);

} // namespace quillora::platform
