#pragma once

#include <gio/gio.h>

#include <memory>

namespace quillora::platform {

struct GlibRelease {
    void operator()(GError *error) const { g_error_free(error); }
    void operator()(GHashTable *table) const { g_hash_table_unref(table); }
    void operator()(GMainContext *context) const { g_main_context_unref(context); }
    void operator()(GSettingsSchema *schema) const { g_settings_schema_unref(schema); }
    template <typename Object>
    void operator()(Object *object) const {
        g_object_unref(object);
    }
};

/// Owns one reference to something of GLib's.
template <typename T>
using GlibPointer = std::unique_ptr<T, GlibRelease>;

} // namespace quillora::platform
