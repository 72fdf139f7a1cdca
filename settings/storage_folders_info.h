#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo {

// How much of one stored folder has reached the service, in bytes.
//
// Threads: a value.
class kelvo_StorageFolderStatus {
 public:
  kelvo_StorageFolderStatus(std::string path, std::int64_t total, std::int64_t stored);
  static kelvo_StorageFolderStatus statusWithPath(std::string path, std::int64_t total,
                                                  std::int64_t stored);

  const std::string& path() const { return path_; }
  std::int64_t total() const { return total_; }
  std::int64_t stored() const { return stored_; }
  bool isBackedUp() const { return total_ == stored_; }
  // Paths are equal ignoring case.
  bool isEqual(const kelvo_StorageFolderStatus& other) const;

 private:
  std::string path_;
  std::int64_t total_;
  std::int64_t stored_;
};

// The stored folders of the account, as the Agent last wrote them to "storage_folders.xml".
//
// Threads: one at a time.
class kelvo_StorageFoldersInfo {
 public:
  // `path`: the account's configuration folder; empty for none. Nothing is read yet.
  explicit kelvo_StorageFoldersInfo(const std::string& path);

  // Deliberate: false also when the file was read; callers look at the contents.
  bool load();
  // On failure, which is logged unless the file is missing, the contents stay as they are.
  bool loadAtPath(const std::string& file);
  bool loadData(std::string_view data);

  const std::vector<kelvo_StorageFolderStatus>& list() const { return folderList_; }
  // Sums over the list; beyond the range of the type they wrap around.
  std::int64_t total() const { return total_; }
  std::int64_t stored() const { return stored_; }
  // The first with this path, ignoring case; null when there is none. Valid until the next load.
  const kelvo_StorageFolderStatus* findInfoForPath(std::string_view path) const;

 private:
  std::vector<kelvo_StorageFolderStatus> folderList_;
  std::int64_t total_ = 0;
  std::int64_t stored_ = 0;
  std::string settingsPath_;
};

}  // namespace kelvo
