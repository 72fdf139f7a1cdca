// Nemo under the names that the provider uses.
#pragma once

#include <libnemo-extension/nemo-column-provider.h>
#include <libnemo-extension/nemo-column.h>
#include <libnemo-extension/nemo-extension-types.h>
#include <libnemo-extension/nemo-file-info.h>
#include <libnemo-extension/nemo-info-provider.h>
#include <libnemo-extension/nemo-menu-provider.h>
#include <libnemo-extension/nemo-menu.h>
#include <libnemo-extension/nemo-name-and-desc-provider.h>

#include "hosts/client/menu_source.h"

#define KELVO_HOST_MODULE_INITIALIZE nemo_module_initialize
#define KELVO_HOST_MODULE_SHUTDOWN nemo_module_shutdown
#define KELVO_HOST_MODULE_LIST_TYPES nemo_module_list_types

namespace kelvo::host {

using ColumnProvider = NemoColumnProvider;
using ColumnProviderInterface = NemoColumnProviderInterface;
using FileInfo = NemoFileInfo;
using InfoProvider = NemoInfoProvider;
using InfoProviderInterface = NemoInfoProviderIface;
using MenuItem = NemoMenuItem;
using MenuProvider = NemoMenuProvider;
using MenuProviderInterface = NemoMenuProviderIface;
using OperationHandle = NemoOperationHandle;
using OperationResult = NemoOperationResult;

inline constexpr OperationResult kComplete = NEMO_OPERATION_COMPLETE;
inline constexpr char kTypeName[] = "KelvoNemoProvider";

// It asks when the menu pops up, and again when a line is chosen.
inline constexpr MenuWaiting kMenuWaiting = MenuWaiting::kShortly;
inline constexpr bool kMnemonics = true;

inline GType ColumnProviderType() { return NEMO_TYPE_COLUMN_PROVIDER; }
inline GType InfoProviderType() { return NEMO_TYPE_INFO_PROVIDER; }
inline GType MenuProviderType() { return NEMO_TYPE_MENU_PROVIDER; }

inline GFile* GetLocation(FileInfo* file) { return nemo_file_info_get_location(file); }

inline void AddEmblem(FileInfo* file, const char* name) { nemo_file_info_add_emblem(file, name); }

inline void AddStringAttribute(FileInfo* file, const char* attribute, const char* value) {
  nemo_file_info_add_string_attribute(file, attribute, value);
}

// The object that the file manager has of the location, or null; makes none.
inline FileInfo* LookupFile(GFile* location) { return nemo_file_info_lookup(location); }

inline void Invalidate(FileInfo* file) { nemo_file_info_invalidate_extension_info(file); }

// The window is of no use here.
template <auto kGetFileItems>
inline void SetGetFileItems(MenuProviderInterface* provider) {
  provider->get_file_items = [](MenuProvider* self, GtkWidget*, GList* files) {
    return kGetFileItems(self, files);
  };
}

// `icon`: null for none. Of all texts only that may be missing.
inline MenuItem* NewMenuItem(const char* name, const char* title, const char* icon) {
  return nemo_menu_item_new(name, title, "", icon);
}

inline gpointer NewColumn(const char* name, const char* attribute, const char* label,
                          const char* description) {
  return nemo_column_new(name, attribute, label, description);
}

inline void EmitItemsUpdated(MenuProvider* provider) {
  nemo_menu_provider_emit_items_updated_signal(provider);
}

// What Nemo shows beside the check box of the extension.
inline GList* NameAndDescription(NemoNameAndDescProvider*) {
  return g_list_append(
      nullptr,
      g_strdup(
          "Kelvo Finder Sync:::Shows the sync status of files and offers what to do with them"));
}

inline void FillNameAndDescription(gpointer interface, gpointer) {
  static_cast<NemoNameAndDescProviderIface*>(interface)->get_name_and_desc = NameAndDescription;
}

inline void AddInterfaces(GTypeModule* module, GType provider) {
  const GInterfaceInfo info = {FillNameAndDescription, nullptr, nullptr};
  g_type_module_add_interface(module, provider, NEMO_TYPE_NAME_AND_DESC_PROVIDER, &info);
}

}  // namespace kelvo::host
