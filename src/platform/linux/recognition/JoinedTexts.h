#pragma once

#include <QString>

namespace quillora::platform {

/// Two texts that follow one another as one: with a blank between them, or none where the writing of either
/// has none between words, as Chinese, Japanese and Thai.
QString joinTexts(const QString &first, const QString &second);

} // namespace quillora::platform
