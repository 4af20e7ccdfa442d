#pragma once

#include "platform/ModelStore.h"
#include "platform/ModelVersion.h"

namespace quillora::platform {

/// Whether an engine has rejected what an installation would bring, and nobody has begun one since.
inline bool isRejected(const ModelStore &store, const QString &id) {
    const ModelState state = store.state(id);
    const auto offered = store.description(id);
    return state.presence == ModelState::Presence::unfit && !state.progress && !state.isPaused &&
           !state.hasFailed && !(offered && isNewer(offered->version, state.version));
}

} // namespace quillora::platform
