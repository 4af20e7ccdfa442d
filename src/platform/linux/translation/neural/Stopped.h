#pragma once

namespace quillora::neural {

/// Thrown where work was asked to stop.
struct Stopped {};

} // namespace quillora::neural
