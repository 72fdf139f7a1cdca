#include "tests/cache/cache_steps.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <random>
#include <sstream>
#include <utility>

#include "base/string_utils.h"

namespace kelvo::test {
namespace {

using std::string_literals::operator""s;

bool IsOfDirectory(StepKind kind) {
  using enum StepKind;
  return kind == kGetStatuses || kind == kPeekStatuses || kind == kList || kind == kObserve ||
         kind == kUnobserve;
}

bool IsOfPath(StepKind kind) {
  using enum StepKind;
  return kind == kAsk || kind == kPaint || kind == kItem || kind == kError || kind == kReload;
}

bool IsOfAgent(StepKind kind) {
  using enum StepKind;
  return kind == kList || kind == kItem || kind == kLinks || kind == kError;
}

bool HasRecords(StepKind kind) {
  using enum StepKind;
  return kind == kGetStatuses || kind == kPeekStatuses || kind == kList || kind == kLinks ||
         kind == kItem;
}

// Few of everything, so that the same things meet again and again.
class Source {
 public:
  explicit Source(std::uint64_t seed) : random_(seed) {}

  Step Next() {
    using enum StepKind;
    static constexpr std::pair<StepKind, int> kWeights[] = {
        {kAsk, 300},      {kPaint, 60},    {kGetStatuses, 60}, {kPeekStatuses, 30}, {kList, 130},
        {kItem, 200},     {kLinks, 20},    {kReset, 6},        {kError, 30},        {kReload, 40},
        {kRefreshAll, 6}, {kObserve, 30},  {kUnobserve, 30},   {kPass, 100},        {kSetClock, 20},
        {kSweep, 15},     {kLookAtAll, 20}};
    static constexpr int kAll = [] {
      int sum = 0;
      for (const auto& [kind, weight] : kWeights) sum += weight;
      return sum;
    }();
    int left = static_cast<int>(Draw(kAll));
    const auto* choice = std::begin(kWeights);
    while (left >= choice->second) left -= (choice++)->second;
    return Fill(choice->first);
  }

 private:
  std::uint64_t Draw(std::uint64_t below) { return random_() % below; }
  template <typename Range>
  const auto& Pick(const Range& range) {
    return *std::next(std::begin(range), static_cast<std::ptrdiff_t>(Draw(std::size(range))));
  }

  // One directory and what lies in it is met more often than the others together.
  const std::string& DrawDirectory() {
    return Draw(2) == 0 ? StepDirectories()[2] : Pick(StepDirectories());
  }
  std::string DrawPath() {
    return Draw(2) == 0 ? DrawDirectory() + "/" + Pick(StepNames()) : Pick(StepPaths());
  }

  Step Fill(StepKind kind) {
    using enum StepKind;
    Step step{.kind = kind};
    if (IsOfDirectory(kind) || (kind == kReload && Draw(2) == 0)) {
      step.path = DrawDirectory();
    } else if (IsOfPath(kind)) {
      step.path = DrawPath();
    }
    if (IsOfAgent(kind)) step.direct = Draw(3) == 0;
    if (kind == kAsk) step.number = static_cast<std::int64_t>(Draw(kQueries));
    if (kind == kError) step.number = static_cast<std::int64_t>(Draw(10));
    if (kind == kSetClock) step.number = (static_cast<std::int64_t>(Draw(2001)) - 1000) * 10;
    if (kind == kPass) {
      static constexpr int kPauses[] = {10, 990, 1'000, 2'500, 5'000, 5'010, 60'000, 900'500};
      step.number = Pick(kPauses);
    }
    if (HasRecords(kind)) {
      step.records.resize(kind == kItem ? 1 : Draw(Draw(6) == 0 ? 40 : 6));
      for (ListRecord& record : step.records) record = DrawRecord();
    }
    if (kind == kLinks || kind == kList) DrawCut(step);
    return step;
  }

  void DrawCut(Step& step) {
    if (step.kind == StepKind::kLinks) {
      for (ListRecord& record : step.records) record.name = Pick(StepPaths());
    }
    if (Draw(4) == 0) step.number = static_cast<std::int64_t>(Draw(TextOf(step).size() + 1));
    if (Draw(10) == 0) step.number = -1;
  }

  ListRecord DrawRecord() {
    static constexpr std::array kUsers = {"", kMe, "eve", "bob"};
    static constexpr std::array kPermissions = {0, 100, 1044, 1064, -1, 2'000'000'000};
    static constexpr std::array kTimes = {0L, 1'700'000'000L, 1'700'000'001L, -5L, 1L << 40};
    return {.name = Pick(StepNames()),
            .type = static_cast<int>(Draw(4)),
            .status = static_cast<int>(Draw(5)) - 1,
            .permissions = Pick(kPermissions),
            .denied = Draw(4) == 0 ? static_cast<int>(Draw(10)) : 0,
            .modifiedBy = Pick(kUsers),
            .fileId = "f" + std::to_string(Draw(3)),
            .itemId = static_cast<long long>(Draw(6)),
            .lock = static_cast<int>(Draw(6)) - 1,
            .lockHolder = Pick(kUsers),
            .lockTime = Pick(kTimes)};
  }

  std::mt19937_64 random_;
};

std::string Described(const ListRecord& r) {
  std::ostringstream text;
  text << "{" << Quoted(r.name) << " type " << r.type << " status " << r.status << " permissions "
       << r.permissions << " denied " << r.denied << " by " << Quoted(r.modifiedBy) << " "
       << r.fileId << " id " << r.itemId << " lock " << r.lock;
  if (r.lock != 0) text << " holder " << Quoted(r.lockHolder) << " since " << r.lockTime;
  text << "}";
  return text.str();
}

// Takes out of the items, many at a time and then one by one, what is not needed.
template <typename Item>
void TakeOut(std::vector<Item>& items, const std::function<bool()>& stillFails) {
  for (std::size_t size = items.size(); size > 0; size /= 2) {
    for (std::size_t at = 0; at < items.size();) {
      const std::vector<Item> before = items;
      const auto first = items.begin() + static_cast<std::ptrdiff_t>(at);
      const auto count = static_cast<std::ptrdiff_t>(std::min(size, items.size() - at));
      items.erase(first, first + count);
      if (stillFails()) continue;
      items = before;
      at += size;
    }
  }
}

}  // namespace

std::span<const std::string> StepDirectories() {
  static const std::array kDirectories = {""s,          "/"s,       "/w"s,    "/w/a"s,   "/w/a/b"s,
                                          "/w/ab"s,     "/w/a-b"s,  "/w/a0"s, "/w/c"s,   "bare"s,
                                          "/\xC3\xBC"s, "/w/\xFF"s, "/w/"s,   "/w/z\0z"s};
  return kDirectories;
}

std::span<const std::string> StepNames() {
  static const std::array kNames = {"a"s,   "b"s, "ab"s,       "a-b"s,  "a0"s,
                                    "c/d"s, ""s,  "\xC3\xBC"s, "\xFF"s, "z\0z"s};
  return kNames;
}

const std::vector<std::string>& StepPaths() {
  static const std::vector<std::string> kPaths = [] {
    std::vector<std::string> paths = {"", "/", "a", "//"};
    for (const std::string& directory : StepDirectories()) {
      for (const std::string& name : StepNames()) paths.push_back(directory + "/" + name);
    }
    return paths;
  }();
  return kPaths;
}

std::vector<Step> DrawSteps(std::uint64_t seed, std::size_t count) {
  Source source(seed);
  std::vector<Step> steps;
  for (std::size_t i = 0; i < count; ++i) steps.push_back(source.Next());
  steps.push_back({StepKind::kLookAtAll});
  return steps;
}

std::string TextOf(const Step& step) {
  std::string text;
  if (step.kind == StepKind::kLinks) {
    for (const ListRecord& record : step.records) {
      text += StringText(record.name) + StringText("t") + "1:2:3:" + StringText("") +
              StringText("x:y") + StringText("") + "4:";
    }
  } else {
    text = ListText(step.records);
  }
  if (step.number < 0) return text + "7:what?";
  text.resize(text.size() - std::min(text.size(), static_cast<std::size_t>(step.number)));
  return text;
}

bool GoesDirect(const Step& step) {
  if (step.direct || !IsValidUtf8(step.path)) return true;
  return (step.kind == StepKind::kList || step.kind == StepKind::kLinks) &&
         !IsValidUtf8(TextOf(step));
}

ListRecord ItemOf(const Step& step) {
  return step.records.empty() ? ListRecord{} : step.records.front();
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char byte : text) {
    constexpr char kDigits[] = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    if (value >= 0x20 && value < 0x7F) {
      quoted += byte;
    } else {
      quoted += {'\\', 'x', kDigits[value >> 4], kDigits[value & 0xF]};
    }
  }
  return quoted + "\"";
}

std::string Describe(const Step& step) {
  static constexpr const char* kWords[] = {
      "ask",       "paint", "get statuses", "peek at statuses", "list",    "item",      "links",
      "reset",     "error", "reload",       "refresh all",      "observe", "unobserve", "pass",
      "set clock", "sweep", "look at all"};
  std::string line = kWords[static_cast<int>(step.kind)];
  if (IsOfPath(step.kind) || IsOfDirectory(step.kind)) line += " " + Quoted(step.path);
  if (step.number != 0) line += " " + std::to_string(step.number);
  if (IsOfAgent(step.kind) && GoesDirect(step)) line += " direct";
  for (const ListRecord& record : step.records) line += " " + Described(record);
  return line;
}

std::vector<Step> Shrink(std::vector<Step> steps,
                         const std::function<bool(const std::vector<Step>&)>& fails) {
  const auto stillFails = [&] { return fails(steps); };
  std::size_t before = 0;
  do {
    before = steps.size();
    TakeOut(steps, stillFails);
    for (Step& step : steps) {
      TakeOut(step.records, stillFails);
      const std::int64_t number = std::exchange(step.number, 0);
      if (!stillFails()) step.number = number;
    }
  } while (steps.size() < before);
  return steps;
}

}  // namespace kelvo::test
