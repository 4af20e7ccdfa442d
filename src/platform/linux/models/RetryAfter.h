#pragma once

#include <QByteArray>
#include <QDateTime>

#include <chrono>

namespace quillora::platform {

/// How long a server asks to be left alone, by what it sends as "Retry-After": a number of seconds, or a date
/// in any of the three forms that HTTP has had for it. Nothing where it is neither, or in the past.
std::chrono::milliseconds retryAfter(const QByteArray &value, const QDateTime &now);

} // namespace quillora::platform
