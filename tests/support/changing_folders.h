#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "agent/notifications_bridge.h"
#include "tests/support/started_extension.h"

namespace kelvo::test {

// A started extension with an Agent that can be asked, and folders of items whose states differ
// from one turn to the next.
class ChangingFolders : public StartedExtension {
 protected:
  // `finder`: as StartedExtension.
  explicit ChangingFolders(std::initializer_list<const char*> folders,
                           FinderController* finder = nullptr)
      : StartedExtension(true, finder) {
    fake_.transport.Deliver(kConnectionStatusName, {{"status", PropertyList(4)}});
    for (const char* name : folders) folders_.push_back(Home("Work/") + name);
    for (int i = 0; i < 24; ++i) names_.push_back("file " + std::to_string(i));
  }

  std::vector<ListRecord> Records(int turn) const {
    std::vector<ListRecord> records;
    for (std::size_t i = 0; i < names_.size(); ++i) {
      const int shade = (turn + static_cast<int>(i)) % 4;
      records.push_back({.name = names_[i],
                         .status = shade == 1 ? 1 : 0,
                         .denied = shade == 3 ? 7 : 0,
                         .fileId = "f",
                         .itemId = static_cast<long long>(i),
                         .lock = shade == 2 ? 1 : 0,
                         .lockHolder = shade == 2 ? "user " + std::to_string(turn % 5) : ""});
    }
    return records;
  }
  // The Agent's answers to what was asked.
  void Answer(int turn) {
    fake_.runLoop.RunPosted();
    const std::vector<std::string> asked = fake_.transport.ListRequests();
    fake_.transport.sent.clear();
    for (const std::string& path : asked) {
      if (std::find(folders_.begin(), folders_.end(), path) != folders_.end()) {
        SendList(path, Records(turn));
      }
    }
  }
  // Of one folder the list, or an item, without being asked.
  void ChangeFolder(int turn) { SendList(FolderOf(turn), Records(turn)); }
  void ChangeItem(int turn) {
    SendItem(FolderOf(turn) + "/" + names_[0], {{"status", turn % 2 == 0 ? "1" : "3"}});
  }

  std::vector<std::string> folders_;
  std::vector<std::string> names_;

 private:
  const std::string& FolderOf(int turn) const {
    return folders_[static_cast<std::size_t>(turn) % folders_.size()];
  }
};

}  // namespace kelvo::test
