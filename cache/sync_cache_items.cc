#include "cache/sync_cache_items.h"

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <numeric>
#include <tuple>

namespace kelvo {
namespace {

constexpr std::size_t kMostRows = std::size_t{1} << 30;
constexpr std::size_t kFirstRows = 1024;
constexpr std::size_t kShortestRecord = 18;  // bytes of list text
constexpr std::size_t kRecordOverhead = 40;  // bytes of list text for lengths and numbers, usually
constexpr std::size_t kLongSkip = 16;
constexpr std::size_t kFewNames = 16;
constexpr std::size_t kManyNames = 512;

// Whether the value is the same in the narrower type.
template <typename Narrow, typename Wide>
bool Narrows(Wide value, Narrow& narrow) {
  narrow = static_cast<Narrow>(value);
  return static_cast<Wide>(narrow) == value;
}

// Where `part` begins in `text`, if it lies there.
std::optional<std::size_t> OffsetIn(const std::string& text, std::string_view part) {
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  const std::less<> before;  // also of pointers into different objects
  if (before(part.data(), begin) || before(end, part.data())) return std::nullopt;
  if (part.size() > static_cast<std::size_t>(end - part.data())) return std::nullopt;
  return static_cast<std::size_t>(part.data() - begin);
}

std::size_t TextSize(std::string_view name, const SyncCacheItemView& item) {
  return name.size() + item.fileId.size() + item.lockOwner.size() + item.modifiedBy.size();
}

}  // namespace

SyncCacheItems::SyncCacheItems(std::shared_ptr<const std::string> text) : text_(std::move(text)) {}

bool SyncCacheItems::PackNumbers(const SyncCacheItemView& item, Row& row) {
  row.itemId = item.itemId;
  row.folder = item.folder;
  return Narrows(item.lockTime, row.lockTime) &&
         Narrows(static_cast<std::int32_t>(item.permissions), row.permissions) &&
         Narrows(static_cast<std::int32_t>(item.status), row.status) &&
         Narrows(static_cast<std::int32_t>(item.lock), row.lock) &&
         Narrows(static_cast<std::int32_t>(item.denied), row.denied);
}

bool SyncCacheItems::PackTexts(std::string_view name, const SyncCacheItemView& item,
                               Row& row) const {
  if (text_ == nullptr) return false;
  const std::optional<std::size_t> start = OffsetIn(*text_, name);
  if (!start || !Narrows(*start, row.name) || !Narrows(name.size(), row.nameLength)) return false;
  const auto pack = [this, start](std::string_view part, Part& packed) {
    packed = {0, 0};
    if (part.empty()) return true;
    const std::optional<std::size_t> place = OffsetIn(*text_, part);
    return place && *place >= *start && Narrows(*place - *start, packed.start) &&
           Narrows(part.size(), packed.length);
  };
  return pack(item.fileId, row.fileId) && pack(item.lockOwner, row.lockOwner) &&
         pack(item.modifiedBy, row.modifiedBy);
}

bool SyncCacheItems::PackOwnTexts(const CSyncCacheItem& item, Row& row) {
  const std::size_t size = item.fileId.size() + item.lockOwner.size() + item.modifiedBy.size();
  if (size > std::numeric_limits<std::uint16_t>::max()) return false;
  laterBytes_ += size;
  if (row.own != NameIndex::kNone) {
    laterBytes_ -= std::size_t{row.fileId.length} + row.lockOwner.length + row.modifiedBy.length;
  }
  auto texts = std::make_unique_for_overwrite<char[]>(size);
  std::uint16_t end = 0;
  const auto pack = [&texts, &end](const std::string& part, Part& packed) {
    packed = {end, static_cast<std::uint16_t>(part.size())};
    std::copy(part.begin(), part.end(), texts.get() + end);
    end = static_cast<std::uint16_t>(end + packed.length);
  };
  pack(item.fileId, row.fileId);
  pack(item.lockOwner, row.lockOwner);
  pack(item.modifiedBy, row.modifiedBy);
  if (row.own == NameIndex::kNone) {
    row.own = static_cast<std::uint32_t>(own_.size());
    own_.emplace_back();
  }
  own_[row.own] = std::move(texts);
  return true;
}

SyncCacheItemView SyncCacheItems::View(const Row& row) const {
  const char* const base =
      row.own == NameIndex::kNone ? text_->data() + row.name : own_[row.own].get();
  const auto part = [base](Part p) { return std::string_view(base + p.start, p.length); };
  return {part(row.fileId),
          row.itemId,
          static_cast<BadgeStatus>(row.status),
          static_cast<sync::ESyncItemLock>(row.lock),
          row.lockTime,
          part(row.lockOwner),
          part(row.modifiedBy),
          static_cast<sync::EItemPermissions>(row.permissions),
          static_cast<sync::EPermissionsDenied>(row.denied),
          row.folder};
}

// Calls `visit(name, item)` for every item, in no order.
template <typename Visit>
void SyncCacheItems::VisitLive(Visit visit) const {
  for (const Row& row : rows_) {
    if (row.live) visit(Name(row), View(row));
  }
  for (const auto& entry : changed_) {
    const CSyncCacheItem& item = entry.second;
    visit(std::string_view(entry.first), item.As<std::string_view>());
  }
}

std::uint32_t SyncCacheItems::RowOf(std::string_view name, std::uint64_t hash) const {
  return index_.Find(hash, [this, name](std::uint32_t row) {
    const std::string_view known = Name(rows_[row]);
    // Who repaints a list has its names from the same text.
    return known.size() == name.size() && (known.data() == name.data() || known == name);
  });
}

std::optional<SyncCacheItemView> SyncCacheItems::Find(std::string_view name) const {
  return Find(name, rows_.empty() ? 0 : NameHash(name));
}

std::optional<SyncCacheItemView> SyncCacheItems::Find(std::string_view name,
                                                      std::uint64_t hash) const {
  const std::uint32_t row = RowOf(name, hash);
  if (row != NameIndex::kNone && rows_[row].live) return View(rows_[row]);
  if (changed_.empty()) return std::nullopt;
  auto found = changed_.find(name);
  if (found == changed_.end()) return std::nullopt;
  return found->second.As<std::string_view>();
}

// Some at a time, as each look-up waits for memory three times: for the slot, the row and the name.
void SyncCacheItems::FindStatuses(std::span<const std::string_view> names,
                                  std::span<BadgeStatus> statuses) const {
  constexpr std::size_t kBlock = 16;
  std::uint64_t hashes[kBlock];
  std::uint32_t rows[kBlock];
  for (std::size_t begin = 0; begin < names.size(); begin += kBlock) {
    const std::span block = names.subspan(begin, std::min(kBlock, names.size() - begin));
    for (std::size_t i = 0; i < block.size(); ++i) {
      hashes[i] = NameHash(block[i]);
      index_.Prefetch(hashes[i]);
    }
    for (std::size_t i = 0; i < block.size(); ++i) {
      rows[i] = index_.Find(hashes[i], [](std::uint32_t) { return true; });  // very likely
      if (rows[i] != NameIndex::kNone) __builtin_prefetch(&rows_[rows[i]]);
    }
    for (std::size_t i = 0; i < block.size(); ++i) {
      if (rows[i] != NameIndex::kNone) __builtin_prefetch(Name(rows_[rows[i]]).data());
    }
    for (std::size_t i = 0; i < block.size(); ++i) {
      const std::uint32_t row = RowOf(block[i], hashes[i]);
      if (row != NameIndex::kNone && rows_[row].live) {
        statuses[begin + i] = static_cast<BadgeStatus>(rows_[row].status);
      } else if (const auto found = changed_.find(block[i]); found != changed_.end()) {
        statuses[begin + i] = found->second.status;
      }
    }
  }
}

std::string_view SyncCacheItems::AnyName() const {
  const auto row =
      std::find_if(rows_.begin(), rows_.end(), [](const Row& each) { return each.live; });
  if (row != rows_.end()) return Name(*row);
  return changed_.empty() ? std::string_view() : changed_.begin()->first;
}

SyncCacheNames SyncCacheItems::SortedNames() const {
  SyncCacheNames names;
  names.text_ = text_;
  names.sorted_.reserve(size_);
  names.owned_.reserve(changed_.size());
  for (const Row& row : rows_) {
    if (row.live) names.sorted_.emplace_back(Name(row), 0);
  }
  for (const auto& entry : changed_) {
    names.sorted_.emplace_back(names.owned_.emplace_back(entry.first), 0);
  }
  names.Sort();
  return names;
}

// Many are dealt out byte by byte, which takes no comparisons, hence no wrong guesses of the
// processor.
void SyncCacheNames::SortByKey(std::span<Entry> entries) {
  if (entries.size() < kManyNames) {
    return std::sort(entries.begin(), entries.end(),
                     [](const Entry& a, const Entry& b) { return a.key < b.key; });
  }
  constexpr std::size_t kBytes = sizeof(Entry::key);
  const auto byteOf = [](const Entry& entry, std::size_t byte) {
    return static_cast<std::size_t>(entry.key >> 8 * byte & 0xFF);
  };
  std::array<std::array<std::size_t, 256>, kBytes> starts{};  // of the entries with this byte
  for (const Entry& entry : entries) {
    for (std::size_t byte = 0; byte < kBytes; ++byte) ++starts[byte][byteOf(entry, byte)];
  }
  std::vector<Entry> spare(entries.begin(), entries.end());
  std::span<Entry> from = entries, to = spare;
  for (std::size_t byte = 0; byte < kBytes; ++byte) {
    auto& start = starts[byte];
    if (start[byteOf(from.front(), byte)] == entries.size()) continue;
    std::exclusive_scan(start.begin(), start.end(), start.begin(), std::size_t{0});
    for (const Entry& entry : from) to[start[byteOf(entry, byte)]++] = entry;
    std::swap(from, to);
  }
  if (from.data() != entries.data()) std::copy(from.begin(), from.end(), entries.begin());
}

// Names lie all over the text, so that comparing them takes long. They are sorted by the few bytes
// behind what all have in common, and those that are alike in these by the next, and so on.
void SyncCacheNames::Sort() {
  const auto before = [](const Entry& a, const Entry& b) { return a.Name() < b.Name(); };
  if (std::is_sorted(sorted_.begin(), sorted_.end(), before)) return;
  if (sorted_.size() < kFewNames) return std::sort(sorted_.begin(), sorted_.end(), before);
  struct Range {
    std::size_t begin, end;
    std::size_t alike;  // bytes at the beginning of all its names
  };
  std::vector<Range> ranges = {{0, sorted_.size(), 0}};
  while (!ranges.empty()) {
    const Range range = ranges.back();
    ranges.pop_back();
    const std::span entries(sorted_.data() + range.begin, range.end - range.begin);
    const std::size_t alike = CommonPrefix(entries, range.alike);
    for (Entry& entry : entries) entry.key = KeyAt(entry.Name(), alike);
    SortByKey(entries);
    for (std::size_t begin = 0, end; begin < entries.size(); begin = end) {
      bool isShort = false;
      for (end = begin; end < entries.size() && entries[end].key == entries[begin].key; ++end) {
        isShort = isShort || entries[end].length < alike + sizeof(Entry::key);
      }
      if (isShort || end - begin < kFewNames) {
        std::sort(entries.begin() + begin, entries.begin() + end, before);
      } else {
        ranges.push_back({range.begin + begin, range.begin + end, alike + sizeof(Entry::key)});
      }
    }
  }
}

// How many bytes the names have in common, of which `known` are known.
std::size_t SyncCacheNames::CommonPrefix(std::span<const Entry> entries, std::size_t known) {
  const std::string_view first = entries[0].Name();
  std::size_t common = first.size();
  for (const Entry& entry : entries) {
    const std::size_t most = std::min<std::size_t>(common, entry.length);
    common = known;
    while (common < most && entry.name[common] == first[common]) ++common;
  }
  return common;
}

// The name's next bytes from there as a number that orders as they do; zeros beyond its end.
std::uint64_t SyncCacheNames::KeyAt(std::string_view name, std::size_t at) {
  std::uint64_t key = 0;
  for (std::size_t i = at; i < at + sizeof key; ++i) {
    key = key << 8 | (i < name.size() ? static_cast<unsigned char>(name[i]) : 0U);
  }
  return key;
}

// As many as the text holds if it goes on as it began: to grow step by step would copy the rows
// again and again.
std::size_t SyncCacheItems::ExpectedRows() const {
  const std::size_t most = std::min(kMostRows, text_->size() / kShortestRecord + 1);
  if (rows_.size() < kFirstRows) return std::max(rows_.size() + 1, std::min(kFirstRows, most));
  const double read = static_cast<double>(rows_.back().name) + rows_.back().nameLength + 1;
  const double whole = static_cast<double>(text_->size()) / read;
  const double expected = static_cast<double>(rows_.size()) * std::max(1.25, 1.02 * whole);
  return std::max(rows_.size() + 1,
                  static_cast<std::size_t>(std::min(static_cast<double>(most), expected)));
}

void SyncCacheItems::Append(std::string_view name, const SyncCacheItemView& item) {
  Row row{};
  if (!PackNumbers(item, row) || !PackTexts(name, item, row) || rows_.size() == kMostRows) {
    IndexAppended();
    return Put(name, item.As<std::string>());
  }
  row.live = true;
  if (rows_.size() == rows_.capacity()) rows_.reserve(ExpectedRows());
  rows_.push_back(row);
  ++size_;
  textInUse_ += TextSize(name, item);
}

// Some at a time, since the slots of an index lie all over it: while they are fetched, the next
// names are hashed.
void SyncCacheItems::IndexAppended() {
  isOrdered_ = false;
  if (rows_.size() > index_.Capacity()) {
    index_.Reset(rows_.capacity());
    indexed_ = 0;
  }
  constexpr std::size_t kBlock = 16;
  std::uint64_t hashes[kBlock];
  while (indexed_ < rows_.size()) {
    const std::size_t count = std::min(kBlock, rows_.size() - indexed_);
    for (std::size_t i = 0; i < count; ++i) {
      hashes[i] = NameHash(Name(rows_[indexed_ + i]));
      index_.Prefetch(hashes[i]);
    }
    for (std::size_t i = 0; i < count; ++i) {
      IndexRow(static_cast<std::uint32_t>(indexed_ + i), hashes[i]);
    }
    indexed_ += count;
  }
}

void SyncCacheItems::IndexRow(std::uint32_t row, std::uint64_t hash) {
  if (!rows_[row].live) return;
  const std::string_view name = Name(rows_[row]);
  if (!changed_.empty()) Unchange(name);
  const std::uint32_t known = RowOf(name, hash);
  if (known == NameIndex::kNone) return index_.Insert(hash, row);
  // The name's later item, in the place of the earlier.
  if (rows_[known].live) --size_;
  textInUse_ -= std::min(textInUse_, TextSize(name, View(rows_[known])));
  rows_[known] = rows_[row];
  rows_[row].live = false;
}

void SyncCacheItems::FinishAppending() {
  if (rows_.capacity() > rows_.size() + rows_.size() / 8) rows_.shrink_to_fit();
  // Made early, when the rest of the text seemed to hold more. To enter all rows again harms no
  // changed item, since of those entered before, none that is live has the name of one.
  if (index_.Capacity() > rows_.capacity()) index_.Reset(0);
  IndexAppended();
  // A text that is mostly something else, such as one name again and again, is not worth keeping.
  const bool isWasteful =
      text_ != nullptr &&
      text_->size() > 2 * (textInUse_ + size_ * kRecordOverhead) + kShortestRecord;
  if (isWasteful) Compact();
}

void SyncCacheItems::Put(std::string_view name, CSyncCacheItem item) {
  const std::uint32_t known = rows_.empty() ? NameIndex::kNone : RowOf(name, NameHash(name));
  if (known == NameIndex::kNone || !rows_[known].live) return Change(name, std::move(item));
  Row& row = rows_[known];
  const SyncCacheItemView was = View(row);
  const bool isSameText = item.fileId == was.fileId && item.lockOwner == was.lockOwner &&
                          item.modifiedBy == was.modifiedBy;
  if (Row next = row; item.itemId == was.itemId && PackNumbers(item.As<std::string_view>(), next) &&
                      (isSameText || PackOwnTexts(item, next))) {
    row = next;
    return;
  }
  row.live = false;
  --size_;
  Change(name, std::move(item));
}

std::size_t SyncCacheItems::BytesOfChanged(
    const std::pair<const std::string, CSyncCacheItem>& entry) {
  return kBytesPerChanged + TextSize(entry.first, entry.second.As<std::string_view>());
}

void SyncCacheItems::Change(std::string_view name, CSyncCacheItem item) {
  auto [entry, isNew] = changed_.try_emplace(std::string(name));
  if (!isNew) {
    changedByItemId_.erase({entry->second.itemId, entry->first});
    laterBytes_ -= BytesOfChanged(*entry);
  }
  if (isNew) ++size_;
  entry->second = std::move(item);
  changedByItemId_.emplace(entry->second.itemId, entry->first);
  laterBytes_ += BytesOfChanged(*entry);
}

void SyncCacheItems::Unchange(std::string_view name) {
  auto entry = changed_.find(name);
  if (entry == changed_.end()) return;
  changedByItemId_.erase({entry->second.itemId, entry->first});
  laterBytes_ -= BytesOfChanged(*entry);
  changed_.erase(entry);
  --size_;
}

void SyncCacheItems::Compact() {
  std::size_t bytes = 0;
  VisitLive([&bytes](std::string_view name, const SyncCacheItemView& item) {
    bytes += TextSize(name, item);
  });
  auto text = std::make_shared<std::string>();
  text->reserve(bytes);  // so that what lies in it stays where it is
  SyncCacheItems fresh(text);
  fresh.rows_.reserve(std::min(size_, kMostRows));
  VisitLive([&](std::string_view name, const SyncCacheItemView& item) {
    const auto move = [&text](std::string_view part) {
      text->append(part);
      return std::string_view(*text).substr(text->size() - part.size());
    };
    const std::size_t end = text->size();
    const std::size_t changed = fresh.changed_.size();
    SyncCacheItemView moved = item;
    const std::string_view movedName = move(name);
    moved.fileId = move(item.fileId);
    moved.lockOwner = move(item.lockOwner);
    moved.modifiedBy = move(item.modifiedBy);
    fresh.Append(movedName, moved);
    if (fresh.changed_.size() > changed) text->resize(end);
  });
  fresh.IndexAppended();
  *this = std::move(fresh);
}

void SyncCacheItems::OrderByItemId() {
  if (isOrdered_) return;
  // With the ids beside them: to look each up in its row at every comparison takes longest.
  std::vector<std::pair<std::int64_t, std::uint32_t>> order;
  order.reserve(rows_.size());
  for (std::uint32_t row = 0; row < rows_.size(); ++row) {
    if (rows_[row].live) order.emplace_back(rows_[row].itemId, row);
  }
  std::sort(order.begin(), order.end());
  byItemId_.clear();
  byItemId_.reserve(order.size());
  SyncCacheNames alike;
  for (std::size_t begin = 0, end; begin < order.size(); begin = end) {
    alike.sorted_.clear();
    for (end = begin; end < order.size() && order[end].first == order[begin].first; ++end) {
      alike.sorted_.emplace_back(Name(rows_[order[end].second]), order[end].second);
    }
    alike.Sort();
    for (const auto& entry : alike.sorted_) byItemId_.push_back(entry.row);
  }
  firstLive_.clear();
  isOrdered_ = true;
}

std::uint32_t SyncCacheItems::FirstRowWithItemId(std::int64_t itemId) {
  auto memo = firstLive_.find(itemId);
  std::size_t place = 0;
  if (memo != firstLive_.end()) {
    place = memo->second;
  } else {
    auto lower = std::lower_bound(
        byItemId_.begin(), byItemId_.end(), itemId,
        [this](std::uint32_t row, std::int64_t id) { return rows_[row].itemId < id; });
    place = static_cast<std::size_t>(lower - byItemId_.begin());
  }
  const auto hasId = [&] {
    return place < byItemId_.size() && rows_[byItemId_[place]].itemId == itemId;
  };
  const std::size_t start = place;
  while (hasId() && !rows_[byItemId_[place]].live) ++place;
  // Rows never come to life again, so nobody need pass these a second time.
  if (place - start >= kLongSkip) firstLive_[itemId] = place;
  return hasId() ? byItemId_[place] : NameIndex::kNone;
}

void SyncCacheItems::EraseFirstWithItemId(std::int64_t itemId) {
  OrderByItemId();
  const std::uint32_t row = FirstRowWithItemId(itemId);
  auto changed = changedByItemId_.lower_bound({itemId, {}});
  const bool isChanged = changed != changedByItemId_.end() && changed->first == itemId;
  if (row != NameIndex::kNone && (!isChanged || Name(rows_[row]) < changed->second)) {
    rows_[row].live = false;
    --size_;
  } else if (isChanged) {
    Unchange(changed->second);
  }
}

}  // namespace kelvo
