// Nautilus under the names that the provider uses.
#pragma once

#include <gio/gio.h>

extern "C" {  // the header forgets it for the module's functions
#include <nautilus-extension.h>
}

#include "hosts/client/menu_source.h"

#define KELVO_HOST_MODULE_INITIALIZE nautilus_module_initialize
#define KELVO_HOST_MODULE_SHUTDOWN nautilus_module_shutdown
#define KELVO_HOST_MODULE_LIST_TYPES nautilus_module_list_types

namespace kelvo::host {

using ColumnProvider = NautilusColumnProvider;
using ColumnProviderInterface = NautilusColumnProviderInterface;
using FileInfo = NautilusFileInfo;
using InfoProvider = NautilusInfoProvider;
using InfoProviderInterface = NautilusInfoProviderInterface;
using MenuItem = NautilusMenuItem;
using MenuProvider = NautilusMenuProvider;
using MenuProviderInterface = NautilusMenuProviderInterface;
using OperationHandle = NautilusOperationHandle;
using OperationResult = NautilusOperationResult;

inline constexpr OperationResult kComplete = NAUTILUS_OPERATION_COMPLETE;
inline constexpr char kTypeName[] = "KelvoNautilusProvider";

// It asks when the selection changes.
inline constexpr MenuWaiting kMenuWaiting = MenuWaiting::kNever;
inline constexpr bool kMnemonics = true;

inline GType ColumnProviderType() { return NAUTILUS_TYPE_COLUMN_PROVIDER; }
inline GType InfoProviderType() { return NAUTILUS_TYPE_INFO_PROVIDER; }
inline GType MenuProviderType() { return NAUTILUS_TYPE_MENU_PROVIDER; }

inline GFile* GetLocation(FileInfo* file) { return nautilus_file_info_get_location(file); }

inline void AddEmblem(FileInfo* file, const char* name) {
  nautilus_file_info_add_emblem(file, name);
}

inline void AddStringAttribute(FileInfo* file, const char* attribute, const char* value) {
  nautilus_file_info_add_string_attribute(file, attribute, value);
}

// The object that the file manager has of the location, or null; makes none.
inline FileInfo* LookupFile(GFile* location) { return nautilus_file_info_lookup(location); }

inline void Invalidate(FileInfo* file) { nautilus_file_info_invalidate_extension_info(file); }

template <auto kGetFileItems>
inline void SetGetFileItems(MenuProviderInterface* provider) {
  provider->get_file_items = kGetFileItems;
}

// `icon`: null for none. Of all texts only that may be missing.
inline MenuItem* NewMenuItem(const char* name, const char* title, const char* icon) {
  return nautilus_menu_item_new(name, title, "", icon);
}

inline gpointer NewColumn(const char* name, const char* attribute, const char* label,
                          const char* description) {
  return nautilus_column_new(name, attribute, label, description);
}

inline void EmitItemsUpdated(MenuProvider* provider) {
  nautilus_menu_provider_emit_items_updated_signal(provider);
}

inline void AddInterfaces(GTypeModule*, GType) {}

}  // namespace kelvo::host
