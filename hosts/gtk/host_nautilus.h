// Nautilus under the names that the provider uses.
#pragma once

#include <gio/gio.h>

extern "C" {  // the header forgets it for the module's functions
#include <nautilus-extension.h>
}

#define KELVO_HOST_MODULE_INITIALIZE nautilus_module_initialize
#define KELVO_HOST_MODULE_SHUTDOWN nautilus_module_shutdown
#define KELVO_HOST_MODULE_LIST_TYPES nautilus_module_list_types

namespace kelvo::host {

using FileInfo = NautilusFileInfo;
using InfoProvider = NautilusInfoProvider;
using InfoProviderInterface = NautilusInfoProviderInterface;
using OperationHandle = NautilusOperationHandle;
using OperationResult = NautilusOperationResult;

inline constexpr OperationResult kComplete = NAUTILUS_OPERATION_COMPLETE;
inline constexpr char kTypeName[] = "KelvoNautilusProvider";

inline GType InfoProviderType() { return NAUTILUS_TYPE_INFO_PROVIDER; }

inline GFile* GetLocation(FileInfo* file) { return nautilus_file_info_get_location(file); }

inline void AddEmblem(FileInfo* file, const char* name) {
  nautilus_file_info_add_emblem(file, name);
}

// The object that the file manager has of the location, or null; makes none.
inline FileInfo* LookupFile(GFile* location) { return nautilus_file_info_lookup(location); }

inline void Invalidate(FileInfo* file) { nautilus_file_info_invalidate_extension_info(file); }

inline void AddInterfaces(GTypeModule*, GType) {}

}  // namespace kelvo::host
