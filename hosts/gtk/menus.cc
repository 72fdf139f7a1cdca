#include "hosts/gtk/menus.h"

#include <gio/gio.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "hosts/client/file_menu.h"
#include "hosts/client/finder_client.h"
#include "hosts/client/quietly.h"
#include "hosts/gtk/display.h"
#include "hosts/gtk/local_path.h"
#include "hosts/gtk/provider.h"
#include "platform/linux/glib_ptr.h"
#include KELVO_HOST_HEADER

namespace kelvo {

namespace {

// The provider that was asked last; a file manager makes one. Null once it has gone.
gpointer lastProvider = nullptr;

void Remember(host::MenuProvider* provider) {
  if (lastProvider == provider) return;
  if (lastProvider != nullptr) {
    g_object_remove_weak_pointer(static_cast<GObject*>(lastProvider), &lastProvider);
  }
  lastProvider = provider;
  g_object_add_weak_pointer(static_cast<GObject*>(lastProvider), &lastProvider);
}

// The line that an item stands for, as long as the item lives.
struct ItemLine {
  FileMenuPtr menu;
  std::size_t line;
};

void OnActivate(host::MenuItem*, gpointer data) {
  Quietly([data] {
    const ItemLine chosen = *static_cast<ItemLine*>(data);
    HostClient().Choose(*chosen.menu, chosen.menu->lines[chosen.line], ActivationToken());
  });
}

void OnItemGone(gpointer data, GClosure*) { delete static_cast<ItemLine*>(data); }

// Null if the file manager makes none.
host::MenuItem* NewItem(const FileMenuPtr& menu, std::size_t index, const std::string& name) {
  const FileMenuLine& line = menu->lines[index];
  const std::string title = ShownTitle(line.title, host::kMnemonics);
  auto data = std::make_unique<ItemLine>(ItemLine{menu, index});
  host::MenuItem* const item = host::NewMenuItem(name.c_str(), title.c_str(),
                                                 line.icon.empty() ? nullptr : line.icon.c_str());
  if (item == nullptr) return nullptr;
  g_signal_connect_data(item, "activate", G_CALLBACK(OnActivate), data.release(), OnItemGone,
                        static_cast<GConnectFlags>(0));
  if (!line.enabled) g_object_set(item, "sensitive", FALSE, nullptr);
  return item;
}

// Nothing, unless the extension has menus for every one of them.
std::vector<std::string> CoveredPaths(GList* files) {
  std::vector<std::string> paths;
  for (GList* file = files; file != nullptr; file = file->next) {
    const GObjectPtr<GFile> location(host::GetLocation(static_cast<host::FileInfo*>(file->data)));
    std::string path(LocalPath(location.get()));
    if (path.empty() || !HostClient().HasMenus(path)) return {};
    paths.push_back(std::move(path));
  }
  return paths;
}

GList* GetFileItems(host::MenuProvider* provider, GList* files) {
  GList* items = nullptr;
  Quietly([&] {
    Remember(provider);
    const FileMenuPtr menu = HostClient().MenuFor(CoveredPaths(files));
    if (!menu) return;
    const std::vector<std::string> names = UniqueNames(*menu);
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (menu->lines[i].separator) continue;  // not drawn here
      host::MenuItem* const item = NewItem(menu, i, names[i]);
      if (item != nullptr) items = g_list_prepend(items, item);
    }
  });
  return g_list_reverse(items);
}

void FillMenuProvider(gpointer interface, gpointer) {
  host::SetGetFileItems<GetFileItems>(static_cast<host::MenuProviderInterface*>(interface));
}

}  // namespace

void AddMenuInterface(GTypeModule* module, GType provider) {
  const GInterfaceInfo info = {FillMenuProvider, nullptr, nullptr};
  g_type_module_add_interface(module, provider, host::MenuProviderType(), &info);
}

void RefreshMenus() {
  if (lastProvider != nullptr) {
    host::EmitItemsUpdated(static_cast<host::MenuProvider*>(lastProvider));
  }
}

}  // namespace kelvo
