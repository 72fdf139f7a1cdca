#include "agent/sync_api.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "agent/sync_status_list_response.h"
#include "core/finder_configuration.h"
#include "tests/support/agent_text.h"
#include "tests/support/fixture.h"
#include "ui/notification_preferences.h"

namespace kelvo::test {
namespace {

using Info = PropertyList::Dictionary;

Info TextInfo(std::initializer_list<std::pair<const char*, const char*>> entries) {
  Info info;
  for (const auto& [key, value] : entries) info.insert_or_assign(key, PropertyList(value));
  return info;
}

// Writes down what it is told.
class RecordingClient : public CSyncApiClient {
 public:
  explicit RecordingClient(std::string name, std::vector<std::string>& calls)
      : name_(std::move(name)), calls_(calls) {}

  void OnSyncStatusListResponse(CSyncStatusListResponse& response) override {
    std::string names;
    while (response.Next()) names.append(" ").append(response.Name());
    lastText = response.Text();
    Record("list " + response.Path() + names);
  }
  void OnSyncStatusChanged(const SSyncApiItemStatus& item) override {
    lastItem = item;
    Record("item " + item.path);
  }
  void OnSyncStatusReset() override { Record("reset"); }
  void OnSyncRequestResponse(const std::string& command, const StringMap& values) override {
    Record("response " + command + " " + MapJoin(values, ' '));
  }
  void OnSyncSyncList(const std::string& listId, const std::string& list) override {
    Record("sync list " + listId + " " + list);
  }
  void OnSyncErrorReceived(sync::ESyncError error, const StringMap& values) override {
    Record("error " + std::to_string(static_cast<int>(error)) + " " + MapJoin(values, ' '));
  }
  void OnConnectionStatusChanged(bool connected) override {
    Record(connected ? "connected" : "disconnected");
  }

  std::optional<SSyncApiItemStatus> lastItem;
  std::shared_ptr<const std::string> lastText;

 private:
  void Record(const std::string& call) { calls_.push_back(name_ + call); }
  const std::string name_;
  std::vector<std::string>& calls_;
};

class SyncApiTest : public Fixture {
 protected:
  SyncApiTest() : configuration_({{"full_name", PropertyList("Me Myself")}}) {
    configuration_.Load();
    fake_.transport.present = true;
    InitializeBridge("x", &configuration_, nullptr, fake_.transport, fake_.runLoop, fake_.clock);
    api_.Initialize(&configuration_);
  }
  ~SyncApiTest() override { DeallocBridge(); }

  // The keys and texts of the last message, in order.
  std::string LastSent() const {
    std::string text;
    for (const auto& [key, value] : fake_.transport.sent.back().info) {
      text += key + "=" + value.AsString()->c_str() + " ";
    }
    return text;
  }
  std::vector<std::string> Calls() { return std::exchange(calls_, {}); }

  CFinderConfiguration configuration_;
  CSyncApi api_{fake_.runLoop, fake_.settingsQueue};
  std::vector<std::string> calls_;
  RecordingClient client_{"", calls_};
};

TEST_F(SyncApiTest, RequestsCarryExactlyTheirKeys) {
  ASSERT_EQ(3U, fake_.transport.sent.size());  // what Initialize asks for
  EXPECT_EQ(kReportStatusName, fake_.transport.sent[1].name);
  EXPECT_EQ(TextInfo({{"agent-id", "0"}}), fake_.transport.sent[1].info);
  EXPECT_EQ("command=sync-lists event_name=sync_request list-name=publicLinks ", LastSent());

  const struct {
    std::function<void()> request;
    const char* info;
    const char* log;
  } rows[] = {
      {[&] { api_.RequestFolderItems("/w/ü"); },
       "command=status-list event_name=sync_request path=/w/ü ", "RequestFolderItems /w/ü"},
      {[&] { api_.RequestLock("/w/a", 0); },
       "command=lock details= event_name=sync_request expire=0 lock-type=kelvo path=/w/a ",
       "RequestLock/w/a expire 0"},
      {[&] { api_.RequestUnlock("/w/a"); }, "command=unlock event_name=sync_request path=/w/a ",
       "RequestUnlock/w/a"},
      {[&] { api_.RequestShowViolationsPermissionsDialog(); },
       "command=show-permissions-violations event_name=finder_prequest ",
       "RequestShowViolationsPermissionsDialog"},
      {[&] { api_.RequestShowPublicLinkDialog("/w/a", "F1"); },
       "command=show-public-link-dialog event_name=finder_prequest file-id=F1 path=/w/a "
       "permissions=0 ",
       "RequestShowPublicLinkDialog"},
  };
  SetLogLevel(4);
  for (const auto& row : rows) {
    row.request();
    EXPECT_EQ(row.info, LastSent());
    EXPECT_EQ(1, LogCount(row.log)) << row.log;
  }
}

TEST_F(SyncApiTest, LockRequestsAreRecordedBeforeTheyAreSent) {
  struct RecordingCache : public CSyncApi::Cache {
    explicit RecordingCache(const FakeTransport& t) : transport(t) {}
    void AddCommandForThisInstance(const std::string& path) override {
      recorded += path + " " + std::to_string(transport.sent.size()) + " ";
    }
    sync::EItemPermissions GetPermissions(const std::string&) override {
      return sync::EItemPermissions::PERM_UPDATE;
    }
    const FakeTransport& transport;
    std::string recorded;
  } cache(fake_.transport);
  api_.SetCache(&cache);
  api_.RequestLock("/a", 18446744073709551615UL);
  EXPECT_NE(std::string::npos, LastSent().find(" expire=18446744073709551615 "));
  api_.RequestUnlock("/b");
  EXPECT_EQ("/a 3 /b 4 ", cache.recorded);
  api_.RequestShowPublicLinkDialog("/a", "");
  EXPECT_NE(std::string::npos, LastSent().find(" permissions=1064 "));
}

Info ItemInfo() {
  return TextInfo({{"path", "/w/a.txt"},
                   {"file_id", "F7"},
                   {"item_id", " -12x"},
                   {"status", "3"},
                   {"lock", "1"},
                   {"lock_holder", "eve"},
                   {"modified_by", "bob"},
                   {"locktime", "1474634018"},
                   {"permissions", "1064"},
                   {"denied", "7"},
                   {"folder", "1"}});
}

TEST_F(SyncApiTest, ItemReachesClientsDecoded) {
  SetLogLevel(4);
  api_.AddClient(&client_);
  fake_.transport.DeliverEvent("sync_item", ItemInfo());
  ASSERT_TRUE(client_.lastItem);
  EXPECT_EQ(-12, client_.lastItem->itemId);
  EXPECT_EQ(sync::EPermissionsDenied::ACCESS_DENIED, client_.lastItem->denied);
  // What is logged is the item itself.
  EXPECT_EQ(1, LogCount("OnSyncStatusChanged /w/a.txt fileId: F7 status 3 locked: SYNC_LOCK "
                        "holder: eve modified by: bob lock time: 1474634018 permissions: "
                        "PERM_UPDATE denied: ACCESS_DENIED folder: 1"));
}

TEST_F(SyncApiTest, ItemFieldsFollowTheirRules) {
  api_.AddClient(&client_);
  const auto deliver = [&](const char* key, PropertyList value) -> const SSyncApiItemStatus& {
    Info info = ItemInfo();
    info.insert_or_assign(key, std::move(value));
    fake_.transport.DeliverEvent("sync_item", info);
    return *client_.lastItem;
  };
  EXPECT_EQ("", deliver("lock", PropertyList("0")).lockHolder);
  EXPECT_EQ("", deliver("lock_holder", PropertyList("Me Myself")).lockHolder);
  EXPECT_EQ("eve", deliver("lock", PropertyList("2")).lockHolder);
  EXPECT_EQ("", deliver("modified_by", PropertyList("Me Myself")).modifiedBy);
  EXPECT_EQ(0, deliver("locktime", PropertyList("soon")).lockTime);
  EXPECT_EQ(5, deliver("locktime", PropertyList(5)).lockTime);
  EXPECT_EQ(2147483647, static_cast<int>(deliver("status", PropertyList("99999999999")).status));
  EXPECT_EQ(15, static_cast<int>(deliver("permissions", PropertyList("15")).permissions));
  EXPECT_FALSE(deliver("folder", PropertyList("no")).folder);

  Info bare = ItemInfo();
  for (const char* key : {"file_id", "item_id", "lock", "lock_holder", "modified_by", "locktime"}) {
    bare.erase(key);
  }
  fake_.transport.DeliverEvent("sync_item", bare);
  EXPECT_EQ(0, client_.lastItem->itemId);
  EXPECT_EQ(sync::ESyncItemLock::NO_SYNC_LOCK, client_.lastItem->lock);
}

TEST_F(SyncApiTest, ItemWithoutARequiredKeyIsIgnored) {
  api_.AddClient(&client_);
  for (const char* key : {"denied", "permissions", "path", "status", "folder"}) {
    Info info = ItemInfo();
    info.erase(key);
    fake_.transport.DeliverEvent("sync_item", info);
    EXPECT_TRUE(Calls().empty()) << key;
  }
  Info info = ItemInfo();
  info.insert_or_assign("path", PropertyList(std::string("/w/a\0b", 6)));
  fake_.transport.DeliverEvent("sync_item", info);
  EXPECT_TRUE(Calls().empty());
  EXPECT_EQ(1, LogCount("its path has no form in the file system"));
}

TEST_F(SyncApiTest, EachClientWalksAListOfItsOwn) {
  RecordingClient second("2 ", calls_);
  api_.AddClient(&client_);
  api_.AddClient(&second);
  const auto deliver = [this](const std::string& name) {
    const std::string list = ListText({{.name = name}, {.name = "b"}});
    fake_.transport.DeliverEvent("sync_status_list",
                                 {{"path", PropertyList("/w")}, {"list", PropertyList(list)}});
  };
  deliver("a");
  EXPECT_EQ(std::vector<std::string>({"list /w a b", "2 list /w a b"}), Calls());
  const std::string large(5000, 'x');
  deliver(large);
  EXPECT_EQ(std::vector<std::string>({"list /w " + large + " b", "2 list /w " + large + " b"}),
            Calls());
  EXPECT_EQ(client_.lastText, second.lastText) << "one text for all clients";
}

TEST_F(SyncApiTest, ListThatCannotBeReadReachesNobody) {
  api_.AddClient(&client_);
  for (const char* list : {"", "0", "x:"}) {
    fake_.transport.DeliverEvent("sync_status_list", TextInfo({{"path", "/w"}, {"list", list}}));
  }
  fake_.transport.DeliverEvent("sync_status_list", TextInfo({{"path", "/w"}}));
  fake_.transport.DeliverEvent("sync_status_list", TextInfo({{"list", "0:"}}));
  EXPECT_TRUE(Calls().empty());
  EXPECT_EQ(3, LogCount("exception: kelvo::CTextDecoder &kelvo::CTextDecoder::operator>>(T &) "
                        "[T = unsigned long]"));
}

TEST_F(SyncApiTest, ResponsesAndErrorsReachClientsWithTheirKeys) {
  SetLogLevel(4);
  api_.AddClient(&client_);
  const std::pair<const char*, Info> events[] = {
      {"sync_response", TextInfo({{"path", "/w"}})},
      {"sync_response", TextInfo({{"command", "reset-status"}})},
      {"sync_response",
       TextInfo({{"command", "sync-lists"}, {"list", "1:x"}, {"list-id", "publicLinks"}})},
      {"sync_response", TextInfo({{"command", "lock"}, {"path", "/w"}})},
      {"sync_error", TextInfo({{"error", "9"}, {"zz", "y"}})},
      {"sync_error", TextInfo({{"error", "nine"}})}};
  for (const auto& [name, info] : events) fake_.transport.DeliverEvent(name, info);
  EXPECT_EQ(
      std::vector<std::string>({"reset", "sync list publicLinks 1:x",
                                "response lock command=lock event_name=sync_response path=/w ",
                                "error 9 error=9 event_name=sync_error zz=y ",
                                "error 0 error=nine event_name=sync_error "}),
      Calls());
  EXPECT_EQ(3, LogCount("OnSyncResponse: "));
  EXPECT_EQ(1, LogCount("OnSyncErrorReceived error=9 event_name=sync_error zz=y "));
}

TEST_F(SyncApiTest, ConnectionStatusIsToldWhenItChanges) {
  api_.AddClient(&client_);
  const auto report = [&](int status) {
    fake_.transport.Deliver(kConnectionStatusName, {{"status", PropertyList(status)}});
  };
  EXPECT_FALSE(api_.IsConnected() || api_.IsAgentActive());
  report(3);
  EXPECT_TRUE(!api_.IsConnected() && api_.IsAgentActive());
  report(4);
  report(4);
  EXPECT_TRUE(api_.IsConnected());
  report(1);
  EXPECT_FALSE(api_.IsConnected() || api_.IsAgentActive());
  report(2);
  EXPECT_EQ(std::vector<std::string>({"connected", "disconnected"}), Calls());
}

TEST_F(SyncApiTest, PingIsAnsweredWithoutAnyClient) {
  fake_.transport.DeliverEvent("fp_ping");
  EXPECT_EQ("event_name=fp_pong ", LastSent());
  fake_.transport.DeliverEvent("unheard_of");
  EXPECT_EQ(4U, fake_.transport.sent.size());
}

TEST_F(SyncApiTest, DialogPreferencesAreBackOnBeforeTheAgentIsTold) {
  SetShowLockNotification(false);
  SetShowUnlockNotification(false);
  fake_.settingsQueue.Hold(true);
  fake_.transport.DeliverEvent("reset_show_dialog");
  fake_.runLoop.RunPosted();
  EXPECT_TRUE(GetShowLockNotification()) << "set on the loop, where menus hear of it";
  EXPECT_TRUE(fake_.transport.Events("reset_show_dialog_success").empty());
  EXPECT_TRUE(GetShowUnlockNotification());
  fake_.settingsQueue.RunAll();
  fake_.runLoop.RunPosted();
  EXPECT_EQ("event_name=reset_show_dialog_success ", LastSent());

  // Each that came meanwhile is answered behind what it has queued, whatever was queued before.
  const auto answers = [this] {
    fake_.runLoop.RunPosted();
    return fake_.transport.Events("reset_show_dialog_success").size();
  };
  fake_.transport.DeliverEvent("reset_show_dialog");
  std::size_t answersBeforeWrite = 0;
  fake_.settingsQueue.Async([&] { answersBeforeWrite = answers(); });
  for (int i = 0; i < 5000; ++i) fake_.transport.DeliverEvent("reset_show_dialog");
  EXPECT_EQ(2U, fake_.settingsQueue.Waiting());
  fake_.settingsQueue.RunAll();
  EXPECT_EQ(2U, answersBeforeWrite);
  EXPECT_EQ(1002U, answers()) << "more are not counted";
}

}  // namespace
}  // namespace kelvo::test
