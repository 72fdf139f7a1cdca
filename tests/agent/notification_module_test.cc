#include "agent/notification_module.h"

#include <string>

#include "agent/notifications_bridge.h"
#include "agent/sync_api.h"
#include "cache/sync_cache.h"
#include "core/finder_configuration.h"
#include "tests/support/fixture.h"
#include "ui/notification_preferences.h"

namespace kelvo::test {
namespace {

// Writes down what it is asked to show.
class NotificationModuleTest : public Fixture, public CNotificationModule::Dialogs {
 protected:
  NotificationModuleTest() {
    fake_.transport.present = true;
    InitializeBridge("x", &configuration_, nullptr, fake_.transport, fake_.runLoop, fake_.clock);
    api_.Initialize(&configuration_);
    api_.SetCache(&cache_);
    cache_.Initialize(&configuration_, &api_);
    module_.Initialize(&configuration_, &api_, &cache_);
    module_.Initialize(nullptr, nullptr, nullptr);
  }
  ~NotificationModuleTest() override { DeallocBridge(); }

  void showError(int code, const std::string& path) override {
    shown_ += "error " + std::to_string(code) + " " + path;
  }
  void showUnlockForFile(const std::string& path) override { shown_ += "unlocked " + path; }
  void showLockForFile(const std::string& path) override { shown_ += "locked " + path; }
  bool showUnlockOverrideForFile(const std::string& path, const std::string& lockOwner,
                                 const std::string& lockTime) override {
    return path + lockOwner + lockTime == "/w/aAnnMay 01, 2024";
  }

  // What is shown, or the path that the Agent is told to open, when it answers.
  std::string Respond(PropertyList::Dictionary response) {
    shown_.clear();
    fake_.transport.sent.clear();
    fake_.transport.DeliverEvent("sync_response", std::move(response));
    for (const auto& event : fake_.transport.Events("open_file")) {
      shown_ += "open " + FindValue(event, "path")->ToText().value_or("");
    }
    return shown_;
  }

  CFinderConfiguration configuration_{PropertyList::Dictionary{}};
  CSyncApi api_{fake_.runLoop, fake_.settingsQueue};
  CSyncCache cache_{fake_.runLoop, fake_.clock};
  CNotificationModule module_{*this};
  std::string shown_;
};

TEST_F(NotificationModuleTest, ResultAndPreferencesDecideWhatIsShown) {
  const struct {
    const char* command;
    const char* result;
    bool showUnlock, showLock, open;
    const char* shown;
  } rows[] = {
      {"lock", "0", true, true, true, "locked /w/ü"},
      {"lock", "abc", false, true, false, "locked /w/ü"},
      {"lock", "0", true, false, true, "open /w/ü"},
      {"lock", "0", true, false, false, ""},
      {"unlock", "0", true, false, true, "unlocked /w/ü"},
      {"unlock", "0", false, true, true, ""},
      {"lock", "4", false, false, true, "error 4 /w/ü"},
      {"unlock", " -3x", false, true, false, "error -3 /w/ü"},
      // A number that does not fit is a failure, not the success of its low 32 bits.
      {"unlock", "4294967296", true, true, false, "error 2147483647 /w/ü"},
  };
  for (const auto& row : rows) {
    SetShowUnlockNotification(row.showUnlock);
    SetShowLockNotification(row.showLock);
    SetOpenFileAfterLock(row.open);
    api_.RequestLock("/w/ü", 0);
    EXPECT_EQ(row.shown,
              Respond({{"command", row.command}, {"path", "/w/ü"}, {"result", row.result}}))
        << row.shown;
    EXPECT_FALSE(cache_.IsReponseForThisInstance("/w/ü")) << row.shown;
  }
}

TEST_F(NotificationModuleTest, OnlyThisInstancesCommandsSpeakAndOnlyOnce) {
  const PropertyList::Dictionary done = {{"command", "unlock"}, {"path", "/w/a"}, {"result", "0"}};
  const PropertyList::Dictionary others[] = {
      {{"command", "status-list"}, {"path", "/w/a"}, {"result", "0"}},
      {{"command", "unlock"}, {"path", "/w/b"}, {"result", "0"}},
      {{"command", "unlock"}, {"path", "/w/a"}},
      {{"command", "unlock"}, {"result", "0"}},
  };
  api_.RequestUnlock("/w/a");
  for (const auto& other : others) EXPECT_EQ("", Respond(other));
  EXPECT_EQ("unlocked /w/a", Respond(done));
  EXPECT_EQ("", Respond(done));
  EXPECT_TRUE(module_.ShowUnlockOverride("/w/a", "Ann", "May 01, 2024"));
}

}  // namespace
}  // namespace kelvo::test
