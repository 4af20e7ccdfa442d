#pragma once

namespace quillora::platform {

/// How a run of the program came about.
enum class Start {
    byUser,
    atLogin ///< by the desktop; nobody has asked for anything yet
};

} // namespace quillora::platform
