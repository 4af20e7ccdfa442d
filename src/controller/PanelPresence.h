#pragma once

namespace quillora {

/// Whether the user has the panel before him.
enum class PanelPresence {
    closed,
    inBackground, ///< open, while he is in another window
    active
};

} // namespace quillora
