#include "tests/cache/cache_reference.h"

#include <sstream>
#include <utility>

#include "base/string_utils.h"

namespace kelvo::test {
namespace {

constexpr int kDropDirectory = 3;

// The Agent's text, field by field. A field that cannot be read stays as it was.
class Fields {
 public:
  explicit Fields(std::string text) : text_(std::move(text)) {}

  template <typename Number>
  bool Take(Number* number) {
    const std::size_t end = text_.find(':', at_);
    if (end == std::string::npos || end == at_) return false;
    *number = static_cast<Number>(std::stoll(text_.substr(at_, end - at_)));
    at_ = end + 1;
    return true;
  }
  bool Take(std::string* text) {
    std::size_t length = 0;
    if (!Take(&length) || length > text_.size() - at_) return false;
    *text = text_.substr(at_, length);
    at_ += length;
    return true;
  }
  bool AtEnd() const { return at_ == text_.size(); }

 private:
  const std::string text_;
  std::size_t at_ = 0;
};

struct Record {
  std::string name;
  int status = 0;
  CSyncCacheItem item;
};

bool IsMe(const std::string& name) { return name.empty() || name == kMe; }

bool TakeRecord(Fields& fields, Record& record) {
  CSyncCacheItem& item = record.item;
  int type = 0;
  if (!fields.Take(&record.name) || !fields.Take(&type) || !fields.Take(&record.status) ||
      !fields.Take(&item.permissions) || !fields.Take(&item.denied) ||
      !fields.Take(&item.modifiedBy) || !fields.Take(&item.fileId) || !fields.Take(&item.itemId)) {
    return false;
  }
  item.folder = type == 2;
  if (IsMe(item.modifiedBy)) item.modifiedBy.clear();
  if (!fields.Take(&item.lock)) return false;
  if (static_cast<int>(item.lock) == 0) {
    item.lockOwner.clear();
    item.lockTime = 0;
    return true;
  }
  if (!fields.Take(&item.lockOwner) || !fields.Take(&item.lockTime)) return false;
  if (static_cast<int>(item.lock) == 2) item.lockOwner.clear();
  return true;
}

BadgeStatus StatusOf(int status, const CSyncCacheItem& item) {
  if (static_cast<int>(item.denied) != 0) return BadgeStatus{6};
  if (static_cast<int>(item.lock) == 1) return BadgeStatus{3};
  if (static_cast<int>(item.lock) == 2) return BadgeStatus{4};
  if (static_cast<int>(item.lock) == 3) return BadgeStatus{5};
  return status != 0 ? BadgeStatus{2} : BadgeStatus{1};
}

bool Split(const std::string& path, std::string* directory, std::string* name) {
  if (path == "/") {
    *directory = *name = "";
    return true;
  }
  if (path.empty() || path.back() == '/') return false;
  const std::size_t slash = path.rfind('/');
  *directory = slash == std::string::npos ? "" : path.substr(0, slash);
  *name = slash == std::string::npos ? path : path.substr(slash + 1);
  return true;
}

// A path in a message; no file has one with a zero byte.
bool HasPath(const Step& step) { return step.path.find('\0') == std::string::npos; }

}  // namespace

std::string ItemText(const CSyncCacheItem& item) {
  std::ostringstream text;
  for (std::int64_t query = 0; query < kQueries - 1; ++query) {
    text << AnswerText(query, item) << " ";
  }
  text << item.itemId << " " << item.folder;
  return text.str();
}

std::string AnswerText(std::int64_t query, const CSyncCacheItem& item) {
  switch (query) {
    case 0:
      return item.fileId;
    case 1:
      return std::to_string(static_cast<int>(item.status));
    case 2:
      return std::to_string(static_cast<int>(item.lock));
    case 3:
      return std::to_string(item.lockTime);
    case 4:
      return item.lockOwner;
    case 5:
      return item.modifiedBy;
    case 6:
      return std::to_string(static_cast<int>(item.permissions));
    case 7:
      return std::to_string(static_cast<int>(item.denied));
    default:
      return ItemText(item);
  }
}

Lines StatusLines(const std::vector<BadgeStatus>& statuses) {
  Lines lines;
  for (const BadgeStatus status : statuses) lines.push_back(AnswerText(1, {.status = status}));
  return lines;
}

Outcome CacheReference::Do(const Step& step) {
  outcome_ = {};
  switch (step.kind) {
    case StepKind::kAsk:
      outcome_.answers = {AnswerText(step.number, Query(step.path))};
      break;
    case StepKind::kPaint:
      Paint(step.path);
      break;
    case StepKind::kGetStatuses:
    case StepKind::kPeekStatuses:
      DoStatuses(step);
      break;
    case StepKind::kList:
      TakeList(step);
      break;
    case StepKind::kItem:
      TakeItem(step);
      break;
    case StepKind::kLinks:
      TakeLinks(step);
      break;
    case StepKind::kError:
      DoError(step);
      break;
    case StepKind::kReload:
      Reload(step.path);
      break;
    case StepKind::kReset:
    case StepKind::kRefreshAll:
      RefreshAll();
      break;
    case StepKind::kObserve:
      observed_.insert(step.path);
      break;
    case StepKind::kUnobserve:
      observed_.erase(step.path);
      break;
    case StepKind::kPass:
      DoPass(step.number);
      break;
    case StepKind::kSetClock:
      break;
    case StepKind::kSweep:
      Sweep();
      break;
    case StepKind::kLookAtAll:
      outcome_.answers = LookAtAll();
      break;
  }
  return std::move(outcome_);
}

CSyncCacheItem CacheReference::Query(const std::string& path) {
  std::string directory;
  std::string name;
  if (!Split(path, &directory, &name)) return {};
  const auto found = folders_.find(directory);
  if (found != folders_.end() && found->second.valid) {
    found->second.lastAccess = Now();
    return Peek(path).value_or(CSyncCacheItem{});
  }
  if (found != folders_.end() && Now() - found->second.lastAccess <= 5) return {};
  if (!IsValidUtf8(path)) return {};  // the Agent cannot be told of it
  folders_[directory] = {.valid = false, .lastAccess = Now(), .items = {}};
  Request(directory);
  Request(path);
  return {};
}

std::optional<CSyncCacheItem> CacheReference::Peek(const std::string& path) const {
  std::string directory;
  std::string name;
  if (!Split(path, &directory, &name)) return std::nullopt;
  const auto folder = folders_.find(directory);
  if (folder == folders_.end() || !folder->second.valid) return std::nullopt;
  const auto found = folder->second.items.find(name);
  if (found == folder->second.items.end()) return std::nullopt;
  CSyncCacheItem item = found->second;
  if (static_cast<int>(item.lock) == 0) item.lockOwner.clear();
  return item;
}

// Values of messages end at a zero byte.
void CacheReference::Request(const std::string& path) {
  const std::string value = path.c_str();
  if (IsValidUtf8(value)) outcome_.requests.push_back("status-list " + value);
}

void CacheReference::Paint(const std::string& path) {
  if (path.empty()) return;
  const int status = static_cast<int>(Query(path).status);
  outcome_.repaints.push_back(path + " " + (status == 0 ? "" : std::to_string(status)));
}

void CacheReference::DoStatuses(const Step& step) {
  std::vector<BadgeStatus> statuses(step.records.size(), kUntouched);
  const auto found = folders_.find(step.path);
  const bool isKnown = found != folders_.end() && found->second.valid;
  const bool isPeek = step.kind == StepKind::kPeekStatuses;
  for (std::size_t i = 0; isKnown && i < statuses.size(); ++i) {
    const auto item = found->second.items.find(step.records[i].name);
    if (!isPeek) found->second.lastAccess = Now();
    if (!isPeek) statuses[i] = BadgeStatus{};
    if (item != found->second.items.end()) statuses[i] = item->second.status;
  }
  outcome_.answers = StatusLines(statuses);
  if (!isPeek) outcome_.answers.push_back(isKnown ? "known" : "unknown");
}

void CacheReference::TakeList(const Step& step) {
  Fields fields(TextOf(step));
  std::size_t count = 0;
  if (!GoesDirect(step) && !HasPath(step)) return;
  if (!fields.Take(&count)) return;
  std::map<std::string, CSyncCacheItem> items;
  Record record;
  for (bool isWhole = true; isWhole && count > 0; --count) {
    isWhole = TakeRecord(fields, record);
    record.item.status = StatusOf(record.status, record.item);
    items[record.name] = record.item;
  }
  const auto [folder, isNew] = folders_.try_emplace(step.path);
  if (isNew) folder->second.lastAccess = Now();
  folder->second.valid = true;
  folder->second.items = items;
  for (const auto& [name, item] : items) Paint(step.path + "/" + name);
}

void CacheReference::TakeItem(const Step& step) {
  const ListRecord r = ItemOf(step);
  CSyncCacheItem item{.fileId = r.fileId,
                      .itemId = r.itemId,
                      .lock = sync::ESyncItemLock{r.lock},
                      .lockTime = r.lockTime,
                      .lockOwner = r.lockHolder,
                      .modifiedBy = r.modifiedBy,
                      .permissions = sync::EItemPermissions{r.permissions},
                      .denied = sync::EPermissionsDenied{r.denied},
                      .folder = r.type == 2};
  item.status = StatusOf(r.status, item);
  if (!GoesDirect(step)) {
    if (!HasPath(step)) return;
    if (r.lock == 0 || IsMe(item.lockOwner)) item.lockOwner.clear();
    if (IsMe(item.modifiedBy)) item.modifiedBy.clear();
  }
  const int mask = Update(step.path, r.status, item);
  if (mask != 0) Paint(step.path);
  // Only what is handed over directly answers.
  if (GoesDirect(step)) outcome_.answers.push_back(std::to_string(mask));
}

int CacheReference::Update(const std::string& path, int syncStatus, const CSyncCacheItem& item) {
  std::string directory;
  std::string name;
  if (!Split(path, &directory, &name) || !folders_.contains(directory)) return 0;
  if (syncStatus == kDropDirectory) return static_cast<int>(folders_.erase(directory));
  auto& items = folders_[directory].items;
  const auto known = items.find(name);
  int mask = 0;
  if (known == items.end()) {
    mask = 1;
    for (auto other = items.begin(); other != items.end(); ++other) {
      if (other->second.itemId != item.itemId) continue;
      items.erase(other);
      break;
    }
  } else {
    const CSyncCacheItem& old = known->second;
    if (old.status != item.status) mask |= 2;
    if (old.lock != item.lock || old.lockTime != item.lockTime || old.lockOwner != item.lockOwner) {
      mask |= 4;
    }
  }
  items[name] = item;
  return mask;
}

void CacheReference::TakeLinks(const Step& step) {
  Fields fields(TextOf(step));
  std::set<std::string> links;
  while (!fields.AtEnd()) {
    std::string path;
    std::string text;
    long number = 0;
    if (!fields.Take(&path) || !fields.Take(&text) || !fields.Take(&number) ||
        !fields.Take(&number) || !fields.Take(&number) || !fields.Take(&text) ||
        !fields.Take(&text) || !fields.Take(&text) || !fields.Take(&number)) {
      return;
    }
    links.insert(path);
  }
  links_ = links;
}

void CacheReference::DoError(const Step& step) {
  switch (step.number) {
    case 0:  // the first error
    case 1:  // none that is a number
      outcome_.requests.push_back("sync-lists publicLinks");
      return RefreshAll();
    case 2:  // one without "mpf"
    case 3:  // one without "path"
      return;
    default:
      Reload(step.path);
  }
}

void CacheReference::Reload(const std::string& path) {
  const auto await = [this](const std::string& directory) {
    folders_[directory].valid = false;
    Request(directory);
  };
  std::string directory;
  std::string name;
  if (Split(path, &directory, &name)) {
    const auto parent = folders_.find(directory);
    if (parent != folders_.end() && parent->second.valid) await(directory);
  }
  for (const auto& [key, folder] : folders_) {
    if (!folder.valid || !key.starts_with(path)) continue;
    if (key == path || path == "/" || key[path.size()] == '/') await(key);
  }
}

void CacheReference::RefreshAll() {
  const std::map<std::string, Folder> forgotten = std::exchange(folders_, {});
  for (const auto& [directory, folder] : forgotten) Paint(directory);
}

void CacheReference::Sweep() {
  std::string line;
  for (auto entry = folders_.begin(); entry != folders_.end();) {
    const auto& [path, folder] = *entry;
    const bool isExpired = Now() - folder.lastAccess > (folder.valid ? 900 : 5);
    if (isExpired && !observed_.contains(path)) {
      line += path + ",";
      entry = folders_.erase(entry);
    } else {
      ++entry;
    }
  }
  outcome_.sweeps.push_back(line);
}

void CacheReference::DoPass(std::int64_t milliseconds) {
  const std::int64_t end = monotonic_ + milliseconds;
  for (; nextSweep_ <= end; nextSweep_ += 600'000) {
    monotonic_ = nextSweep_;
    Sweep();
  }
  monotonic_ = end;
}

Lines CacheReference::LookAtAll() const {
  Lines lines;
  for (const std::string& path : StepPaths()) {
    const std::optional<CSyncCacheItem> item = Peek(path);
    lines.push_back(path + ": " + (item ? ItemText(*item) : "") +
                    (links_.contains(path) ? " linked" : ""));
  }
  for (const std::string& directory : StepDirectories()) {
    const auto found = folders_.find(directory);
    lines.push_back(directory + ":" +
                    (found == folders_.end() ? ""
                     : found->second.valid   ? " listed"
                                             : " awaited") +
                    (observed_.contains(directory) ? " observed" : ""));
  }
  return lines;
}

}  // namespace kelvo::test
