#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cache/sync_cache.h"
#include "core/finder_sync.h"
#include "tests/support/agent_text.h"
#include "tests/support/fixture.h"

namespace kelvo::test {

// The whole extension over the fake platform, with an Agent that has been found.
class StartedExtension : public Fixture, public FinderSync::Observer {
 protected:
  // `start`: whether the Agent has sent its configuration, so that the system stands. `finder`: in
  // place of the fake one.
  explicit StartedExtension(bool start = true, FinderController* finder = nullptr) {
    WriteUserInfo({});
    fake_.transport.present = true;
    extension_ = std::make_unique<FinderSync>(
        fake_.With(fake_.settingsQueue, finder == nullptr ? fake_.finder : *finder),
        std::make_shared<Bundle>(Home("bundle"), std::vector<std::string>{}), this);
    extension_->init();
    fake_.runLoop.RunPosted();
    if (start) Configure();
  }
  ~StartedExtension() override {
    extension_->dealloc();
    extension_.reset();
  }

  // The file "user_info.plist" with the Workplace and these lines of XML.
  void WriteUserInfo(const std::string& xml) {
    WriteFile(Home("Library/Preferences/com.kelvo.vip/user_info.plist"),
              "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>master_project_folder</key>"
              "<string>" +
                  Home("Work") + "</string>" + xml + "</dict></plist>");
  }
  void Configure() {
    fake_.transport.DeliverEvent("configuration_updated");
    fake_.runLoop.RunPosted();
  }
  void SendList(const std::string& folder, const std::vector<ListRecord>& records) {
    SendListText(folder, ListText(records));
  }
  void SendListText(const std::string& folder, const std::string& text) {
    fake_.transport.DeliverEvent("sync_status_list",
                                 {{"path", PropertyList(folder)}, {"list", PropertyList(text)}});
  }
  void SendItem(const std::string& path, PropertyList::Dictionary changes = {}) {
    PropertyList::Dictionary item = {{"path", PropertyList(path)},
                                     {"status", PropertyList("0")},
                                     {"permissions", PropertyList("1064")},
                                     {"denied", PropertyList("0")},
                                     {"folder", PropertyList("0")}};
    for (auto& [key, value] : changes) item.insert_or_assign(key, value);
    fake_.transport.DeliverEvent("sync_item", item);
  }
  // The paths of the lists asked for since the last call.
  std::vector<std::string> NewRequests() {
    std::vector<std::string> all = fake_.transport.ListRequests();
    std::vector<std::string> fresh(all.begin() + static_cast<std::ptrdiff_t>(seenRequests_),
                                   all.end());
    seenRequests_ = all.size();
    return fresh;
  }
  // What the file manager shows; "(none)" for a path that it was never told of.
  std::string Badge(const std::string& path) {
    auto found = fake_.finder.current.find(path);
    return found == fake_.finder.current.end() ? "(none)" : found->second;
  }
  CSyncCache& cache() { return *CSyncCache::m_Instance.load(); }

  void onAgentConnected(bool connected) override { connections_.push_back(connected); }
  void onMenusChanged() override { ++menusChanged_; }
  void onItemsChanged(const std::string& path, const CSyncStatusListResponse* list) override {
    changedItems_.push_back(path + (list == nullptr ? "" : "/*"));
  }
  void onPublicLinksChanged() override { ++publicLinksChanged_; }
  void onFoldersSwept(const std::vector<std::string>& folders) override {
    swept_.push_back(folders);
  }

  std::unique_ptr<FinderSync> extension_;
  std::vector<bool> connections_;
  int menusChanged_ = 0;
  int publicLinksChanged_ = 0;
  std::vector<std::string> changedItems_;
  std::vector<std::vector<std::string>> swept_;

 private:
  std::size_t seenRequests_ = 0;
};

}  // namespace kelvo::test
