#include "platform/linux/keyring/NonPromptingSecretService.h"

#include "platform/linux/GlibPointer.h"

namespace quillora::platform {

namespace {

GError *refusal() {
    return g_error_new_literal(G_IO_ERROR, G_IO_ERROR_PERMISSION_DENIED, "The keyring may not ask now.");
}

void dismiss(SecretPrompt *prompt) {
    g_dbus_proxy_call(G_DBUS_PROXY(prompt), "Dismiss", nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr,
                      nullptr, nullptr);
}

void promptAsync(SecretService *service, SecretPrompt *prompt, const GVariantType *,
                 GCancellable *cancellable, GAsyncReadyCallback callback, gpointer userData) {
    dismiss(prompt);
    const GlibPointer<GTask> task(g_task_new(service, cancellable, callback, userData));
    g_task_return_error(task.get(), refusal());
}

GVariant *promptFinish(SecretService *, GAsyncResult *result, GError **error) {
    return static_cast<GVariant *>(g_task_propagate_pointer(G_TASK(result), error));
}

void initialiseClass(gpointer type, gpointer) {
    auto *service = static_cast<SecretServiceClass *>(type);
    service->prompt_async = &promptAsync;
    service->prompt_finish = &promptFinish;
}

} // namespace

GType nonPromptingSecretServiceType() {
    static const GType type = g_type_register_static_simple(
        SECRET_TYPE_SERVICE, "QuilloraNonPromptingSecretService", sizeof(SecretServiceClass),
        &initialiseClass, sizeof(SecretService), nullptr, G_TYPE_FLAG_NONE);
    return type;
}

} // namespace quillora::platform
