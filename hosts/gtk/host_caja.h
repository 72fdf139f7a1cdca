// Caja under the names that the provider uses.
#pragma once

#include <libcaja-extension/caja-column-provider.h>
#include <libcaja-extension/caja-column.h>
#include <libcaja-extension/caja-extension-types.h>
#include <libcaja-extension/caja-file-info.h>
#include <libcaja-extension/caja-info-provider.h>
#include <libcaja-extension/caja-menu-provider.h>
#include <libcaja-extension/caja-menu.h>

#include "hosts/client/menu_source.h"

#define KELVO_HOST_MODULE_INITIALIZE caja_module_initialize
#define KELVO_HOST_MODULE_SHUTDOWN caja_module_shutdown
#define KELVO_HOST_MODULE_LIST_TYPES caja_module_list_types

namespace kelvo::host {

using ColumnProvider = CajaColumnProvider;
using ColumnProviderInterface = CajaColumnProviderIface;
using FileInfo = CajaFileInfo;
using InfoProvider = CajaInfoProvider;
using InfoProviderInterface = CajaInfoProviderIface;
using MenuItem = CajaMenuItem;
using MenuProvider = CajaMenuProvider;
using MenuProviderInterface = CajaMenuProviderIface;
using OperationHandle = CajaOperationHandle;
using OperationResult = CajaOperationResult;

inline constexpr OperationResult kComplete = CAJA_OPERATION_COMPLETE;
inline constexpr char kTypeName[] = "KelvoCajaProvider";

// It asks when the selection changes, and again when a line is chosen.
inline constexpr MenuWaiting kMenuWaiting = MenuWaiting::kNever;
inline constexpr bool kMnemonics = true;

inline GType ColumnProviderType() { return CAJA_TYPE_COLUMN_PROVIDER; }
inline GType InfoProviderType() { return CAJA_TYPE_INFO_PROVIDER; }
inline GType MenuProviderType() { return CAJA_TYPE_MENU_PROVIDER; }

inline GFile* GetLocation(FileInfo* file) { return caja_file_info_get_location(file); }

inline void AddEmblem(FileInfo* file, const char* name) { caja_file_info_add_emblem(file, name); }

inline void AddStringAttribute(FileInfo* file, const char* attribute, const char* value) {
  caja_file_info_add_string_attribute(file, attribute, value);
}

// The object that the file manager has of the location, or null; makes none.
inline FileInfo* LookupFile(GFile* location) { return caja_file_info_lookup(location); }

inline void Invalidate(FileInfo* file) { caja_file_info_invalidate_extension_info(file); }

// The window is of no use here.
template <auto kGetFileItems>
inline void SetGetFileItems(MenuProviderInterface* provider) {
  provider->get_file_items = [](MenuProvider* self, GtkWidget*, GList* files) {
    return kGetFileItems(self, files);
  };
}

// `icon`: null for none. Of all texts only that may be missing.
inline MenuItem* NewMenuItem(const char* name, const char* title, const char* icon) {
  return caja_menu_item_new(name, title, "", icon);
}

inline gpointer NewColumn(const char* name, const char* attribute, const char* label,
                          const char* description) {
  return caja_column_new(name, attribute, label, description);
}

inline void EmitItemsUpdated(MenuProvider* provider) {
  caja_menu_provider_emit_items_updated_signal(provider);
}

inline void AddInterfaces(GTypeModule*, GType) {}

}  // namespace kelvo::host
