#include "tools/finder/doctor/desktop_settings.h"

#include <gio/gio.h>

#include <memory>
#include <sstream>

#include "platform/linux/glib_ptr.h"
#include "settings/whole_file.h"

namespace kelvo::finder {
namespace {

// Null when there is no such setting: GLib ends a program that asks for one.
GLibPtr<GVariant> Setting(const char* schema, const char* key, const char* type) {
  using SchemaPtr = std::unique_ptr<GSettingsSchema, decltype(&g_settings_schema_unref)>;
  GSettingsSchemaSource* const source = g_settings_schema_source_get_default();
  if (source == nullptr) return nullptr;
  const SchemaPtr found(g_settings_schema_source_lookup(source, schema, TRUE),
                        &g_settings_schema_unref);
  if (found == nullptr || !g_settings_schema_has_key(found.get(), key)) return nullptr;
  const GObjectPtr<GSettings> settings(g_settings_new_full(found.get(), nullptr, nullptr));
  GLibPtr<GVariant> value(g_settings_get_value(settings.get(), key));
  if (!g_variant_is_of_type(value.get(), G_VARIANT_TYPE(type))) return nullptr;
  return value;
}

}  // namespace

std::optional<std::string> TextSetting(const char* schema, const char* key) {
  const GLibPtr<GVariant> value = Setting(schema, key, "s");
  if (value == nullptr) return std::nullopt;
  return g_variant_get_string(value.get(), nullptr);
}

std::vector<std::string> ListSetting(const char* schema, const char* key) {
  std::vector<std::string> list;
  const GLibPtr<GVariant> value = Setting(schema, key, "as");
  const gsize count = value == nullptr ? 0 : g_variant_n_children(value.get());
  for (gsize i = 0; i < count; ++i) {
    const GLibPtr<GVariant> text(g_variant_get_child_value(value.get(), i));
    list.emplace_back(g_variant_get_string(text.get(), nullptr));
  }
  return list;
}

std::optional<std::string> ValueInKdeFile(const char* file, const char* group, const char* key) {
  // Not every such file is one to GLib, so its lines are looked at.
  const auto bytes = ReadWholeFile(std::string(g_get_user_config_dir()) + '/' + file);
  if (!bytes) return std::nullopt;
  std::istringstream lines(*bytes);
  const std::string heading = std::string("[") + group + "]";
  const std::string start = std::string(key) + "=";
  bool inside = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('[')) inside = line == heading;
    if (inside && line.starts_with(start)) return line.substr(start.size());
  }
  return std::nullopt;
}

}  // namespace kelvo::finder
