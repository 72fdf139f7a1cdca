#include "tools/finder/doctor/icon_checks.h"

#include <glib.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

#include "settings/whole_file.h"

namespace kelvo::finder {
namespace {

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + Shown(text);
  return joined;
}

std::vector<std::string> IconNames(const std::vector<BadgeKind>& badges) {
  std::set<std::string> names;  // two badges may share one
  for (const BadgeKind& badge : badges) names.insert(badge.icon);
  return {names.begin(), names.end()};
}

bool MentionsSvg(const std::filesystem::path& cache) {
  const auto bytes = ReadWholeFile(cache.string());
  return bytes && bytes->find("image/svg+xml") != std::string::npos;
}

}  // namespace

Check IconsCheck() { return {"icons", "Badge icons"}; }

Check CheckIcons(const ExtensionFacts& facts, const IconSearch& search, bool hasSvgLoader) {
  Check check = IconsCheck();
  if (!facts.properties) {
    check.Note("Not examined: the extension does not answer, and it is what names the icons.");
    return check;
  }
  const auto& themes = search.themes();
  if (std::find(themes.begin(), themes.end(), "hicolor") == themes.end()) {
    check.Fail("The icon theme \"hicolor\", in which the badges lie, is not installed.",
               "Install the package hicolor-icon-theme.");
    return check;
  }
  const std::vector<std::string> names = IconNames(facts.properties->badges);
  std::set<std::string> stale;
  std::vector<std::string> missing;
  std::vector<std::string> unreadable;
  for (const std::string& name : names) {
    const IconFiles files = search.Find(name);
    stale.insert(files.staleCaches.begin(), files.staleCaches.end());
    if (!files.pictures.empty()) continue;
    if (files.drawings.empty()) missing.push_back(name);
    if (!files.drawings.empty() && !hasSvgLoader) unreadable.push_back(name);
  }
  if (!missing.empty()) {
    check.Fail("No file for " + Joined(missing) + " in the icon themes " + Joined(themes) + ".",
               "Install the package kelvo-finder-sync anew: it brings the icons.");
  }
  if (!unreadable.empty()) {
    check.Fail("There are only SVG files for " + Joined(unreadable) + ", and nothing to draw them.",
               "Install the package librsvg2-common.");
  }
  for (const std::string& folder : stale) {
    check.Fail("The icon cache of " + Shown(folder) + " does not know our icons.",
               "Make it anew, as root where need be: gtk-update-icon-cache -f " + Shown(folder));
  }
  if (check.state != CheckState::kProblem) {
    check.Pass("All " + std::to_string(names.size()) + " icons are found (in the icon themes " +
               Joined(themes) + ").");
  }
  if (std::find(themes.begin(), themes.end(), search.wanted()) == themes.end()) {
    check.Note("The desktop's icon theme, " + Shown(search.wanted()) + ", is not installed.");
  }
  return check;
}

bool HasSvgLoader() {
  if (const char* file = g_getenv("GDK_PIXBUF_MODULE_FILE")) return MentionsSvg(file);
  std::error_code error;
  for (const char* root : {KELVO_LIBRARY_DIR, "/usr/lib64", "/usr/lib", "/usr/local/lib"}) {
    const std::filesystem::path folder = std::filesystem::path(root) / "gdk-pixbuf-2.0";
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
      if (MentionsSvg(entry->path() / "loaders.cache")) return true;
    }
  }
  return false;
}

}  // namespace kelvo::finder
