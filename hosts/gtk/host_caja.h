// Caja under the names that the provider uses.
#pragma once

#include <libcaja-extension/caja-extension-types.h>
#include <libcaja-extension/caja-file-info.h>
#include <libcaja-extension/caja-info-provider.h>

#define KELVO_HOST_MODULE_INITIALIZE caja_module_initialize
#define KELVO_HOST_MODULE_SHUTDOWN caja_module_shutdown
#define KELVO_HOST_MODULE_LIST_TYPES caja_module_list_types

namespace kelvo::host {

using FileInfo = CajaFileInfo;
using InfoProvider = CajaInfoProvider;
using InfoProviderInterface = CajaInfoProviderIface;
using OperationHandle = CajaOperationHandle;
using OperationResult = CajaOperationResult;

inline constexpr OperationResult kComplete = CAJA_OPERATION_COMPLETE;
inline constexpr char kTypeName[] = "KelvoCajaProvider";

inline GType InfoProviderType() { return CAJA_TYPE_INFO_PROVIDER; }

inline GFile* GetLocation(FileInfo* file) { return caja_file_info_get_location(file); }

inline void AddEmblem(FileInfo* file, const char* name) { caja_file_info_add_emblem(file, name); }

// The object that the file manager has of the location, or null; makes none.
inline FileInfo* LookupFile(GFile* location) { return caja_file_info_lookup(location); }

inline void Invalidate(FileInfo* file) { caja_file_info_invalidate_extension_info(file); }

inline void AddInterfaces(GTypeModule*, GType) {}

}  // namespace kelvo::host
