#include "platform/linux/silent_secret_service.h"

namespace {

struct SilentSecretService {
  SecretService parent;
};
struct SilentSecretServiceClass {
  SecretServiceClass parent;
};

G_DEFINE_TYPE(SilentSecretService, silent_secret_service, SECRET_TYPE_SERVICE)

// The service waits for a prompt to be performed or dismissed; nobody waits for the answer.
void Dismiss(SecretPrompt* prompt) {
  g_dbus_proxy_call(G_DBUS_PROXY(prompt), "Dismiss", nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
                    nullptr, nullptr);
}

GError* NoPrompt() {
  return g_error_new_literal(SECRET_ERROR, SECRET_ERROR_IS_LOCKED, "the user would be asked");
}

GVariant* PromptSync(SecretService*, SecretPrompt* prompt, GCancellable*, const GVariantType*,
                     GError** error) {
  Dismiss(prompt);
  g_propagate_error(error, NoPrompt());
  return nullptr;
}

void PromptAsync(SecretService* self, SecretPrompt* prompt, const GVariantType*,
                 GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
  Dismiss(prompt);
  GTask* task = g_task_new(self, cancellable, callback, data);
  g_task_return_error(task, NoPrompt());
  g_object_unref(task);
}

GVariant* PromptFinish(SecretService*, GAsyncResult* result, GError** error) {
  return static_cast<GVariant*>(g_task_propagate_pointer(G_TASK(result), error));
}

void silent_secret_service_init(SilentSecretService*) {}

void silent_secret_service_class_init(SilentSecretServiceClass* type) {
  type->parent.prompt_sync = PromptSync;
  type->parent.prompt_async = PromptAsync;
  type->parent.prompt_finish = PromptFinish;
}

}  // namespace

namespace kelvo {

GType SilentSecretServiceType() { return silent_secret_service_get_type(); }

}  // namespace kelvo
