// What a file manager finds in the plug-in by name.
#include "hosts/client/quietly.h"
#include "hosts/gtk/provider.h"
#include KELVO_HOST_HEADER

#define KELVO_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

GType providerType = G_TYPE_INVALID;

}  // namespace

KELVO_EXPORT void KELVO_HOST_MODULE_INITIALIZE(GTypeModule* module) {
  kelvo::Quietly([module] {
    providerType = kelvo::RegisterProvider(module);
    kelvo::AddIconSearchPath();
  });
}

KELVO_EXPORT void KELVO_HOST_MODULE_SHUTDOWN(void) {}

KELVO_EXPORT void KELVO_HOST_MODULE_LIST_TYPES(const GType** types, int* count) {
  *types = &providerType;
  *count = 1;
}
