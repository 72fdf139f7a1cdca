#include "hosts/bus/description_news.h"

#include <limits.h>

#include <iterator>
#include <utility>

#include "base/string_utils.h"

namespace kelvo {
namespace {

std::uint64_t Hash(std::string_view text) { return std::hash<std::string_view>{}(text); }

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
                                 Signaller signaller)
    : runLoop_(runLoop),
      clock_(clock),
      reader_(std::move(reader)),
      signaller_(std::move(signaller)) {}

std::vector<DescriptionNews::Print> DescriptionNews::PrintsOf(const WordsOfItems& items) {
  std::vector<Print> prints;
  prints.reserve(items.descriptions.size());
  for (const ItemWords& words : items.descriptions) {
    prints.push_back(Hash(words.state + '\0' + words.lockOwner + '\0' + words.permission) | 1);
  }
  return prints;
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
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i].empty()) continue;
    const Print print = prints[items.which[i]];
    const auto told = entry.told.find(Hash(names[i]));
    if (told == entry.told.end()) {
      KeepTold(entry, names[i], print);
    } else if (told->second != print) {
      told->second = isAlone ? print : kDiffers;
    }
  }
  reply(items);
  --entry.answering;
  // What came while the items were read may be in the reply or not.
  if (!entry.sinceAsked.IsEmpty()) {
    entry.pending.Add(entry.sinceAsked.all ? entry.toldNames : entry.sinceAsked);
    Schedule(found->first, entry);
  }
  if (entry.answering > 0) return;
  entry.sinceAsked = {};
  DropIfAbandoned(found);
}

void DescriptionNews::KeepTold(Folder& folder, std::string_view name, Print print) {
  if (folder.isPlain) return;
  if (toldItems_ >= kMaxTold) {
    // An item that was told and is not kept must not be taken for one that was not told.
    ForgetTold(folder);
    folder.isPlain = true;
    folder.toldNames.AddAll();
    return;
  }
  // No item has a longer name, and whoever asks for such ones shall not fill the memory.
  name.size() > NAME_MAX ? folder.toldNames.AddAll() : folder.toldNames.Add(name);
  folder.told.emplace(Hash(name), print);
  ++toldItems_;
}

void DescriptionNews::ForgetTold(Folder& folder) {
  toldItems_ -= folder.told.size();
  folder.told.clear();
  folder.toldNames = {};
}

void DescriptionNews::NoteChange(std::string_view path, bool isList) {
  CMutexLock lock(mutex_);
  Names news;
  if (path.empty()) {
    news.AddAll();
    for (auto& [folderPath, folder] : folders_) Note(folderPath, folder, news, news);
    return;
  }
  std::string_view directory = path;
  std::string_view name;
  if (!isList && !SplitPath(path, &directory, &name)) return;
  const auto found = folders_.find(directory.empty() ? std::string_view("/") : directory);
  if (found == folders_.end()) return;
  Folder& folder = found->second;
  isList ? news.AddAll() : news.Add(name);
  Note(found->first, folder, isList ? folder.toldNames : news, news);
}

// `sinceAsked`: in case of answers that are under way, whose items are not among the told ones yet.
void DescriptionNews::Note(const std::string& path, Folder& folder, const Names& news,
                           const Names& sinceAsked) {
  folder.pending.Add(news);
  if (folder.answering > 0) folder.sinceAsked.Add(sinceAsked);
  Schedule(path, folder);
}

void DescriptionNews::Schedule(const std::string& path, Folder& folder) {
  if (folder.flushScheduled) return;
  folder.flushScheduled = true;
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
  folder.flushScheduled = false;
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
  const std::vector<Print> prints = PrintsOf(items);
  std::string packed;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const Print print = prints[items.which[i]];
    const auto told = folder.told.find(Hash(names[i]));
    if (told == folder.told.end()) {
      KeepTold(folder, names[i], print);
    } else if (std::exchange(told->second, print) == print) {
      continue;
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
