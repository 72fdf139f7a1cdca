#include "cache/sync_cache_items.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "agent/sync_status_list_response.h"
#include "cache/prepared_list.h"
#include "tests/support/agent_text.h"

namespace kelvo::test {
namespace {

using Random = std::mt19937_64;

// The container and, as its model, the plain map that it stands for. Names and item ids are few, so
// that they meet again and again; one value in a few hundred is too large for a row.
class ItemsAndModel {
 public:
  ItemsAndModel(std::uint64_t seed, std::uint64_t names, std::uint64_t ids, std::uint64_t life)
      : random_(seed), nameCount_(names), idCount_(ids), life_(life) {}

  void Step() {
    const std::uint64_t kind = Draw(1000);
    if (Draw(life_) == 0) return Replace();
    if (Draw(life_) == 0) return CheckNames();
    const std::string name = DrawName();
    if (kind < 400) {
      const ListRecord record = DrawRecord(name);
      CSyncCacheItem item = ItemOf(record);
      // Often only numbers change.
      if (const auto known = model_.find(name); known != model_.end() && Draw(2) == 0) {
        item = known->second;
        (Draw(2) == 0 ? item.itemId : item.lockTime) = record.itemId;
      }
      items_.Put(name, item);
      model_[name] = item;
    } else if (kind < 500) {
      EraseFirst(static_cast<std::int64_t>(Draw(idCount_)));
    }
    Compare(name);
  }

  void CheckNames() {
    const SyncCacheNames names = items_.SortedNames();
    ASSERT_EQ(names.Size(), model_.size());
    ASSERT_EQ(items_.Size(), model_.size());
    std::size_t place = 0;
    for (const auto& entry : model_) {
      ASSERT_EQ(names[place++], entry.first);
      Compare(entry.first);
    }
    CheckStatuses();
  }

 private:
  std::uint64_t Draw(std::uint64_t below) { return random_() % below; }
  std::string DrawText(std::uint64_t most) {
    if (Draw(5'000) == 0) most = 70'000;
    return std::string(Draw(most), static_cast<char>(Draw(256)));
  }
  std::string DrawName() {
    std::string name = std::to_string(Draw(nameCount_));
    if (Draw(100) == 0) name += static_cast<char>(Draw(256));
    if (name.ends_with('7')) name.insert(0, "Minutes of the meeting ");
    if (name == "3") name.clear();
    return name == "4" ? std::string(70'000, 'n') : name;
  }
  ListRecord DrawRecord(const std::string& name) {
    const auto number = [this](int small) {
      return Draw(500) == 0 ? static_cast<int>(random_()) : static_cast<int>(Draw(small));
    };
    return {.name = name,
            .type = number(3),
            .status = number(2),
            .permissions = number(1200),
            .denied = number(2),
            .modifiedBy = DrawText(20),
            .fileId = DrawText(3),
            .itemId = static_cast<long long>(Draw(idCount_)),
            .lock = number(4),
            .lockHolder = DrawText(3),
            .lockTime = Draw(500) == 0 ? static_cast<long>(random_()) : 1'700'000'000};
  }
  static CSyncCacheItem ItemOf(const ListRecord& record) {
    using enum sync::ESyncItemLock;
    const auto lock = static_cast<sync::ESyncItemLock>(record.lock);
    const auto denied = static_cast<sync::EPermissionsDenied>(record.denied);
    const bool isHeld = lock != NO_SYNC_LOCK && lock != SYNC_LOCK_FOR_ME;
    return {.fileId = record.fileId,
            .itemId = record.itemId,
            .status = DeriveBadgeStatus(sync::ESyncItemStatus{record.status}, lock, denied),
            .lock = lock,
            .lockTime = lock == NO_SYNC_LOCK ? 0 : record.lockTime,
            .lockOwner = isHeld ? record.lockHolder : std::string(),
            .modifiedBy = record.modifiedBy,
            .permissions = static_cast<sync::EItemPermissions>(record.permissions),
            .denied = denied,
            .folder = record.type == 2};
  }
  void EraseFirst(std::int64_t itemId) {
    items_.EraseFirstWithItemId(itemId);
    const auto first = std::find_if(model_.begin(), model_.end(), [itemId](const auto& entry) {
      return entry.second.itemId == itemId;
    });
    if (first != model_.end()) model_.erase(first);
  }
  void Replace() {
    std::vector<ListRecord> records;
    model_.clear();
    for (std::uint64_t left = Draw(2 * nameCount_); left > 0; --left) {
      records.push_back(DrawRecord(DrawName()));
      model_[records.back().name] = ItemOf(records.back());
    }
    std::string text = ListText(records);
    if (Draw(8) == 0) text.append(text.size() * 3, '.');
    CSyncStatusListResponse response(nullptr, "/w", std::make_shared<const std::string>(text));
    items_ = PrepareList(response).items;
  }
  void CheckStatuses() {
    constexpr BadgeStatus kUntouched{77};
    std::vector<std::string> names;
    for (const auto& entry : model_) names.insert(names.end(), {entry.first, DrawName()});
    const std::vector<std::string_view> views(names.begin(), names.end());
    std::vector<BadgeStatus> statuses(names.size(), kUntouched);
    items_.FindStatuses(views, statuses);
    for (std::size_t i = 0; i < names.size(); ++i) {
      const auto known = model_.find(names[i]);
      ASSERT_EQ(statuses[i], known == model_.end() ? kUntouched : known->second.status);
    }
  }
  void Compare(const std::string& name) {
    const std::optional<SyncCacheItemView> item = items_.Find(name);
    auto known = model_.find(name);
    ASSERT_EQ(item.has_value(), known != model_.end()) << name;
    if (!item) return;
    ASSERT_TRUE(*item == known->second.As<std::string_view>()) << name;
  }

  Random random_;
  const std::uint64_t nameCount_, idCount_;
  const std::uint64_t life_;  // steps until the next list
  std::map<std::string, CSyncCacheItem> model_;
  SyncCacheItems items_;
};

TEST(SyncCacheItemsTest, BehavesAsAnOrderedMapOfItems) {
  struct Round {
    std::uint64_t names, ids, life;
    int steps;
  };
  // The last is hardly ever replaced: what changes has only the list's rows or itself to be kept
  // in.
  const Round rounds[] = {{8, 4, 50, 20'000},
                          {2'000, 1, 20'000, 40'000},
                          {500, 500, 2'000, 60'000},
                          {500, 2, 5'000, 60'000},
                          {20'000, 9, 1'000'000, 80'000}};
  for (const Round& round : rounds) {
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    ItemsAndModel both(seed, round.names, round.ids, round.life);
    for (int step = 0; step < round.steps && !HasFatalFailure(); ++step) both.Step();
    if (!HasFatalFailure()) both.CheckNames();
    if (HasFatalFailure()) return;
  }
}

// Others than this index know names by their hashes alone.
TEST(NameHashTest, TellsApartNamesThatDifferInLengthAlone) {
  std::set<std::uint64_t> hashes;
  for (int i = 0; i < 20'000; ++i) hashes.insert(NameHash(std::to_string(i)));
  for (std::size_t length = 6; length < 60; ++length) {
    hashes.insert(NameHash(std::string(length, 'a')));
  }
  EXPECT_EQ(hashes.size(), 20'054u);
}

TEST(SyncCacheItemsTest, NamesThatDifferOnlyInZeroBytesAreInOrder) {
  std::vector<ListRecord> records = {{.name = "z"}};
  for (std::size_t i = 0; i < 40; ++i) {
    records.push_back({.name = "a name in common" + std::string(i * 7 % 40, '\0')});
  }
  CSyncStatusListResponse response(nullptr, "/w",
                                   std::make_shared<const std::string>(ListText(records)));
  const SyncCacheNames names = PrepareList(response).names;
  ASSERT_EQ(names.Size(), 41u);
  for (std::size_t i = 1; i < names.Size(); ++i) EXPECT_LT(names[i - 1], names[i]);
}

}  // namespace
}  // namespace kelvo::test
