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

std::string Canonical(std::string_view path, const char* base) {
  const GLibPtr<char> canonical(g_canonicalize_filename(std::string(path).c_str(), base));
  return canonical.get();
}

std::string RealPath(const std::string& path) {
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  return error ? std::string() : real.string();
}

}  // namespace

FolderModel::FolderModel(std::string root) : root_(std::move(root)), realRoot_(RealPath(root_)) {}

std::optional<std::string> FolderModel::Resolve(std::string_view path) const {
  if (path.empty() || path.find('\0') != std::string_view::npos || !IsValidUtf8(path)) {
    return std::nullopt;
  }
  std::string absolute = Canonical(path, root_.c_str());
  if (!IsServed(absolute)) return std::nullopt;
  return absolute;
}

bool FolderModel::IsServed(const std::string& path) const { return IsPathOrBelow(path, root_); }

bool FolderModel::IsFolder(const std::string& path) const {
  if (!IsServed(path) || Resolve(path) != path) return false;
  std::error_code error;
  return RealPath(path) == realRoot_ + path.substr(root_.size()) && fs::is_directory(path, error);
}

std::optional<std::vector<ListedItem>> FolderModel::List(const std::string& folder) {
  if (folder == ParentOfPath(root_)) {
    return std::vector<ListedItem>{{fs::path(root_).filename().string(), Ensure(root_, true)}};
  }
  if (!IsFolder(folder)) return std::nullopt;

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
  std::sort(items.begin(), items.end(),
            [](const ListedItem& a, const ListedItem& b) { return a.name < b.name; });
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
  if (item.fileId.empty()) item.fileId = "F" + std::to_string(item.itemId);
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
  if (items_.contains(from)) MovePaths(items_, from, to);
}

}  // namespace kelvo::sample_agent
