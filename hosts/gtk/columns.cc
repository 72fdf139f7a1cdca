#include "hosts/gtk/columns.h"

#include <string>

#include "base/user_languages.h"
#include "hosts/client/item_labels.h"
#include "hosts/client/quietly.h"

namespace kelvo {

namespace {

// Name and attribute at once. Users' settings name the columns that are shown: in small letters,
// which Nautilus makes of them.
struct Column {
  const char* name;
  ItemLabel ItemLabels::*label;
  std::string ItemDescription::*text;
};
constexpr Column kColumns[] = {
    {"kelvo_state", &ItemLabels::state, &ItemDescription::state},
    {"kelvo_lock_owner", &ItemLabels::lockOwner, &ItemDescription::lockOwner},
    {"kelvo_permission", &ItemLabels::permission, &ItemDescription::permission},
};

GList* GetColumns(host::ColumnProvider*) {
  GList* columns = nullptr;
  Quietly([&] {
    const ItemLabels& labels = ItemLabelsIn(PreferredLanguages());
    for (const Column& column : kColumns) {
      const ItemLabel& label = labels.*column.label;
      columns = g_list_append(
          columns, host::NewColumn(column.name, column.name, label.title, label.description));
    }
  });
  return columns;
}

void FillColumnProvider(gpointer interface, gpointer) {
  static_cast<host::ColumnProviderInterface*>(interface)->get_columns = GetColumns;
}

}  // namespace

void AddColumnInterface(GTypeModule* module, GType provider) {
  const GInterfaceInfo info = {FillColumnProvider, nullptr, nullptr};
  g_type_module_add_interface(module, provider, host::ColumnProviderType(), &info);
}

void AddColumnTexts(host::FileInfo* file, const ItemDescription& description) {
  for (const Column& column : kColumns) {
    host::AddStringAttribute(file, column.name, (description.*column.text).c_str());
  }
}

}  // namespace kelvo
