#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/sample_agent/item.h"

namespace kelvo::sample_agent {

// `path` as an absolute one without "." and "..": from `base` if it is relative. nullopt for what
// no Agent can serve: an empty text, the root of the file system, what is not UTF-8.
std::optional<std::string> AbsolutePath(std::string_view path, const std::string& base);

// The served folders as the Agent sees them: what is on disk, and what the Agent adds to it. One,
// the root, is always served; the folders of external projects come and go.
//
// Paths are absolute. Files are read from disk when somebody asks; an item keeps its identity and
// its state from the moment it was first seen until it is forgotten. Symbolic links are items, but
// are not followed. A name that is not UTF-8 cannot be said on the channel and is left out.
//
// Threads: one.
class FolderModel {
 public:
  // `root`: an existing folder other than "/", without a trailing slash.
  explicit FolderModel(std::string root);

  const std::string& Root() const { return folders_.front(); }
  // What is served besides the root from now on. A folder need not exist, and one that cannot be
  // served is left out.
  void SetExternalFolders(const std::vector<std::string>& folders);

  // Whether the path is a served folder or below one. Nothing need be there.
  bool IsServed(const std::string& path) const;
  bool IsServedFolderItself(const std::string& path) const;
  // The path that a user means: absolute or relative to the root. nullopt when it leaves the served
  // folders or is not UTF-8. Nothing need be there.
  std::optional<std::string> Resolve(std::string_view path) const;

  // Whether the path is a served folder or a folder below one, now and on disk. Any text may be
  // asked about.
  bool IsFolder(const std::string& path) const;

  // The items of a folder, sorted by name; nullopt for any other path, except one that holds served
  // folders, which is known by these.
  std::optional<std::vector<ListedItem>> List(const std::string& folder);

  // The item at a path of the form that Resolve gives, or null when nothing is there on disk. Valid
  // until it is forgotten.
  Item* Find(const std::string& path);
  // The same without a look at the disk.
  Item* FindKnown(const std::string& path);

  // Sets what a scenario says; nothing need be on disk yet. Its identifiers stay unless they are
  // empty or 0.
  void Set(const std::string& path, Item item);

  // The item has left the disk, with everything below it.
  void Forget(const std::string& path);
  // The item is found elsewhere from now on, with everything below it. What is known at its new
  // place keeps its own state, as a file that an editor saves.
  void Move(const std::string& from, const std::string& to);

 private:
  std::vector<ListedItem> ListServedIn(const std::string& parent);
  Item& Ensure(const std::string& path, bool folder);

  std::vector<std::string> folders_;   // the root, then the others
  std::map<std::string, Item> items_;  // by path
  std::int64_t nextItemId_ = 1;
};

}  // namespace kelvo::sample_agent
