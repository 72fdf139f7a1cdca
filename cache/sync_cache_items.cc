#include "cache/sync_cache_items.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <tuple>

namespace kelvo {
namespace {

constexpr std::size_t kMostRows = std::size_t{1} << 30;
constexpr std::size_t kFirstRows = 1024;
constexpr std::size_t kShortestRecord = 18;  // bytes of list text
constexpr std::size_t kRecordOverhead = 40;  // bytes of list text for lengths and numbers, usually
constexpr std::size_t kLongSkip = 16;
constexpr std::size_t kFewNames = 16;

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

SyncCacheItems::SyncCacheItems(std::shared_ptr<const std::string> text)
    : text_(std::move(text)), compactAt_(std::numeric_limits<std::size_t>::max()) {}

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

SyncCacheItemView SyncCacheItems::View(const Row& row) const {
  const char* const name = text_->data() + row.name;
  const auto part = [name](Part p) { return std::string_view(name + p.start, p.length); };
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
  return index_.Find(hash, [this, name](std::uint32_t row) { return Name(rows_[row]) == name; });
}

std::optional<SyncCacheItemView> SyncCacheItems::Find(std::string_view name) const {
  const std::uint32_t row = rows_.empty() ? NameIndex::kNone : RowOf(name, NameHash(name));
  if (row != NameIndex::kNone && rows_[row].live) return View(rows_[row]);
  if (changed_.empty()) return std::nullopt;
  auto found = changed_.find(name);
  if (found == changed_.end()) return std::nullopt;
  return found->second.As<std::string_view>();
}

SyncCacheNames SyncCacheItems::SortedNames() const {
  SyncCacheNames names;
  names.text_ = text_;
  names.sorted_.reserve(size_);
  names.owned_.reserve(changed_.size());
  for (const Row& row : rows_) {
    if (row.live) names.sorted_.push_back({0, Name(row)});
  }
  for (const auto& entry : changed_) {
    names.sorted_.push_back({0, names.owned_.emplace_back(entry.first)});
  }
  names.Sort();
  return names;
}

// Names lie all over the text, so that comparing them takes long. They are sorted by the few bytes
// behind what all have in common, and those that are alike in these by the next, and so on.
void SyncCacheNames::Sort() {
  const auto before = [](const Entry& a, const Entry& b) { return a.name < b.name; };
  if (std::is_sorted(sorted_.begin(), sorted_.end(), before)) return;
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
    for (Entry& entry : entries) entry.key = KeyAt(entry.name, alike);
    std::sort(entries.begin(), entries.end(),
              [](const Entry& a, const Entry& b) { return a.key < b.key; });
    for (std::size_t begin = 0, end; begin < entries.size(); begin = end) {
      bool isShort = false;
      for (end = begin; end < entries.size() && entries[end].key == entries[begin].key; ++end) {
        isShort = isShort || entries[end].name.size() < alike + sizeof(Entry::key);
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
  const std::string_view first = entries[0].name;
  std::size_t common = first.size();
  for (const Entry& entry : entries) {
    const std::size_t most = std::min(common, entry.name.size());
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
  rows_[known] = rows_[row];
  rows_[row].live = false;
  textInUse_ -= std::min(textInUse_, TextSize(name, View(rows_[known])));
}

void SyncCacheItems::FinishAppending() {
  if (rows_.capacity() > rows_.size() + rows_.size() / 8) rows_.shrink_to_fit();
  IndexAppended();
  compactAt_ = std::max(kFewChanged, rows_.size() / 2);
  // A text that is mostly something else, such as one name again and again, is not worth keeping.
  const bool isWasteful =
      text_ != nullptr &&
      text_->size() > 2 * (textInUse_ + size_ * kRecordOverhead) + kShortestRecord;
  if (isWasteful || changed_.size() > compactAt_) Compact();
}

void SyncCacheItems::Put(std::string_view name, CSyncCacheItem item) {
  const std::uint32_t known = rows_.empty() ? NameIndex::kNone : RowOf(name, NameHash(name));
  if (known == NameIndex::kNone || !rows_[known].live) return Change(name, std::move(item));
  Row& row = rows_[known];
  const SyncCacheItemView was = View(row);
  if (Row next = row; item.itemId == was.itemId && item.fileId == was.fileId &&
                      item.lockOwner == was.lockOwner && item.modifiedBy == was.modifiedBy &&
                      PackNumbers(item.As<std::string_view>(), next)) {
    row = next;
    return;
  }
  row.live = false;
  --size_;
  Change(name, std::move(item));
}

void SyncCacheItems::Change(std::string_view name, CSyncCacheItem item) {
  auto [entry, isNew] = changed_.try_emplace(std::string(name));
  if (!isNew) changedByItemId_.erase({entry->second.itemId, entry->first});
  if (isNew) ++size_;
  entry->second = std::move(item);
  changedByItemId_.emplace(entry->second.itemId, entry->first);
  if (changed_.size() > compactAt_) Compact();
}

void SyncCacheItems::Unchange(std::string_view name) {
  auto entry = changed_.find(name);
  if (entry == changed_.end()) return;
  changedByItemId_.erase({entry->second.itemId, entry->first});
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
  // Items that no row can hold stay, and must not be tried again at every change.
  fresh.compactAt_ = 2 * fresh.changed_.size() + std::max(kFewChanged, fresh.rows_.size() / 2);
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
  std::sort(order.begin(), order.end(), [this](const auto& a, const auto& b) {
    return a.first != b.first ? a.first < b.first : Name(rows_[a.second]) < Name(rows_[b.second]);
  });
  byItemId_.clear();
  byItemId_.reserve(order.size());
  for (const auto& entry : order) byItemId_.push_back(entry.second);
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
