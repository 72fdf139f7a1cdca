#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/name_index.h"
#include "cache/sync_cache_item.h"

namespace kelvo {

// The names of a folder's items in byte order. Stands for itself: whatever becomes of the items.
class SyncCacheNames {
 public:
  SyncCacheNames() = default;
  SyncCacheNames(const SyncCacheNames&) = delete;
  SyncCacheNames& operator=(const SyncCacheNames&) = delete;
  SyncCacheNames(SyncCacheNames&&) = default;
  SyncCacheNames& operator=(SyncCacheNames&&) = default;

  std::size_t Size() const { return sorted_.size(); }
  std::string_view operator[](std::size_t place) const { return sorted_[place].Name(); }

 private:
  friend class SyncCacheItems;
  struct Entry {
    Entry(std::string_view text, std::uint32_t aRow)
        : name(text.data()), length(static_cast<std::uint32_t>(text.size())), row(aRow) {}
    std::string_view Name() const { return {name, length}; }

    std::uint64_t key = 0;  // some bytes of the name
    const char* name;
    std::uint32_t length;
    std::uint32_t row;  // for who sorts rows
  };

  void Sort();
  static void SortByKey(std::span<Entry> entries);
  static std::size_t CommonPrefix(std::span<const Entry> entries, std::size_t known);
  static std::uint64_t KeyAt(std::string_view name, std::size_t at);

  std::shared_ptr<const std::string> text_;  // what most of the views point into
  std::vector<std::string> owned_;           // what the others do
  std::vector<Entry> sorted_;
};

// The items of one folder by name. How they are kept is this class's own affair; callers see single
// items, names in byte order, and whole replacement.
//
// A folder is as large as its list, and a list comes as one text. So the text is kept, and of each
// item a row of fixed size that says where in it the item's texts lie; an index finds rows by name.
// An item that is given other texts later has these beside the list's. What comes under a new name
// or with another item id, or does not fit into a row, is kept as an item of its own; such are
// never gathered into rows, which would hold up everybody: the folder's next list does it.
//
// Threads: one at a time; the cache locks.
class SyncCacheItems {
 public:
  SyncCacheItems() = default;
  // Empty; items will be appended that lie in `text`.
  explicit SyncCacheItems(std::shared_ptr<const std::string> text);
  SyncCacheItems(const SyncCacheItems&) = delete;
  SyncCacheItems& operator=(const SyncCacheItems&) = delete;
  // What was moved from may only be assigned to or destroyed.
  SyncCacheItems(SyncCacheItems&&) = default;
  SyncCacheItems& operator=(SyncCacheItems&&) = default;

  // Nothing when there is none. Valid until the next change.
  std::optional<SyncCacheItemView> Find(std::string_view name) const;
  // The status of each; leaves those of names that are not there.
  void FindStatuses(std::span<const std::string_view> names, std::span<BadgeStatus> statuses) const;
  std::size_t Size() const { return size_; }
  // Of memory, about.
  std::size_t Bytes() const {
    return (text_ == nullptr ? 0 : text_->size()) + rows_.capacity() * kBytesPerRow + laterBytes_;
  }
  SyncCacheNames SortedNames() const;
  // Of one of them, empty when there is none. Valid until the next change.
  std::string_view AnyName() const;

  // Both store the item under the name, replacing what was there. Appending is for the items of a
  // list: it copies nothing that lies in the text. FinishAppending gives back what it took too
  // much.
  void Append(std::string_view name, const SyncCacheItemView& item);
  void FinishAppending();
  void Put(std::string_view name, CSyncCacheItem item);
  // Removes the first item, in name order, with this item id. The first call sorts all items,
  // unless OrderByItemId has been called.
  void EraseFirstWithItemId(std::int64_t itemId);
  void OrderByItemId();

 private:
  // Where a text lies, counted from the item's name, or in what the item owns.
  struct Part {
    std::uint16_t start, length;
  };
  struct Row {
    std::int64_t itemId;
    std::uint32_t name;                    // offset in the text
    std::uint32_t lockTime;                // seconds since 1970
    std::uint32_t own = NameIndex::kNone;  // place in own_ of texts that came later
    Part fileId, lockOwner, modifiedBy;
    std::uint16_t nameLength;
    std::int16_t permissions;
    std::uint8_t status;
    std::int8_t lock, denied;
    bool folder : 1;
    bool live : 1;  // false: removed, or among the changed items
  };
  static_assert(sizeof(Row) == 40);
  static constexpr std::size_t kBytesPerRow = sizeof(Row) + 8;  // with its place in the index
  static constexpr std::size_t kBytesPerChanged = 320;          // without its texts

  // False when a number does not fit; the row may then be half filled.
  static bool PackNumbers(const SyncCacheItemView& item, Row& row);
  bool PackTexts(std::string_view name, const SyncCacheItemView& item, Row& row) const;
  bool PackOwnTexts(const CSyncCacheItem& item, Row& row);
  std::string_view Name(const Row& row) const { return {text_->data() + row.name, row.nameLength}; }
  SyncCacheItemView View(const Row& row) const;
  template <typename Visit>
  void VisitLive(Visit visit) const;

  std::uint32_t RowOf(std::string_view name, std::uint64_t hash) const;
  std::optional<SyncCacheItemView> Find(std::string_view name, std::uint64_t hash) const;
  std::size_t ExpectedRows() const;
  // Enters the rows appended since the last time into the index.
  void IndexAppended();
  void IndexRow(std::uint32_t row, std::uint64_t hash);
  // The first row in name order that has this item id and is live, or NameIndex::kNone.
  std::uint32_t FirstRowWithItemId(std::int64_t itemId);
  static std::size_t BytesOfChanged(const std::pair<const std::string, CSyncCacheItem>& entry);
  void Change(std::string_view name, CSyncCacheItem item);
  void Unchange(std::string_view name);
  // Moves all texts into a new one, without what is no longer used.
  void Compact();

  std::shared_ptr<const std::string> text_;
  std::vector<Row> rows_;
  std::vector<std::unique_ptr<char[]>> own_;  // all texts of a row but its name
  NameIndex index_;                           // of the rows below indexed_, live or not
  std::size_t indexed_ = 0;                   // rows from here on were just appended
  std::size_t size_ = 0;
  std::size_t textInUse_ = 0;   // about
  std::size_t laterBytes_ = 0;  // of own_ and changed_

  std::map<std::string, CSyncCacheItem, std::less<>> changed_;
  std::set<std::pair<std::int64_t, std::string_view>> changedByItemId_;  // names are changed_'s

  // Rows by item id and name, once that has been asked for.
  std::vector<std::uint32_t> byItemId_;
  bool isOrdered_ = false;
  // Of an item id that many items had, the place in byItemId_ of the first that may be live.
  std::unordered_map<std::int64_t, std::size_t> firstLive_;
};

}  // namespace kelvo
