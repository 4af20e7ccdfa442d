#include "platform/Platform.h"

#include <QtGlobal>

namespace quillora::platform {

namespace {
Platform *installed = nullptr;
}

Platform::~Platform() = default;

Platform &Platform::current() {
    Q_ASSERT_X(installed, "Platform::current", "no platform is installed");
    return *installed;
}

Platform::Scope::Scope(Platform &platform) : m_previous(installed) { installed = &platform; }

Platform::Scope::~Scope() { installed = m_previous; }

} // namespace quillora::platform
