#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/hand_turned_loop.h"
#include "fuzz/input.h"
#include "hosts/client/badge_store.h"
#include "hosts/client/file_menu.h"

namespace {

using kelvo::BadgeByte;
using kelvo::BadgeStore;
using kelvo::fuzz::HandTurnedLoop;
using kelvo::fuzz::Input;
using kelvo::fuzz::Require;
using std::chrono::milliseconds;

constexpr int kMaxMessages = 200;
constexpr std::size_t kMaxHeld = 64;
constexpr std::string_view kWatched = "/w";

std::string_view NameOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }
std::string_view FolderOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? path.substr(0, 1) : path.substr(0, slash);
}

bool IsWatched(std::string_view path) {
  const std::string item = kelvo::JoinPath(FolderOf(path), NameOf(path));  // "//w" is "/w"
  return item == kWatched || item.starts_with("/w/");
}

std::string_view UpToZero(std::string_view text) { return text.substr(0, text.find('\0')); }

// What a true extension says of a name.
BadgeByte TrueBadge(std::string_view name) { return static_cast<BadgeByte>('1' + name.size() % 6); }
std::string TrueState(std::string_view name) { return "state of " + std::string(name); }

// A file manager's process: its store, the files that it holds, and an extension that answers
// whatever the input makes it answer.
class FileManager : public BadgeStore::Surroundings {
 public:
  void Show(const std::string& path) {
    const BadgeStore::Answer answer = store_.Lookup(path);
    CheckAnswer(path, answer);
    if (answer.item == nullptr || held_.size() >= kMaxHeld || held_.contains(path)) return;
    store_.Retain(answer.item);
    held_.emplace(path, answer.item);
  }
  void Hide(std::size_t index) {
    if (held_.empty()) return;
    const auto at = std::next(held_.begin(), static_cast<std::ptrdiff_t>(index % held_.size()));
    store_.Release(at->second);
    held_.erase(at);
  }
  // Of several entries for one name the last one counts; what is no badge counts as none.
  void TakeBadges(const std::string& folder, std::string_view entries) {
    std::map<std::string, BadgeByte> expected;
    for (std::size_t at = 0; at < entries.size();) {
      const std::size_t end = entries.find('\0', at + 1);
      if (end == entries.npos) break;
      const char badge = entries[at];
      const std::string name(entries.substr(at + 1, end - at - 1));
      expected[kelvo::JoinPath(folder, name)] = badge >= '0' && badge <= '9' ? badge : '0';
      at = end + 1;
    }
    auto former = ShownBadges();
    store_.OnBadgesChanged(folder, entries);
    for (const auto& [path, item] : held_) {
      const bool isNews = FolderOf(path) == folder && expected.contains(path) && InScope(path);
      Require(store_.Lookup(path).badge == (isNews ? expected[path] : former[path]));
    }
  }
  void TakeNews(const std::string& folder, std::string_view names) {
    store_.OnDescriptionsChanged(folder, names);
  }
  void AnswerBadges(std::optional<std::string_view> badges) {
    if (badgeCalls_.empty()) return;
    const Call call = Pop(badgeCalls_);
    const auto former = ShownBadges();
    store_.OnAnswer(call.folder, call.ticket, badges);
    const auto shown = ShownBadges();
    Require((badges && badges->size() == call.names.size()) || shown == former);
    store_.OnAnswer(call.folder, call.ticket, "a second answer");
    Require(ShownBadges() == shown);
  }
  void AnswerDescriptions(Input& input, unsigned count) {
    if (wordCalls_.empty()) return;
    const Call call = Pop(wordCalls_);
    kelvo::DescribedItems answer;
    for (unsigned i = 0; i < count; ++i) {
      answer.descriptions.push_back(
          {std::string(UpToZero(input.Piece())), std::string(UpToZero(input.Piece())), {}});
    }
    std::vector<std::uint32_t> which(call.names.size());
    if (count == 6) which.pop_back();
    if (count == 7) which.push_back(0);
    for (std::uint32_t& place : which) place = input.Byte() % (count + 1);
    answer.which = which;
    const bool fits =
        count > 0 && which.size() == call.names.size() &&
        std::all_of(which.begin(), which.end(), [count](auto place) { return place < count; });
    const auto former = ShownStates();
    store_.OnDescribed(call.folder, call.ticket, count == 0 ? nullptr : &answer);
    Require(fits || ShownStates() == former);
  }
  void Appear(std::vector<std::string> directories) {
    Vanish();
    badgeCalls_.clear();
    wordCalls_.clear();
    observed_.clear();
    directories_ = std::move(directories);
    present_ = true;
    store_.ExtensionAppeared(directories_);
  }
  void Vanish() {
    present_ = false;
    store_.ExtensionVanished();
  }
  void Tell(unsigned what) {
    if (what % 3 == 0) return store_.AgentConnected();
    if (what % 3 == 1) return store_.CannotDescribe();
    store_.TellAll();
  }
  void Turn(milliseconds step) {
    loop_.Turn(step);
    for (int turns = 0; soon_ || (due_ && *due_ <= loop_.Monotonic()); ++turns) {
      Require(turns < 1000);  // else the store never comes to rest
      if (due_ && *due_ <= loop_.Monotonic()) due_.reset();
      soon_ = false;
      store_.Work();
    }
  }
  // Whatever was said before: soon after a true extension has appeared all badges are right, and
  // nothing is kept of files that are shown no longer.
  void CheckRecovery() {
    Appear({std::string(kWatched)});
    for (int i = 0; i < 20; ++i) {
      Turn(milliseconds(1000));
      while (!badgeCalls_.empty() || !wordCalls_.empty()) AnswerTruly();
    }
    Turn(2 * BadgeStore::kGrace);
    while (!badgeCalls_.empty() || !wordCalls_.empty()) AnswerTruly();
    for (const auto& [path, item] : held_) {
      const BadgeStore::Answer answer = store_.Lookup(path);
      const std::string_view name = NameOf(path);
      Require(answer.badge == (IsWatched(path) ? TrueBadge(name) : kelvo::kNoBadge));
      Require(answer.description->state == (IsWatched(path) ? TrueState(name) : std::string()));
    }
    while (!held_.empty()) Hide(0);
    Turn(2 * BadgeStore::kLinger);
    Turn(2 * BadgeStore::kLinger);
    Require(!store_.HasFolders() && observed_.empty());
  }

 private:
  struct Call {
    std::string folder;
    std::vector<std::string> names;
    std::uint64_t ticket;
  };

  void BeginObserving(const std::string& folder) override {
    Require(present_ && observed_.insert(folder).second);
  }
  void EndObserving(const std::string& folder) override { Require(observed_.erase(folder) == 1); }
  void RequestBadges(const std::string& folder, const std::string& names,
                     std::uint64_t ticket) override {
    badgeCalls_.push_back(CallOf(folder, names, ticket));
  }
  void DescribeItems(const std::string& folder, const std::string& names,
                     std::uint64_t ticket) override {
    wordCalls_.push_back(CallOf(folder, names, ticket));
  }
  void BadgeChanged(const std::string& folder, const std::string& name) override {
    (void)store_.Lookup(kelvo::JoinPath(folder, name));
  }
  void WorkSoon() override { soon_ = true; }
  void WorkAfter(milliseconds delay) override { due_ = loop_.Monotonic() + delay; }

  Call CallOf(const std::string& folder, std::string_view names, std::uint64_t ticket) const {
    Require(present_ && !names.empty() && names.back() == '\0');
    Call call{folder, {}, ticket};
    for (; !names.empty(); names.remove_prefix(names.find('\0') + 1)) {
      call.names.emplace_back(UpToZero(names));
      Require(!call.names.back().empty() && call.names.back().find('/') == std::string::npos);
    }
    Require(call.names.size() <= BadgeStore::kNamesPerRequest);
    return call;
  }
  static Call Pop(std::vector<Call>& calls) {
    Call call = std::move(calls.front());
    calls.erase(calls.begin());
    return call;
  }
  std::map<std::string, BadgeByte> ShownBadges() {
    std::map<std::string, BadgeByte> badges;
    for (const auto& [path, item] : held_) badges[path] = store_.Lookup(path).badge;
    return badges;
  }
  std::map<std::string, std::string> ShownStates() {
    std::map<std::string, std::string> states;
    for (const auto& [path, item] : held_) states[path] = store_.Lookup(path).description->state;
    return states;
  }
  // A watched folder's own badge counts, too.
  bool InScope(const std::string& path) const {
    const kelvo::WatchedDirectories watched(directories_);
    return watched.IsWatched(kelvo::JoinPath(FolderOf(path), NameOf(path))) ||
           watched.RelationOf(FolderOf(path)) == kelvo::WatchedDirectories::Relation::kInside;
  }
  static void CheckAnswer(std::string_view path, const BadgeStore::Answer& answer) {
    Require(answer.badge >= '0' && answer.badge <= '9' && answer.description != nullptr);
    const bool isPath = path.starts_with('/') && !path.ends_with('/');
    Require(isPath || answer.item == nullptr);
  }
  void AnswerTruly() {
    if (!badgeCalls_.empty()) {
      const Call call = Pop(badgeCalls_);
      std::string badges;
      for (const std::string& name : call.names) badges += TrueBadge(name);
      store_.OnAnswer(call.folder, call.ticket, badges);
    }
    if (!wordCalls_.empty()) {
      const Call call = Pop(wordCalls_);
      kelvo::DescribedItems answer;
      std::vector<std::uint32_t> which;
      for (const std::string& name : call.names) {
        which.push_back(static_cast<std::uint32_t>(which.size()));
        answer.descriptions.push_back({TrueState(name), "", ""});
      }
      answer.which = which;
      store_.OnDescribed(call.folder, call.ticket, &answer);
    }
    Turn(BadgeStore::kPace);
  }

  HandTurnedLoop loop_;
  BadgeStore store_{loop_, *this};
  std::map<std::string, BadgeStore::Item*> held_;
  std::vector<std::string> directories_;
  bool present_ = false;
  std::set<std::string> observed_;
  std::vector<Call> badgeCalls_;
  std::vector<Call> wordCalls_;
  bool soon_ = false;
  std::optional<milliseconds> due_;
};

// A menu's titles as they are drawn, and the names of its lines.
void CheckMenu(Input& input, unsigned count) {
  kelvo::FileMenu menu;
  for (unsigned i = 0; i < count; ++i) {
    menu.lines.push_back({.title = std::string(UpToZero(input.Piece())),
                          .action = std::string(UpToZero(input.Piece()))});
    const std::string& title = menu.lines.back().title;
    const std::string shown = kelvo::ShownTitle(title, false);
    Require(shown.size() <= title.size() + std::strlen("\u2026"));
    Require(shown.find('\n') == shown.npos && kelvo::ShownTitle(title, true).size() <= 600);
  }
  const std::vector<std::string> names = kelvo::UniqueNames(menu);
  Require(std::set<std::string>(names.begin(), names.end()).size() == menu.lines.size());
}

std::vector<std::string> Directories(Input& input, unsigned count) {
  std::vector<std::string> directories;
  for (unsigned i = 0; i < count; ++i) directories.emplace_back(input.Piece());
  return directories;
}

void Act(Input& input, FileManager& manager) {
  const unsigned what = input.Byte();
  const unsigned detail = what >> 4;
  switch (what % 16) {
    case 0:
    case 1:
      return manager.Show(std::string(UpToZero(input.Piece())));
    case 2:
      return manager.Hide(detail);
    case 3:
    case 4: {
      const std::string folder(input.Piece());
      return manager.TakeBadges(folder, input.Piece());
    }
    case 5: {
      const std::string folder(input.Piece());
      return manager.TakeNews(folder, input.Piece());
    }
    case 6:
    case 7:
      return manager.AnswerBadges(detail == 0 ? std::nullopt : std::optional(input.Piece()));
    case 8:
    case 9:
      return manager.AnswerDescriptions(input, detail % 8);
    case 10:
      return manager.Appear(Directories(input, detail % 4));
    case 11:
      return manager.Vanish();
    case 12:
      return manager.Tell(detail);
    case 13:
      return CheckMenu(input, detail);
    default:
      return manager.Turn(milliseconds(input.Byte()) * (detail == 0 ? 1 : 100));
  }
}

}  // namespace

// What whoever has the extension's name says to a file manager.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kelvo::fuzz::kMaxInput) return 0;
  Input input(data, size);
  FileManager manager;
  for (int messages = 0; messages < kMaxMessages && !input.IsEmpty(); ++messages) {
    Act(input, manager);
  }
  manager.CheckRecovery();
  return 0;
}
