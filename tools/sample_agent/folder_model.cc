#include "tools/sample_agent/folder_model.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

#include "base/string_utils.h"
#include "platform/linux/glib_ptr.h"
#include "tools/sample_agent/path_map.h"

namespace kelvo::sample_agent {
namespace {

namespace fs = std::filesystem;

std::string RealPath(const std::string& path) {
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  return error ? std::string() : real.string();
}

void SortByName(std::vector<ListedItem>& items) {
  std::sort(items.begin(), items.end(),
            [](const ListedItem& a, const ListedItem& b) { return a.name < b.name; });
}

}  // namespace

std::optional<std::string> AbsolutePath(std::string_view path, const std::string& base) {
  if (path.empty() || path.find('\0') != std::string_view::npos || !IsValidUtf8(path)) {
    return std::nullopt;
  }
  const GLibPtr<char> canonical(g_canonicalize_filename(std::string(path).c_str(), base.c_str()));
  std::string absolute = canonical.get();
  // Two slashes at the front are another place to some systems and are kept by GLib.
  if (absolute.starts_with("//")) absolute.erase(0, 1);
  if (absolute == "/") return std::nullopt;
  return absolute;
}

FolderModel::FolderModel(std::string root) : folders_{std::move(root)} {}

void FolderModel::SetExternalFolders(const std::vector<std::string>& folders) {
  folders_.resize(1);
  for (const std::string& folder : folders) {
    if (!folder.starts_with('/')) continue;
    std::optional<std::string> absolute = AbsolutePath(folder, Root());
    if (!absolute.has_value() || IsServedFolderItself(*absolute)) continue;
    folders_.push_back(*std::move(absolute));
  }
}

bool FolderModel::IsServed(const std::string& path) const {
  return std::any_of(folders_.begin(), folders_.end(),
                     [&path](const std::string& folder) { return IsPathOrBelow(path, folder); });
}

bool FolderModel::IsServedFolderItself(const std::string& path) const {
  return std::find(folders_.begin(), folders_.end(), path) != folders_.end();
}

std::optional<std::string> FolderModel::Resolve(std::string_view path) const {
  std::optional<std::string> absolute = AbsolutePath(path, Root());
  if (absolute.has_value() && !IsServed(*absolute)) return std::nullopt;
  return absolute;
}

bool FolderModel::IsFolder(const std::string& path) const {
  if (Resolve(path) != path) return false;
  // A served folder may lie behind symbolic links; none is followed below it.
  const std::string real = RealPath(path);
  const auto leadsTo = [&](const std::string& folder) {
    return IsPathOrBelow(path, folder) && real == RealPath(folder) + path.substr(folder.size());
  };
  std::error_code error;
  return !real.empty() && std::any_of(folders_.begin(), folders_.end(), leadsTo) &&
         fs::is_directory(real, error);
}

std::vector<ListedItem> FolderModel::ListServedIn(const std::string& parent) {
  std::vector<ListedItem> items;
  for (const std::string& folder : folders_) {
    if (ParentOfPath(folder) != parent || !IsFolder(folder)) continue;
    items.push_back({fs::path(folder).filename().string(), Ensure(folder, true)});
  }
  return items;
}

std::optional<std::vector<ListedItem>> FolderModel::List(const std::string& folder) {
  if (!IsFolder(folder)) {
    std::vector<ListedItem> served = ListServedIn(folder);
    if (served.empty()) return std::nullopt;
    SortByName(served);
    return served;
  }

  std::vector<ListedItem> items;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string path = entry->path().string();
    if (!IsValidUtf8(path)) continue;
    std::error_code gone;  // removed meanwhile, or not readable: told as a file
    const bool isFolder = entry->symlink_status(gone).type() == fs::file_type::directory;
    items.push_back({entry->path().filename().string(), Ensure(path, isFolder)});
  }
  SortByName(items);
  return items;
}

Item* FolderModel::Find(const std::string& path) {
  std::error_code error;
  const fs::file_type type = fs::symlink_status(path, error).type();
  if (type == fs::file_type::not_found || type == fs::file_type::none) return nullptr;
  return &Ensure(path, type == fs::file_type::directory);
}

Item* FolderModel::FindKnown(const std::string& path) {
  const auto found = items_.find(path);
  return found == items_.end() ? nullptr : &found->second;
}

void FolderModel::Set(const std::string& path, Item item) {
  if (item.itemId == 0) item.itemId = nextItemId_;
  if (item.itemId >= nextItemId_ && item.itemId < std::numeric_limits<std::int64_t>::max()) {
    nextItemId_ = item.itemId + 1;
  }
  // A number, which links are made from.
  if (item.fileId.empty()) item.fileId = "10" + std::to_string(item.itemId);
  items_.insert_or_assign(path, std::move(item));
}

Item& FolderModel::Ensure(const std::string& path, bool folder) {
  if (!items_.contains(path)) Set(path, Item());
  Item& item = items_.at(path);
  item.folder = folder;
  return item;
}

void FolderModel::Forget(const std::string& path) { ErasePaths(items_, path); }

void FolderModel::Move(const std::string& from, const std::string& to) {
  MovePaths(items_, from, to);
}

}  // namespace kelvo::sample_agent
