#include "hosts/gtk/provider.h"

#include <gio/gio.h>

#include <string>
#include <string_view>

#include "hosts/client/finder_client.h"
#include "hosts/client/quietly.h"
#include "hosts/client/watched_directories.h"
#include "hosts/gtk/columns.h"
#include "hosts/gtk/display.h"
#include "hosts/gtk/local_path.h"
#include "hosts/gtk/menus.h"
#include "platform/linux/glib_ptr.h"
#include KELVO_HOST_HEADER

namespace kelvo {

namespace {

void OnBadgeChanged(const std::string& folder, const std::string& name) {
  const GObjectPtr<GFile> location(g_file_new_for_path(JoinPath(folder, name).c_str()));
  const GObjectPtr<host::FileInfo> file(host::LookupFile(location.get()));
  if (file) host::Invalidate(file.get());
}

void OnFileObjectGone(gpointer item) { HostClient().Release(static_cast<BadgeStore::Item*>(item)); }

// Ties the item to the life of the file manager's object, without a reference to that.
void Follow(host::FileInfo* file, BadgeStore::Item* item) {
  static const GQuark quark = g_quark_from_static_string("kelvo-badge-item");
  GObject* object = G_OBJECT(file);
  if (g_object_get_qdata(object, quark) == item) return;
  HostClient().Retain(item);
  g_object_set_qdata_full(object, quark, item, item != nullptr ? OnFileObjectGone : nullptr);
}

void Update(host::FileInfo* file) {
  constexpr std::string_view kPrefix = "emblem-";  // the file manager puts it back
  const GObjectPtr<GFile> location(host::GetLocation(file));
  const std::string_view path = LocalPath(location.get());
  const BadgeStore::Answer answer = path.empty() ? BadgeStore::Answer() : HostClient().Lookup(path);
  Follow(file, answer.item);
  const std::string& icon = HostClient().IconName(answer.badge);
  if (icon.starts_with(kPrefix)) host::AddEmblem(file, icon.c_str() + kPrefix.size());
  AddColumnTexts(file, *answer.description);
}

host::OperationResult UpdateFileInfo(host::InfoProvider*, host::FileInfo* file, GClosure*,
                                     host::OperationHandle**) {
  Quietly([file] { Update(file); });
  return host::kComplete;
}

void CancelUpdate(host::InfoProvider*, host::OperationHandle*) {}

void FillInfoProvider(gpointer interface, gpointer) {
  auto* provider = static_cast<host::InfoProviderInterface*>(interface);
  provider->update_file_info = UpdateFileInfo;
  provider->cancel_update = CancelUpdate;
}

}  // namespace

FinderClient& HostClient() {
  static FinderClient* const client =
      new FinderClient(OnBadgeChanged, MenuHost{host::kMenuWaiting, RefreshMenus, SetClipboard});
  return *client;
}

GType RegisterProvider(GTypeModule* module) {
  GTypeInfo info{};
  info.class_size = sizeof(GObjectClass);
  info.instance_size = sizeof(GObject);
  const GType type = g_type_module_register_type(module, G_TYPE_OBJECT, host::kTypeName, &info,
                                                 static_cast<GTypeFlags>(0));
  const GInterfaceInfo provider = {FillInfoProvider, nullptr, nullptr};
  g_type_module_add_interface(module, type, host::InfoProviderType(), &provider);
  AddColumnInterface(module, type);
  AddMenuInterface(module, type);
  host::AddInterfaces(module, type);
  return type;
}

}  // namespace kelvo
