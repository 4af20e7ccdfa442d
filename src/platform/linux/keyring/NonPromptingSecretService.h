#pragma once

#include <libsecret/secret.h>

namespace quillora::platform {

/// The type of a connection to the Secret Service that dismisses every dialog the service wants to show
/// during an asynchronous call; what needed the dialog fails.
GType nonPromptingSecretServiceType();

} // namespace quillora::platform
