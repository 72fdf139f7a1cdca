#include "tools/finder/doctor/icon_search.h"

#include <gio/gio.h>
#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/linux/glib_ptr.h"
#include "settings/whole_file.h"
#include "tools/finder/doctor/desktop_settings.h"

namespace kelvo::finder {
namespace {

constexpr char kGroup[] = "Icon Theme";
constexpr char kLastTheme[] = "hicolor";
constexpr std::size_t kMostThemes = 50;  // a chain of inheritance is short, and may be a circle

using KeyFilePtr = std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)>;

// The description of a theme: that in the first base folder that has one.
KeyFilePtr IndexOf(const std::vector<std::string>& bases, const std::string& theme) {
  for (const std::string& base : bases) {
    KeyFilePtr index(g_key_file_new(), &g_key_file_unref);
    std::string file = base;
    file.append("/").append(theme).append("/index.theme");
    const auto bytes = ReadWholeFile(file);
    if (bytes && g_key_file_load_from_data(index.get(), bytes->data(), bytes->size(),
                                           G_KEY_FILE_NONE, nullptr)) {
      return index;
    }
  }
  return {nullptr, &g_key_file_unref};
}

void AppendList(GKeyFile* index, const char* key, std::vector<std::string>* list) {
  g_key_file_set_list_separator(index, ',');
  gsize count = 0;
  char** const values = g_key_file_get_string_list(index, kGroup, key, &count, nullptr);
  for (gsize i = 0; i < count; ++i) {
    std::string value = g_strstrip(values[i]);
    if (!value.empty()) list->push_back(std::move(value));
  }
  g_strfreev(values);
}

bool IsFile(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Toolkits take a cache at its word while it is no older than the theme's folder.
bool HidesFrom(const std::string& folder, const std::string& name) {
  struct stat cache;
  struct stat itself;
  const std::string file = folder + "/icon-theme.cache";
  if (::stat(file.c_str(), &cache) != 0 || ::stat(folder.c_str(), &itself) != 0) return false;
  if (cache.st_mtime < itself.st_mtime) return false;
  const auto bytes = ReadWholeFile(file);
  const std::string key(name.c_str(), name.size() + 1);  // it ends with a zero byte there
  return bytes && bytes->find(key) == std::string::npos;
}

}  // namespace

IconSearch::IconSearch(std::vector<std::string> bases, const std::string& theme)
    : bases_(std::move(bases)), wanted_(theme) {
  std::vector<std::string> queue = {theme};
  for (std::size_t i = 0; i <= queue.size() && themes_.size() < kMostThemes; ++i) {
    const std::string name = i < queue.size() ? queue[i] : kLastTheme;
    if (std::find(themes_.begin(), themes_.end(), name) != themes_.end()) continue;
    const KeyFilePtr index = IndexOf(bases_, name);
    if (index == nullptr) continue;
    themes_.push_back(name);
    ThemeFolders folders{name, {}};
    AppendList(index.get(), "Directories", &folders.folders);
    AppendList(index.get(), "ScaledDirectories", &folders.folders);
    folders_.push_back(std::move(folders));
    if (i < queue.size()) AppendList(index.get(), "Inherits", &queue);
  }
}

IconFiles IconSearch::Find(const std::string& name) const {
  IconFiles files;
  if (name.empty() || name.find('/') != std::string::npos) return files;
  for (const ThemeFolders& theme : folders_) FindIn(theme, name, &files);
  return files;
}

void IconSearch::FindIn(const ThemeFolders& theme, const std::string& name,
                        IconFiles* files) const {
  for (const std::string& base : bases_) {
    const std::string root = base + '/' + theme.name;
    const std::size_t before = files->pictures.size() + files->drawings.size();
    for (const std::string& folder : theme.folders) {
      std::string stem = root;
      stem.append("/").append(folder).append("/").append(name);
      if (IsFile(stem + ".png")) files->pictures.push_back(stem + ".png");
      if (IsFile(stem + ".svg")) files->drawings.push_back(stem + ".svg");
    }
    if (files->pictures.size() + files->drawings.size() > before && HidesFrom(root, name)) {
      files->staleCaches.push_back(root);
    }
  }
}

std::vector<std::string> IconBases() {
  std::vector<std::string> bases = {std::string(g_get_user_data_dir()) + "/icons",
                                    std::string(g_get_home_dir()) + "/.icons"};
  for (const char* const* folder = g_get_system_data_dirs(); *folder != nullptr; ++folder) {
    bases.push_back(std::string(*folder) + "/icons");
  }
  return bases;
}

std::string CurrentIconTheme() {
  const char* const given = g_getenv("XDG_CURRENT_DESKTOP");
  const std::string_view desktop = given == nullptr ? "" : given;
  std::optional<std::string> theme;
  if (desktop.find("KDE") != std::string_view::npos) {
    theme = ValueInKdeFile("kdeglobals", "Icons", "Theme");
    if (!theme) theme = "breeze";
  } else if (desktop.find("Cinnamon") != std::string_view::npos) {
    theme = TextSetting("org.cinnamon.desktop.interface", "icon-theme");
  } else if (desktop.find("MATE") != std::string_view::npos) {
    theme = TextSetting("org.mate.interface", "icon-theme");
  }
  if (!theme) theme = TextSetting("org.gnome.desktop.interface", "icon-theme");
  return theme.value_or(kLastTheme);
}

}  // namespace kelvo::finder
