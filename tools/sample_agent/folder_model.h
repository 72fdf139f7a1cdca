#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/sample_agent/item.h"

namespace kelvo::sample_agent {

// The served folder as the Agent sees it: what is on disk, and what the Agent adds to it.
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

  const std::string& Root() const { return root_; }

  // The path that a user means: absolute or relative to the root. nullopt when it leaves the root
  // or is not UTF-8. Nothing need be there.
  std::optional<std::string> Resolve(std::string_view path) const;

  // Whether the path is the root or a folder below it, now and on disk. Any text may be asked
  // about.
  bool IsFolder(const std::string& path) const;

  // The items of a folder, sorted by name; nullopt for any other path, except the root's parent,
  // which is known by one item: the root.
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
  // The item is found elsewhere from now on, with everything below it. Nothing happens when `from`
  // is not known. When `to` is known, that keeps its own state, as a file that an editor saves.
  void Move(const std::string& from, const std::string& to);

 private:
  bool IsServed(const std::string& path) const;
  Item& Ensure(const std::string& path, bool folder);

  const std::string root_;
  std::string realRoot_;               // without symbolic links
  std::map<std::string, Item> items_;  // by path
  std::int64_t nextItemId_ = 1;
};

}  // namespace kelvo::sample_agent
