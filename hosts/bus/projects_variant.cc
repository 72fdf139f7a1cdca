#include "hosts/bus/projects_variant.h"

#include <string>

#include "base/string_utils.h"

namespace kelvo {
namespace {

GVariant* Text(const std::string& text) { return g_variant_new_string(ToValidUtf8(text).c_str()); }

std::string TextUnder(const Project& project, const char* key) {
  const auto value = project.objectForKey(key);
  return value ? value->ToText().value_or("") : "";
}

void AddProject(GVariantBuilder* list, const Project& project, const char* kind) {
  GVariantBuilder entry;
  g_variant_builder_init(&entry, G_VARIANT_TYPE_VARDICT);
  const auto add = [&entry](const char* key, GVariant* value) {
    g_variant_builder_add(&entry, "{sv}", key, value);
  };
  const std::string path = project.path();
  const bool subscribed = project.subscribed();
  add("kind", g_variant_new_string(kind));
  add("id", Text(project.id()));
  add("name", Text(project.name()));
  add("owner", Text(project.owner()));
  add("path", g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, path.data(), path.size(), 1));
  add("status", Text(TextUnder(project, "status")));
  add("partial", g_variant_new_boolean(project.partial()));
  add("read-only", g_variant_new_boolean(project.readOnly()));
  add("files", g_variant_new_int64(subscribed ? project.syncedFiles() : project.totalFiles()));
  add("size", g_variant_new_int64(subscribed ? project.syncedSize() : project.totalSize()));
  g_variant_builder_add_value(list, g_variant_builder_end(&entry));
}

}  // namespace

GVariant* ProjectsToVariant(const ProjectsList& projects) {
  GVariantBuilder list;
  g_variant_builder_init(&list, G_VARIANT_TYPE("aa{sv}"));
  for (const Project& project : projects.notSubscribedProjects()) {
    AddProject(&list, project, "not-subscribed");
  }
  for (const Project& project : projects.subscribedSyncProjects()) {
    AddProject(&list, project, "synced");
  }
  for (const Project& project : projects.subscribedExternalProjects()) {
    AddProject(&list, project, "external");
  }
  GVariantBuilder totals;
  g_variant_builder_init(&totals, G_VARIANT_TYPE_VARDICT);
  const auto add = [&totals](const char* key, GVariant* value) {
    g_variant_builder_add(&totals, "{sv}", key, value);
  };
  add("initialized", g_variant_new_boolean(projects.isInitialized()));
  add("synced-files", g_variant_new_int64(projects.syncedFiles()));
  add("synced-bytes", g_variant_new_int64(projects.syncedBytes()));
  add("not-synced-files", g_variant_new_int64(projects.notSyncedFiles()));
  add("not-synced-bytes", g_variant_new_int64(projects.notSyncedBytes()));
  return g_variant_new("(aa{sv}a{sv})", &list, &totals);
}

}  // namespace kelvo
