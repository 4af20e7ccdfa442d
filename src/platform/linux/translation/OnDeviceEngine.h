#pragma once

#include "platform/Translators.h"

namespace quillora::platform {

/// One way of translating on this computer. Main thread only.
class OnDeviceEngine {
public:
    virtual ~OnDeviceEngine() = default;

    /// A session for the pair, or none where this engine cannot serve it now. Never waits.
    virtual std::shared_ptr<TranslationSession> session(const QString &source, const QString &target) = 0;

    /// See `Translators`.
    virtual void warm(const QString &source, const QString &target) = 0;
};

} // namespace quillora::platform
