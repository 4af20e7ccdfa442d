#pragma once

#include <QByteArray>

namespace quillora::platform {

/// Does all that has to do with the environment, and gives the identifier under which the desktop knows this
/// start, empty if it knows none. To be called before the application object is made: the toolkit eats the
/// identifier, and the environment must not change any more once there are other threads.
QByteArray readLaunchEnvironment();

} // namespace quillora::platform
