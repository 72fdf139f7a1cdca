#include <gio/gio.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/string_utils.h"
#include "fuzz/hand_turned_loop.h"
#include "fuzz/input.h"
#include "hosts/bus/badge_table.h"
#include "hosts/bus/bus_paths.h"
#include "hosts/bus/description_news.h"
#include "hosts/bus/menu_variant.h"
#include "hosts/client/bus_values.h"
#include "tests/support/agent_text.h"

namespace {

using kelvo::GLibPtr;
using kelvo::fuzz::HandTurnedLoop;
using kelvo::fuzz::Input;
using kelvo::fuzz::Require;

constexpr std::size_t kClients = 3;
constexpr const char* kFolders[] = {"/", "/w"};
constexpr std::size_t kMaxToken = 4096;
constexpr int kMaxCalls = 200;

void CheckPath(std::string_view path) {
  bool isRight = !path.empty() && path[0] == '/';
  for (const char c : path) isRight = isRight && c != '\0';
  Require(kelvo::IsBusPath(path) == (isRight && (path == "/" || path.back() != '/')));
}

void CheckItem(const std::string& folder, std::string_view name) {
  if (!kelvo::IsBusPath(folder) || !kelvo::IsItemName(name)) return;
  const std::string path = kelvo::ItemPath(folder, name);
  Require(kelvo::IsBusPath(path));
  const std::size_t slash = path.rfind('/');
  Require(path.substr(slash + 1) == name);
  Require((slash == 0 ? "/" : path.substr(0, slash)) == folder);
}

void CheckNames(const std::string& folder, std::string_view packed) {
  std::vector<std::string_view> names;
  const bool isSplit = kelvo::SplitNames(packed, &names);
  Require(isSplit == (packed.empty() || packed.back() == '\0'));
  if (!isSplit) return;
  std::string joined;
  for (const std::string_view name : names) {
    joined.append(name).push_back('\0');
    CheckItem(folder, name);
  }
  Require(joined == packed);
}

// Bytes as the bus may hand them over for a value of the type, be they such a value or not.
GLibPtr<GVariant> ValueOf(const char* type, std::string_view bytes) {
  GBytes* held = g_bytes_new(bytes.data(), bytes.size());
  GVariant* value = g_variant_new_from_bytes(G_VARIANT_TYPE(type), held, FALSE);
  g_bytes_unref(held);
  return GLibPtr<GVariant>(g_variant_ref_sink(value));
}

void CheckChoice(std::string_view bytes) {
  const std::string token = kelvo::ActivationTokenIn(ValueOf("a{sv}", bytes).get());
  Require(token.size() <= kMaxToken && kelvo::IsValidUtf8(token));
  Require(kelvo::EscapeControlCharacters(token) == token);
}

void CheckSelection(std::string_view bytes) {
  const std::vector<std::string> paths = kelvo::PathsOf(ValueOf("aay", bytes).get());
  for (const std::string& path : paths) CheckPath(path);
  const GLibPtr<GVariant> again(g_variant_ref_sink(kelvo::Paths(paths)));
  Require(kelvo::PathsOf(again.get()) == paths);
}

// Clients that ask for badges and descriptions of any names, while these change: in the end each of
// them knows what is true.
class Session {
 public:
  Session()
      : badges_(
            loop_, loop_,
            [this](const std::string& directory, const std::vector<kelvo::KnownItem>& items) {
              return Identifiers(directory, items);
            },
            [this](const std::string& folder, const std::string& entries) {
              TakeBadges(folder, entries);
            },
            [this] { return changes_; }),
        news_(
            loop_, loop_,
            [this](const std::string& folder, const std::vector<std::string_view>& names) {
              return Words(folder, names);
            },
            [this](const std::string& folder, const std::string& names) {
              outdated_.emplace_back(folder, names);
            }) {}

  void Call(std::size_t client, std::size_t folder, std::string_view packed) {
    std::vector<std::string_view> names;
    if (!kelvo::SplitNames(packed, &names)) return;
    AskBadges(client, kFolders[folder], names);
    AskWords(client, kFolders[folder], names);
  }
  // 10 for one that the Agent has said nothing about.
  void Change(std::size_t folder, unsigned badge, const std::string& name) {
    if (!kelvo::IsItemName(name) || name.find('\0') != name.npos) return;
    const std::string path = kFolders[folder];
    char& known = known_[path][name];
    known = badge < 10 ? static_cast<char>('0' + badge) : kUnknown;
    ++changes_;
    const std::string directory = path == "/" ? std::string() : path;
    const kelvo::FinderController::ItemBadge repainted = {name, IdentifierOf(known), std::nullopt};
    badges_.NoteRepaints(directory, {&repainted, 1}, known == kUnknown ? 0 : changes_);
    news_.NoteChange(kelvo::ItemPath(path, name));
  }
  void ChangeList(std::size_t folder) {
    const std::string path = kFolders[folder];
    std::vector<kelvo::test::ListRecord> records;
    for (const auto& [name, badge] : known_[path]) {
      if (badge != kUnknown) records.push_back({.name = name});
    }
    news_.NoteList({nullptr, path == "/" ? "" : path,
                    std::make_shared<const std::string>(kelvo::test::ListText(records))});
  }
  void Turn(unsigned milliseconds) {
    loop_.Turn(std::chrono::milliseconds(milliseconds));
    const auto outdated = std::exchange(outdated_, {});
    for (const auto& [folder, names] : outdated) AskWordsAgain(folder, names);
  }
  void Leave(std::size_t client) {
    const std::string name = ClientName(client);
    badges_.ClientGone(name);
    news_.ClientGone(name);
    seenBadges_[client].clear();
    seenWords_[client].clear();
  }
  // Nobody is told any more of what lies elsewhere.
  void Sweep(const std::string& kept) {
    const auto isOfInterest = [&kept](const std::string& directory) {
      return (directory.empty() ? "/" : directory) == kept;
    };
    badges_.Swept(isOfInterest);
    news_.Swept(isOfInterest);
    const auto isElsewhere = [&kept](const auto& seen) { return seen.first.first != kept; };
    for (auto& seen : seenBadges_) std::erase_if(seen, isElsewhere);
    for (auto& seen : seenWords_) std::erase_if(seen, isElsewhere);
  }
  void CheckAtRest() {
    for (int i = 0; i < 10; ++i) Turn(1000);
    Require(outdated_.empty());
    for (std::size_t client = 0; client < kClients; ++client) {
      for (const auto& [item, badge] : seenBadges_[client]) {
        const char known = KnownOf(item.first, item.second);
        Require(known == kUnknown || badge == known);
      }
      for (const auto& [item, words] : seenWords_[client]) {
        Require(words == StateOf(item.first, item.second));
      }
      Leave(client);
    }
    Require(badges_.Size() == 0 && news_.Folders() == 0 && news_.Told() == 0);
  }

 private:
  static constexpr char kUnknown = '\0';
  using Item = std::pair<std::string, std::string>;  // folder, name

  static std::string ClientName(std::size_t client) { return ":1." + std::to_string(client); }
  static std::string IdentifierOf(char badge) {
    return badge == kUnknown || badge == '0' ? std::string() : std::string(1, badge);
  }
  char KnownOf(const std::string& folder, const std::string& name) const {
    const auto in = known_.find(folder);
    if (in == known_.end()) return kUnknown;
    const auto at = in->second.find(name);
    return at == in->second.end() ? kUnknown : at->second;
  }
  std::string StateOf(const std::string& folder, const std::string& name) const {
    return IdentifierOf(KnownOf(folder, name));
  }

  kelvo::BadgeTable::Identifiers Identifiers(const std::string& directory,
                                             const std::vector<kelvo::KnownItem>& items) const {
    kelvo::BadgeTable::Identifiers identifiers;
    for (const kelvo::KnownItem& item : items) {
      const char known = KnownOf(directory.empty() ? "/" : directory, std::string(item.name));
      identifiers.push_back(known == kUnknown ? std::nullopt : std::optional(IdentifierOf(known)));
    }
    return identifiers;
  }
  kelvo::WordsOfItems Words(const std::string& folder,
                            const std::vector<std::string_view>& names) const {
    kelvo::WordsOfItems words{{{}}, {}};
    for (const std::string_view name : names) {
      words.which.push_back(static_cast<std::uint32_t>(words.descriptions.size()));
      words.descriptions.push_back({StateOf(folder, std::string(name)), "", ""});
    }
    return words;
  }

  void AskBadges(std::size_t client, const std::string& folder,
                 const std::vector<std::string_view>& names) {
    Require(badges_.Ask(ClientName(client), folder, names));
    badges_.Answer(ClientName(client), folder, names, [&](const std::string& badges) {
      Require(badges.size() == names.size());
      for (std::size_t i = 0; i < names.size(); ++i) {
        if (kelvo::IsItemName(names[i])) {
          seenBadges_[client][{folder, std::string(names[i])}] = badges[i];
        } else {
          Require(badges[i] == '0');
        }
      }
    });
  }
  void TakeBadges(const std::string& folder, std::string_view entries) {
    Require(!entries.empty() && entries.back() == '\0');
    Require(folder.size() + entries.size() <= kelvo::BadgeTable::kMaxSignalBytes);
    while (!entries.empty()) {
      const std::string name(entries.substr(1, entries.find('\0', 1) - 1));
      Require(kelvo::IsItemName(name));
      for (auto& seen : seenBadges_) {
        const auto at = seen.find({folder, name});
        if (at != seen.end()) at->second = entries.front();
      }
      entries.remove_prefix(name.size() + 2);
    }
  }
  void AskWords(std::size_t client, const std::string& folder,
                std::vector<std::string_view> names) {
    for (std::string_view& name : names) {
      if (!kelvo::IsItemName(name)) name = {};
    }
    news_.Ask(ClientName(client), folder);
    const kelvo::WordsOfItems words = Words(folder, names);
    news_.Answer(ClientName(client), folder, names, words, [&](const kelvo::WordsOfItems& items) {
      for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i].empty()) continue;
        seenWords_[client][{folder, std::string(names[i])}] =
            items.descriptions[items.which[i]].state;
      }
    });
  }
  // As clients do on the signal: those of the names that they show.
  void AskWordsAgain(const std::string& folder, std::string_view packed) {
    std::vector<std::string_view> told;
    Require(kelvo::SplitNames(packed, &told));
    for (const std::string_view name : told) Require(kelvo::IsItemName(name));
    const std::set<std::string_view> some(told.begin(), told.end());
    for (std::size_t client = 0; client < kClients; ++client) {
      std::vector<std::string> shown;
      for (const auto& [item, words] : seenWords_[client]) {
        if (item.first != folder || !(some.empty() || some.contains(item.second))) continue;
        shown.push_back(item.second);
      }
      if (!shown.empty()) AskWords(client, folder, {shown.begin(), shown.end()});
    }
  }

  HandTurnedLoop loop_;
  kelvo::BadgeTable badges_;
  kelvo::DescriptionNews news_;
  std::map<std::string, std::map<std::string, char>> known_;
  std::uint64_t changes_ = 1;
  std::array<std::map<Item, char>, kClients> seenBadges_;
  std::array<std::map<Item, std::string>, kClients> seenWords_;
  std::vector<std::pair<std::string, std::string>> outdated_;
};

void Act(Input& input, Session& session) {
  const unsigned what = input.Byte();
  const std::size_t folder = what >> 3 & 1;
  const std::size_t client = (what >> 4) % kClients;
  switch (what % 8) {
    case 0:
      return CheckPath(input.Piece());
    case 1: {
      const std::string path(input.Piece());
      return CheckNames(path, input.Piece());
    }
    case 2:
      return CheckChoice(input.Piece());
    case 3:
      return CheckSelection(input.Piece());
    case 4:
      return session.Call(client, folder, input.Piece());
    case 5: {
      const unsigned badge = input.Byte() % 11;
      return session.Change(folder, badge, std::string(input.Piece()));
    }
    case 6:
      return session.Turn(input.Byte());
    default:
      if (what >= 128) return session.Sweep(kFolders[folder]);
      return folder == 0 ? session.Leave(client) : session.ChangeList(client % 2);
  }
}

}  // namespace

// Arguments of calls to the extension, checked one by one, and calls of clients with such names.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kelvo::fuzz::kMaxInput) return 0;
  Input input(data, size);
  Session session;
  for (int calls = 0; calls < kMaxCalls && !input.IsEmpty(); ++calls) Act(input, session);
  session.CheckAtRest();
  return 0;
}
