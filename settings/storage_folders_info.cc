#include "settings/storage_folders_info.h"

#include <algorithm>
#include <utility>

#include "base/case_folding.h"
#include "base/logger.h"
#include "settings/value_utilities.h"
#include "settings/whole_file.h"
#include "settings/xml_document.h"

namespace kelvo {
namespace {

constexpr char kFile[] = "/storage_folders.xml";

bool IsSamePath(std::string_view a, std::string_view b) {
  const auto rest = RestAfterPrefix(a, b);
  return rest && rest->empty();
}

std::int64_t Number(const xmlNode* node) {
  const std::string text = NodeText(node);
  return LongLongValue(&text);
}

std::int64_t WrappingSum(std::int64_t a, std::int64_t b) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

bool Fail(const std::string& error) {
  KELVO_LOG(kLogError, "Cannot load storage_folders info: " << error);
  return false;
}

}  // namespace

kelvo_StorageFolderStatus::kelvo_StorageFolderStatus(std::string path, std::int64_t total,
                                                     std::int64_t stored)
    : path_(std::move(path)), total_(total), stored_(stored) {}

kelvo_StorageFolderStatus kelvo_StorageFolderStatus::statusWithPath(std::string path,
                                                                    std::int64_t total,
                                                                    std::int64_t stored) {
  return {std::move(path), total, stored};
}

bool kelvo_StorageFolderStatus::isEqual(const kelvo_StorageFolderStatus& other) const {
  return total_ == other.total_ && stored_ == other.stored_ && IsSamePath(path_, other.path_);
}

kelvo_StorageFoldersInfo::kelvo_StorageFoldersInfo(const std::string& path)
    : settingsPath_(path.empty() ? "" : path + kFile) {}

bool kelvo_StorageFoldersInfo::load() {
  if (!settingsPath_.empty()) (void)loadAtPath(settingsPath_);
  return false;
}

bool kelvo_StorageFoldersInfo::loadAtPath(const std::string& file) {
  const auto data = ReadWholeFile(file);
  return data && loadData(*data);
}

bool kelvo_StorageFoldersInfo::loadData(std::string_view data) {
  std::string error;
  const XmlDocument document = ParseXmlDocument(data, &error);
  if (document == nullptr) return Fail(error);
  const xmlNode* stores = FindChildNode(reinterpret_cast<xmlNode*>(document.get()), "stores");
  if (stores == nullptr) return Fail("");
  std::vector<kelvo_StorageFolderStatus> folders;
  std::int64_t totalSum = 0;
  std::int64_t storedSum = 0;
  for (xmlNode* folder = stores->children; folder != nullptr; folder = folder->next) {
    const xmlNode* total = FindChildNode(folder, "total");
    const xmlNode* stored = FindChildNode(folder, "stored");
    const xmlNode* path = FindChildNode(folder, "path");
    if (total == nullptr || stored == nullptr || path == nullptr) continue;
    folders.emplace_back(NodeText(path), Number(total), Number(stored));
    totalSum = WrappingSum(totalSum, folders.back().total());
    storedSum = WrappingSum(storedSum, folders.back().stored());
  }
  folderList_ = std::move(folders);
  total_ = totalSum;
  stored_ = storedSum;
  return true;
}

const kelvo_StorageFolderStatus* kelvo_StorageFoldersInfo::findInfoForPath(
    std::string_view path) const {
  const auto found = std::find_if(folderList_.begin(), folderList_.end(), [path](const auto& info) {
    return IsSamePath(info.path(), path);
  });
  return found == folderList_.end() ? nullptr : &*found;
}

}  // namespace kelvo
