#include "core/finder_sync.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>

#include "base/logger.h"
#include "tests/support/started_extension.h"

namespace kelvo::test {
namespace {

using std::chrono::seconds;
using Paths = std::vector<std::string>;

using FinderSyncTest = StartedExtension;

class UnconfiguredFinderSyncTest : public StartedExtension {
 protected:
  UnconfiguredFinderSyncTest() : StartedExtension(false) {}
};

TEST_F(UnconfiguredFinderSyncTest, OpensTheChannelAndWaitsForItsConfiguration) {
  ASSERT_FALSE(fake_.transport.sent.empty());
  EXPECT_EQ(fake_.transport.lookedUpName, "com.kelvo.vip.kelvoFinderSync");
  EXPECT_EQ(fake_.transport.sent[0].name, "init_com");
  EXPECT_EQ(fake_.transport.Events("configuration_init").size(), 1u)
      << "what the first connection sends before the bridge stands is discarded";
  ASSERT_EQ(fake_.finder.registrations.size(), 6u);
  EXPECT_EQ(fake_.finder.registrations[3].label, "locked_me");
  EXPECT_EQ(fake_.finder.registrations[3].identifier, "4");
  EXPECT_TRUE(fake_.finder.directories.empty());
  EXPECT_EQ(LogCount("Kelvo FinderSync plugin loaded: "), 1);
  EXPECT_EQ(CSyncCache::m_Instance.load(), nullptr);
  EXPECT_FALSE(extension_->menuForMenuKind(0, {"/w/a"}, std::atomic<bool>{false}));
}

TEST_F(UnconfiguredFinderSyncTest, WhatWasAskedBeforeStartUpIsAskedAgainWhenItStands) {
  extension_->requestBadgeIdentifierForURL("/w/\xff");  // cannot be said, nor stands for "/w"
  extension_->requestBadgeIdentifierForURL("/w/a");
  extension_->requestBadgeIdentifierForURL("/w/b");
  extension_->beginObservingDirectoryAtURL("/w");
  extension_->beginObservingDirectoryAtURL("/x");
  extension_->endObservingDirectoryAtURL("/x");
  EXPECT_EQ(Badge("/w/a"), "");
  EXPECT_EQ(NewRequests(), Paths{});
  Configure();
  EXPECT_EQ(NewRequests(), (Paths{"", "/w", "/w", "/w/a"}));
  EXPECT_TRUE(cache().IsObserved("/w"));
  EXPECT_FALSE(cache().IsObserved("/x"));
  SendList("/w", {{.name = "a"}, {.name = "b", .status = 1}});
  EXPECT_EQ(Badge("/w/b"), "2");
  fake_.runLoop.Advance(seconds(8));
  EXPECT_EQ(NewRequests(), (Paths{"", "/w"})) << "only what has not come is asked once more";
  fake_.runLoop.Advance(seconds(60));
  EXPECT_EQ(NewRequests(), Paths{});
  fake_.transport.Invalidate();  // and found again at once
  fake_.runLoop.RunPosted();
  EXPECT_EQ(connections_, (std::vector<bool>{true, false, true}));
}

TEST_F(FinderSyncTest, AnOldAnswerThatComesLateLeavesNoOldBadge) {
  const std::string path = Home("Work/late/a");
  fake_.finder.before = [&] { SendList(Home("Work/late"), {{.name = "a"}}); };
  extension_->requestBadgeIdentifierForURL(path);
  EXPECT_EQ(fake_.finder.current[path], "1");
}

TEST_F(FinderSyncTest, ABadgeMeantForTheFormerSettingsDoesNotStay) {
  const std::string folder = Home("Work/late");
  const std::vector<ListRecord> records = {{.name = "a"}, {.name = "b"}};
  SendList(folder, records);
  const auto switchOff = [&] {
    WriteUserInfo("<key>show_green_checkmarks</key><false/>");
    Configure();
    SendList(folder, records);
  };
  fake_.finder.before = switchOff;
  extension_->requestBadgeIdentifierForURL(folder + "/a");
  EXPECT_EQ(Badge(folder + "/a"), "");
  WriteUserInfo({});
  Configure();
  SendList(folder, records);
  EXPECT_EQ(Badge(folder + "/a"), "1");
  fake_.finder.before = switchOff;
  const std::vector<std::string_view> names = {"a", "b"};
  extension_->requestBadgeIdentifiers(folder, names);
  EXPECT_EQ(Badge(folder + "/a"), "");
  EXPECT_EQ(Badge(folder + "/b"), "");
}

TEST_F(FinderSyncTest, ManyItemsAtOnceAreSetAsOneByOne) {
  const std::string folder = Home("Work/many");
  std::vector<ListRecord> records(1500);
  std::vector<std::string> names(records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    names[i] = records[i].name = "f" + std::to_string(i);
  }
  SendList(folder, records);
  fake_.finder.current.clear();
  // Another thread's news come between the reading and the setting.
  fake_.finder.before = [&] {
    records[3].status = 1;
    SendList(folder, records);
  };
  const std::vector<std::string_view> views(names.begin(), names.end());
  extension_->requestBadgeIdentifiers(folder, views);
  ASSERT_EQ(fake_.finder.current.size(), records.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(fake_.finder.current[folder + "/" + names[i]], i == 3 ? "2" : "1") << names[i];
  }
  // Names that lie elsewhere are asked for where they lie.
  SendList(folder, {{.name = "sub/x"}, {.name = "a"}});
  EXPECT_EQ(fake_.finder.current[folder + "/sub/x"], "");
  EXPECT_EQ(fake_.finder.current[folder + "/a"], "1");
  EXPECT_EQ(fake_.transport.ListRequests().back(), folder + "/sub/x");
}

TEST_F(FinderSyncTest, OnlyAChangeOfGreenCheckMarksRepaintsAll) {
  WriteFile(Home("Work/f"), "");
  SendList(Home("Work"), {{.name = "f"}, {.name = "d", .type = 2}});
  WriteUserInfo("<key>public_upload</key><true/>");
  NewRequests();
  const std::size_t before = fake_.transport.sent.size();
  const int menus = menusChanged_;
  Configure();
  EXPECT_EQ(fake_.transport.sent.size(), before);
  EXPECT_EQ(fake_.finder.directories.size(), 2u);
  EXPECT_EQ(fake_.finder.directories[1], Paths{Home("Work")});
  WriteUserInfo("<key>show_green_checkmarks</key><false/>");
  Configure();
  EXPECT_EQ(NewRequests(), (Paths{home_, Home("Work")}));
  SendList(Home("Work"), {{.name = "f"}});
  EXPECT_EQ(Badge(Home("Work/f")), "");
  EXPECT_EQ(menusChanged_ - menus, 2) << "once for each configuration";
}

TEST_F(FinderSyncTest, LockedSettingsLeaveTheFormerOnesInForce) {
  fake_.settingsQueue.Hold(true);
  WriteUserInfo("<key>show_green_checkmarks</key><false/>");
  Configure();
  Configure();
  fake_.runLoop.Advance(seconds(3));
  EXPECT_EQ(LogCount("The configuration is not loaded after 2 seconds"), 1);
  extension_->requestBadgeIdentifierForURL(Home("Work/f"));
  EXPECT_EQ(NewRequests(), (Paths{Home("Work"), Home("Work/f")})) << "badges go on meanwhile";
  EXPECT_EQ(fake_.finder.directories.size(), 1u);
  fake_.settingsQueue.RunAll();
  fake_.runLoop.RunPosted();
  EXPECT_EQ(fake_.finder.directories.size(), 2u) << "one load for both events";
}

TEST_F(FinderSyncTest, WhatWasAskedWhileTheAgentWasAwayIsAskedAgain) {
  extension_->requestBadgeIdentifierForURL("/lost/a");  // sent, and lost with the Agent
  fake_.transport.present = false;
  fake_.transport.Invalidate();
  extension_->requestBadgeIdentifierForURL("/away/a");
  fake_.runLoop.Advance(seconds(60));
  NewRequests();
  fake_.transport.sent.clear();
  fake_.transport.present = true;
  fake_.runLoop.Advance(seconds(5));
  ASSERT_GE(fake_.transport.sent.size(), 2u);
  EXPECT_EQ(fake_.transport.sent[0].name, "init_com");
  EXPECT_EQ(fake_.transport.Events("configuration_init").size(), 1u);
  EXPECT_EQ(fake_.transport.ListRequests(), (Paths{"/away", "/away/a", "/lost", "/lost/a"}));
  SendList("/lost", {{.name = "a"}});
  fake_.transport.sent.clear();
  fake_.runLoop.Advance(seconds(7));
  EXPECT_EQ(fake_.transport.ListRequests(), (Paths{"/away", "/away/a"}));
  fake_.transport.Invalidate();  // without an answer; the next Agent is asked as well
  fake_.runLoop.Advance(seconds(7));
  EXPECT_EQ(fake_.transport.ListRequests(), (Paths{"/away", "/away/a", "/away", "/away/a"}));
  connections_.resize(3);
  EXPECT_EQ(connections_, (std::vector<bool>{true, false, true}));
}

TEST_F(FinderSyncTest, AResetLeavesNoOldBadgeOfAShownFolderHoweverLongTheAgentIsDeaf) {
  const std::set<std::string> shown = {"/w/first", "/w/second", "/w/third"};
  const auto requested = [&] {
    std::set<std::string> lists;
    for (const std::string& path : NewRequests()) {
      if (shown.contains(path)) lists.insert(path);
    }
    return lists;
  };
  const auto answer = [&](int status) {
    SendList("/w", {{.name = "first"}, {.name = "second"}, {.name = "third"}});
    for (const std::string& path : shown) SendList(path, {{.name = "a", .status = status}});
  };
  const auto reset = [this] {
    fake_.transport.DeliverEvent("sync_response", {{"command", "reset-status"}});
    fake_.runLoop.RunPosted();
  };
  const std::set<std::string> none;
  for (const std::string& path : shown) extension_->beginObservingDirectoryAtURL(path);
  answer(0);
  fake_.runLoop.Advance(seconds(10));
  requested();
  reset();
  EXPECT_EQ(requested(), shown) << "each of them, although they lie in one folder";
  answer(1);
  fake_.runLoop.Advance(seconds(20));
  EXPECT_EQ(requested(), none);

  fake_.transport.deaf = true;
  reset();
  fake_.transport.outgoingBytes = 1'000'000;
  fake_.transport.FailSend();
  fake_.runLoop.Advance(seconds(900));  // and sweeps
  fake_.transport.deaf = false;
  fake_.transport.outgoingBytes = 0;
  fake_.runLoop.Advance(seconds(8));
  EXPECT_EQ(requested(), shown);
  answer(0);
  EXPECT_EQ(Badge("/w/second/a"), "1");
  fake_.runLoop.Advance(seconds(700));  // what has come is forgotten
  EXPECT_EQ(requested(), none);

  // A list that is to come anew, and a folder that the Agent has told to forget.
  fake_.transport.deaf = true;
  fake_.transport.DeliverEvent("sync_error", {{"error", "3"}, {"mpf", "1"}, {"path", "/w/first"}});
  SendItem("/w/third/a", {{"status", PropertyList("3")}});
  fake_.transport.FailSend();
  fake_.transport.deaf = false;
  fake_.runLoop.Advance(seconds(8));
  EXPECT_EQ(requested(), (std::set<std::string>{"/w/first", "/w/third"}));
}

TEST_F(FinderSyncTest, SweepIsToldOnlyWhileTheChannelIsUp) {
  SendList("/w", {{.name = "a"}});
  fake_.runLoop.Advance(seconds(1200));
  ASSERT_EQ(swept_.size(), 2u);
  EXPECT_EQ(swept_[1], Paths{"/w"});
  fake_.transport.present = false;
  fake_.transport.Invalidate();
  fake_.runLoop.Advance(seconds(1200));
  EXPECT_EQ(swept_.size(), 2u);
}

TEST_F(FinderSyncTest, NewPublicLinksAreNoNewsOfItems) {
  SendItem("/w/a");
  fake_.transport.DeliverEvent("sync_response", {{"command", "sync-lists"},
                                                 {"list-id", "publicLinks"},
                                                 {"list", PropertyList(std::string())}});
  EXPECT_EQ(changedItems_, Paths{"/w/a"});
  EXPECT_EQ(publicLinksChanged_, 1);
}

TEST_F(FinderSyncTest, ReinitGivesANewLogFileInWhichNoNameForgesALine) {
  const std::string log = Home("Library/Logs/KelvoAgentPlugin.log");
  KELVO_LOG(kLogError, "before");
  EXPECT_NE(ReadFile(log).find("before"), std::string::npos);
  rename(log.c_str(), (log + ".old").c_str());
  fake_.transport.DeliverEvent("reinit_finder_logger");
  SetLogLevel(kLogDebug);
  SendList("/w", {{.name = "a\nb", .denied = 1}});
  EXPECT_NE(ReadFile(log).find("setting badge:6 for:/w/a\\nb"), std::string::npos);
  EXPECT_EQ(ReadFile(log).find("before"), std::string::npos);
}

}  // namespace
}  // namespace kelvo::test
