#include "platform/linux/sound/MicrophoneSwitch.h"

#include "platform/linux/GlibPointer.h"

namespace quillora::platform {

namespace {

constexpr auto key = "disable-microphone";

/// The library ends the program that asks for a schema or a key that is not installed.
bool isInstalled(const char *schema) {
    auto *source = g_settings_schema_source_get_default();
    const GlibPointer<GSettingsSchema> found(source ? g_settings_schema_source_lookup(source, schema, TRUE)
                                                    : nullptr);
    return found && g_settings_schema_has_key(found.get(), key);
}

} // namespace

MicrophoneSwitch::MicrophoneSwitch(const char *schema)
    : m_settings(GlibPointer<GSettings>(isInstalled(schema) ? g_settings_new(schema) : nullptr)) {}

bool MicrophoneSwitch::allowsRecording() const {
    return !m_settings || !g_settings_get_boolean(static_cast<GSettings *>(m_settings.get()), key);
}

} // namespace quillora::platform
