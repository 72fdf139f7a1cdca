#include "hosts/bus/description_news.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/name_index.h"
#include "base/string_utils.h"

namespace kelvo {
namespace {

// Of a list's names, that many are compared in a turn of the loop.
constexpr std::size_t kNamesPerTurn = 2048;
// After a list: what the bus does with the badges must not compete for a processor.
constexpr std::chrono::milliseconds kBadgesFirst{20};

}  // namespace

void DescriptionNews::Names::Add(std::string_view name) {
  if (all || names.contains(name)) return;
  bytes += name.size() + 1;
  if (names.size() >= kMaxNames || bytes > kMaxNameBytes) return AddAll();
  names.emplace(name);
}

void DescriptionNews::Names::AddAll() {
  *this = {};
  all = true;
}

void DescriptionNews::Names::Add(const Names& other) {
  if (other.all) return AddAll();
  for (const std::string& name : other.names) Add(name);
}

DescriptionNews::DescriptionNews(RunLoop& runLoop, const Clock& clock, Reader reader,
                                 Signaller signaller, std::size_t maxTold)
    : runLoop_(runLoop),
      clock_(clock),
      reader_(std::move(reader)),
      signaller_(std::move(signaller)),
      maxTold_(maxTold) {}

std::vector<DescriptionNews::Print> DescriptionNews::PrintsOf(const WordsOfItems& items) {
  std::vector<Print> prints;
  prints.reserve(items.descriptions.size());
  for (const ItemWords& words : items.descriptions) {
    const std::string text = words.state + '\0' + words.lockOwner + '\0' + words.permission;
    prints.push_back(words == ItemWords{} ? 0 : std::max(NameHash(text), Print{1}));
  }
  return prints;
}

std::vector<DescriptionNews::Words> DescriptionNews::WordsOf(Folder& folder,
                                                             const std::vector<Print>& prints) {
  std::vector<Words> words;
  words.reserve(prints.size());
  for (const Print print : prints) {
    const auto known = folder.words.find(print);
    if (print == 0) {
      words.push_back(kNothing);
    } else if (known != folder.words.end()) {
      words.push_back(known->second);
    } else if (folder.words.size() >= kMaxWords) {
      words.push_back(kDiffers);
    } else {
      words.push_back(static_cast<Words>(kFirstWords + folder.words.size()));
      folder.words.emplace(print, words.back());
    }
  }
  return words;
}

void DescriptionNews::Ask(const std::string& client, const std::string& folder) {
  CMutexLock lock(mutex_);
  auto found = folders_.try_emplace(folder).first;
  ++found->second.answering;  // spares it while room is made
  auto [asked, isNew] = found->second.clients.try_emplace(client, 0);
  if (isNew) MakeRoomFor(client);
  asked->second = ++asked_;
}

void DescriptionNews::MakeRoomFor(const std::string& client) {
  std::size_t& count = foldersOf_[client];
  if (++count <= kFoldersPerClient) return;
  auto oldest = folders_.end();
  std::uint64_t oldestAsked = 0;
  for (auto folder = folders_.begin(); folder != folders_.end(); ++folder) {
    const auto asked = folder->second.clients.find(client);
    if (asked == folder->second.clients.end() || folder->second.answering > 0) continue;
    if (oldest != folders_.end() && asked->second > oldestAsked) continue;
    oldest = folder;
    oldestAsked = asked->second;
  }
  if (oldest == folders_.end()) return;
  oldest->second.clients.erase(client);
  --count;
  DropIfAbandoned(oldest);
}

void DescriptionNews::Answer(const std::string& client, const std::string& folder,
                             const std::vector<std::string_view>& names, const WordsOfItems& items,
                             const Reply& reply) {
  const std::vector<Print> prints = PrintsOf(items);
  CMutexLock lock(mutex_);
  const auto found = folders_.find(folder);
  if (found == folders_.end()) return reply(items);
  Folder& entry = found->second;
  const bool isAlone = entry.clients.size() == 1 && entry.clients.contains(client);
  const std::vector<Words> wordsOf = WordsOf(entry, prints);
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i].empty()) continue;
    const Words words = wordsOf[items.which[i]];
    ToldWords* const told = entry.told.Find(names[i]);
    if (told == nullptr) {
      KeepTold(entry, names[i], words);
    } else if (told->words != words) {
      // Others still wait to be told, also that the item is not in the list any more.
      isAlone ? SetTold(entry, *told, words, entry.round)
              : SetTold(entry, *told, kDiffers, told->round);
    }
  }
  reply(items);
  --entry.answering;
  ItemsAnswered(found->first, entry);
  DropIfAbandoned(found);
}

// What came while the items were read may be in the reply or not.
void DescriptionNews::ItemsAnswered(const std::string& path, Folder& folder) {
  const bool isOwed = folder.comparison != nullptr && folder.comparison->isOwed;
  if (isOwed) StartComparing(folder);
  folder.pending.Add(folder.sinceAsked);
  if (isOwed || !folder.sinceAsked.IsEmpty()) Schedule(path, folder);
  if (folder.answering > 0) return;
  folder.sinceAsked = {};
  if (folder.comparison == nullptr) return;
  folder.comparison->isOwed = false;
  if (folder.comparison->isOver) folder.comparison.reset();
}

void DescriptionNews::SetTold(Folder& folder, ToldWords& told, Words words, std::uint8_t round) {
  const auto known = [&] { return told.words != kNothing ? 1U : 0U; };
  const auto missing = [&] { return told.round != folder.round ? known() : 0U; };
  folder.known -= known();
  folder.missing -= missing();
  told.words = words;
  told.round = round;
  folder.known += known();
  folder.missing += missing();
}

void DescriptionNews::KeepTold(Folder& folder, std::string_view name, Words words) {
  if (folder.isPlain) return;
  if (toldItems_ >= maxTold_) {
    // An item that was told and is not kept must not be taken for one that was not told.
    ForgetTold(folder);
    folder.isPlain = true;
    return;
  }
  ToldWords& told = folder.told.Add(name);
  told.words = kNothing;
  SetTold(folder, told, words, folder.round);
  ++toldItems_;
}

void DescriptionNews::ForgetTold(Folder& folder) {
  toldItems_ -= folder.told.Size();
  folder.told = {};
  folder.words = {};
  folder.known = folder.missing = 0;
}

void DescriptionNews::NoteChange(std::string_view path) {
  CMutexLock lock(mutex_);
  Names news;
  if (path.empty()) {
    news.AddAll();
    for (auto& [folderPath, folder] : folders_) Note(folderPath, folder, news);
    return;
  }
  std::string_view directory;
  std::string_view name;
  if (!SplitPath(path, &directory, &name)) return;
  const auto found = folders_.find(directory.empty() ? std::string_view("/") : directory);
  if (found == folders_.end()) return;
  news.Add(name);
  Note(found->first, found->second, news);
}

void DescriptionNews::Note(const std::string& path, Folder& folder, const Names& news) {
  folder.pending.Add(news);
  if (folder.answering > 0) folder.sinceAsked.Add(news);
  Schedule(path, folder);
}

void DescriptionNews::NoteList(const CSyncStatusListResponse& list) {
  CMutexLock lock(mutex_);
  const auto found = folders_.find(list.Path().empty() ? std::string_view("/") : list.Path());
  if (found == folders_.end()) return;
  Folder& folder = found->second;
  if (folder.isPlain) {
    Names news;
    news.AddAll();
    return Note(found->first, folder, news);
  }
  if (folder.told.Size() == 0 && folder.answering == 0) return;
  folder.comparison = std::make_unique<Comparison>(Comparison{list, list});
  folder.comparison->isOwed = folder.answering > 0;
  StartComparing(folder);
  Schedule(found->first, folder, kBadgesFirst);
}

void DescriptionNews::StartComparing(Folder& folder) {
  // Where lists, or answers, come faster than one is compared, news must not wait for an end.
  if (std::exchange(folder.begun, false) && ++folder.starts > kMostStarts) folder.pending.AddAll();
  folder.comparison->rest = folder.comparison->list;
  folder.comparison->isOver = false;
  ++folder.round;
  folder.missing = folder.known;
}

// Whether there is nothing more to compare. All that differs is `pending` then.
bool DescriptionNews::CompareSome(const std::string& path, Folder& folder) {
  if (folder.comparison == nullptr || folder.comparison->isOver) return true;
  if (folder.isPlain) folder.pending.AddAll();
  CSyncStatusListResponse& rest = folder.comparison->rest;
  std::vector<std::string_view> names;
  bool isOver = folder.pending.all;
  for (std::size_t i = 0; i < kNamesPerTurn && !isOver; ++i) {
    isOver = !rest.Next();
    if (!isOver && folder.told.Find(rest.Name()) != nullptr) names.push_back(rest.Name());
  }
  const WordsOfItems items = reader_(path, names);
  const std::vector<Words> wordsOf = WordsOf(folder, PrintsOf(items));
  for (std::size_t i = 0; i < names.size(); ++i) {
    ToldWords& told = *folder.told.Find(names[i]);
    const auto words = static_cast<Words>(told.words);
    if (words == kDiffers || words != wordsOf[items.which[i]]) folder.pending.Add(names[i]);
    SetTold(folder, told, words, folder.round);
  }
  folder.begun = !isOver && !folder.pending.all;
  if (folder.begun) return false;
  folder.starts = 0;
  // Which these are, is not known.
  if (folder.missing > 0) folder.pending.AddAll();
  folder.comparison->isOver = true;
  if (folder.answering == 0) folder.comparison.reset();
  return true;
}

void DescriptionNews::Schedule(const std::string& path, Folder& folder,
                               std::chrono::milliseconds delay) {
  if (folder.flushScheduled) return;
  folder.flushScheduled = true;
  if (delay > delay.zero()) {
    runLoop_.After(delay, [this, path] { Flush(path); });
    return;
  }
  runLoop_.Post([this, path] { Flush(path); });
}

void DescriptionNews::Flush(const std::string& path) {
  CMutexLock lock(mutex_);
  const auto found = folders_.find(path);
  if (found == folders_.end()) return;
  Folder& folder = found->second;
  const std::chrono::milliseconds now = clock_.Monotonic();
  if (folder.lastSignal && now < *folder.lastSignal + kSignalInterval) {
    runLoop_.After(*folder.lastSignal + kSignalInterval - now, [this, path] { Flush(path); });
    return;
  }
  if (!CompareSome(found->first, folder)) return runLoop_.Post([this, path] { Flush(path); });
  folder.flushScheduled = false;
  // What there is no number for differs each time: better to begin anew.
  if (folder.words.size() >= kMaxWords) folder.pending.AddAll();
  if (folder.pending.IsEmpty()) return;
  const bool all = folder.pending.all;
  if (all) {
    // Everything will be asked for and told anew.
    ForgetTold(folder);
    folder.isPlain = false;
  }
  const std::string names = all ? std::string() : NamesToTell(path, folder);
  folder.pending = {};
  if (!all && names.empty()) return;
  folder.lastSignal = now;
  signaller_(path, names);
}

std::string DescriptionNews::NamesToTell(const std::string& path, Folder& folder) {
  const std::vector<std::string_view> names(folder.pending.names.begin(),
                                            folder.pending.names.end());
  const WordsOfItems items = reader_(path, names);
  const std::vector<Words> wordsOf = WordsOf(folder, PrintsOf(items));
  std::string packed;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const Words words = wordsOf[items.which[i]];
    // Of what nobody has asked about nothing is kept: the Agent may tell of any number.
    if (ToldWords* const told = folder.told.Find(names[i])) {
      const bool isTold = told->words == words && words != kDiffers;
      SetTold(folder, *told, words, folder.round);
      if (isTold) continue;
    }
    packed += names[i];
    packed += '\0';
  }
  return packed;
}

DescriptionNews::FolderMap::iterator DescriptionNews::DropIfAbandoned(FolderMap::iterator folder) {
  if (!folder->second.clients.empty() || folder->second.answering > 0) return std::next(folder);
  ForgetTold(folder->second);
  return folders_.erase(folder);
}

void DescriptionNews::ClientGone(const std::string& client) {
  CMutexLock lock(mutex_);
  if (foldersOf_.erase(client) == 0) return;
  for (auto folder = folders_.begin(); folder != folders_.end();) {
    folder->second.clients.erase(client);
    folder = DropIfAbandoned(folder);
  }
}

void DescriptionNews::Swept(const FolderPredicate& isOfInterest) {
  CMutexLock lock(mutex_);
  for (auto folder = folders_.begin(); folder != folders_.end();) {
    if (folder->second.answering > 0 ||
        isOfInterest(folder->first == "/" ? std::string() : folder->first)) {
      ++folder;
      continue;
    }
    for (const auto& [client, asked] : folder->second.clients) --foldersOf_[client];
    folder->second.clients.clear();
    folder = DropIfAbandoned(folder);
  }
}

std::size_t DescriptionNews::Folders() const {
  CMutexLock lock(mutex_);
  return folders_.size();
}

std::size_t DescriptionNews::Told() const {
  CMutexLock lock(mutex_);
  return toldItems_;
}

}  // namespace kelvo
