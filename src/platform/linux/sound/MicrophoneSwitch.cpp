#include "platform/linux/sound/MicrophoneSwitch.h"

#include <gio/gio.h>

namespace quillora::platform {

namespace {

constexpr auto key = "disable-microphone";

/// The library ends the program that asks for a schema or a key that is not installed.
bool isInstalled(const char *schema) {
    auto *source = g_settings_schema_source_get_default();
    auto *found = source ? g_settings_schema_source_lookup(source, schema, TRUE) : nullptr;
    if (!found)
        return false;
    const bool hasKey = g_settings_schema_has_key(found, key);
    g_settings_schema_unref(found);
    return hasKey;
}

} // namespace

MicrophoneSwitch::MicrophoneSwitch(const char *schema)
    : m_settings(isInstalled(schema) ? g_settings_new(schema) : nullptr, [](void *settings) {
          if (settings)
              g_object_unref(settings);
      }) {}

bool MicrophoneSwitch::allowsRecording() const {
    return !m_settings || !g_settings_get_boolean(static_cast<GSettings *>(m_settings.get()), key);
}

} // namespace quillora::platform
