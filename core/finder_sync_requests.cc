// What the file manager asks of the extension, and what is asked of the Agent again.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "agent/paced_requests.h"
#include "agent/refresh_paths.h"
#include "agent/sync_api.h"
#include "base/file_system.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "cache/sync_cache.h"
#include "core/finder_configuration.h"
#include "core/finder_sync.h"
#include "core/overlays.h"
#include "platform/finder_controller.h"
#include "platform/run_loop.h"
#include "projects/projects_list.h"
#include "ui/item_words.h"

namespace kelvo {
namespace {

// A second asking this long after the first: a query within the cache's patience with a request
// that got lost sends nothing.
constexpr std::chrono::seconds kSecondAsking{7};

// What is repainted in one go, under one lock: no badge request waits for more.
constexpr std::size_t kPathsAtOnce = 1024;

// `isDirectory`: nullopt where the badge does not depend on it, which spares a look at the disk.
std::string IdentifierOf(BadgeStatus status, std::optional<bool> isDirectory) {
  return isDirectory ? Overlays::getIdentifierForStatus(static_cast<int>(status), *isDirectory)
                     : Overlays::getIdentifierForStatus(static_cast<int>(status));
}

// Not so of some names that an Agent may put into a list.
bool IsItemOfItsFolder(std::string_view name) {
  return !name.empty() && name.find('/') == std::string_view::npos;
}

// Another number whenever badges of the same status may look otherwise.
std::uint64_t SettingsPublication() {
  const CFinderConfiguration* configuration = CFinderConfiguration::m_Instance;
  return configuration == nullptr ? 0 : configuration->Publication();
}

std::string DirectoryOf(const std::string& path) {
  std::string directory;
  std::string name;
  return SplitPath(path, &directory, &name) ? directory : std::string();
}

// The root is "/" where it is shown, and the empty directory where its items are kept.
bool IsShown(const CSyncCache& cache, std::string_view directory) {
  return cache.IsObserved(directory.empty() ? std::string_view("/") : directory);
}

}  // namespace

void RefreshPath(const std::string& path) {
  FinderSync* extension = FinderSync::m_Instance;
  if (extension == nullptr) return;
  extension->refreshPath(path);
  extension->rememberIfShown(path);
}

void RefreshPaths(const std::string& directory, std::span<const std::string_view> names) {
  if (FinderSync* extension = FinderSync::m_Instance) extension->refreshPaths(directory, names);
}

void FinderSync::refreshPath(const std::string& path) {
  if (path.empty()) return;
  CSyncCache* cache = CSyncCache::m_Instance;
  setBadge(path, cache == nullptr ? BadgeStatus::kNone : cache->GetStatus(path));
}

void FinderSync::setBadge(const std::string& path, BadgeStatus status) {
  const CSyncCache* cache = CSyncCache::m_Instance;
  for (;;) {
    const std::uint64_t publication = SettingsPublication();
    const bool isDue = Overlays::dependsOnFolder(static_cast<int>(status));
    const auto isDirectory = isDue ? std::optional<bool>(IsDirectory(path)) : std::nullopt;
    const std::string identifier = IdentifierOf(status, isDirectory);
    KELVO_LOG(kLogDebug, "setting badge:" << identifier << " for:" << path);
    platform_.finderController.setBadgeIdentifier(identifier, path, isDirectory);
    // Another thread may have set the badge of a newer status meanwhile, or that of newer settings,
    // which this one replaced.
    const BadgeStatus latest = cache == nullptr ? status : cache->PeekStatus(path);
    if (latest == status && SettingsPublication() == publication) return;
    status = latest;
  }
}

void FinderSync::refreshPaths(const std::string& directory,
                              std::span<const std::string_view> names) {
  CSyncCache* cache = CSyncCache::m_Instance;
  std::vector<BadgeStatus> statuses;
  std::vector<BadgeStatus> latest;
  std::vector<FinderController::ItemBadge> badges;
  while (!names.empty()) {
    const auto some = names.first(std::min(names.size(), kPathsAtOnce));
    names = names.subspan(some.size());
    statuses.assign(some.size(), BadgeStatus::kNone);
    const std::uint64_t changes = badgeChanges();
    const std::uint64_t publication = SettingsPublication();
    const bool areItems = std::all_of(some.begin(), some.end(), IsItemOfItsFolder);
    if (!areItems || cache == nullptr || !cache->GetStatuses(directory, some, statuses)) {
      // A miss asks the Agent, item by item; what lies deeper is another folder's.
      for (std::string_view name : some) refreshPath(directory + "/" + std::string(name));
      continue;
    }
    badges.clear();
    for (std::size_t i = 0; i < some.size(); ++i) {
      const bool isDue = Overlays::dependsOnFolder(static_cast<int>(statuses[i]));
      std::optional<bool> isDirectory;
      if (isDue) isDirectory = IsDirectory(directory + "/" + std::string(some[i]));
      badges.push_back({some[i], IdentifierOf(statuses[i], isDirectory), isDirectory});
      KELVO_LOG(kLogDebug, "setting badge:" << badges.back().identifier << " for:" << directory
                                            << "/" << some[i]);
    }
    platform_.finderController.setBadgeIdentifiers(directory, badges, changes);
    // As after a single one.
    if (badgeChanges() == changes) continue;
    const bool areSameSettings = SettingsPublication() == publication;
    latest.assign(some.size(), BadgeStatus::kNone);
    cache->PeekStatuses(directory, some, latest);
    for (std::size_t i = 0; i < some.size(); ++i) {
      if (latest[i] == statuses[i] && areSameSettings) continue;
      setBadge(directory + "/" + std::string(some[i]), latest[i]);
    }
  }
}

void FinderSync::requestBadgeIdentifierForURL(const std::string& path) {
  if (path.empty()) return;
  refreshPath(path);
  rememberUnanswered(path);
}

void FinderSync::requestBadgeIdentifiers(const std::string& directory,
                                         std::span<const std::string_view> names) {
  refreshPaths(directory, names);
  // One item stands for its folder.
  const auto sayable = std::find_if(names.begin(), names.end(), IsValidUtf8);
  if (sayable != names.end()) rememberUnanswered(directory + "/" + std::string(*sayable));
}

void FinderSync::beginObservingDirectoryAtURL(const std::string& path) {
  if (path.empty()) return;
  CSyncCache* cache = nullptr;
  {
    CMutexLock lock(observedMutex_);
    cache = CSyncCache::m_Instance;
    if (cache == nullptr) {
      observedBeforeStart_.insert(path);
    } else {
      cache->AddObservedPath(path);
    }
  }
  if (cache != nullptr) cache->GetStatus(path);
  rememberUnanswered(path);
}

void FinderSync::endObservingDirectoryAtURL(const std::string& path) {
  CMutexLock lock(observedMutex_);
  observedBeforeStart_.erase(path);
  if (CSyncCache* cache = CSyncCache::m_Instance) cache->RemoveObservedPath(path);
}

std::uint64_t FinderSync::badgeChanges() const {
  const CSyncCache* cache = CSyncCache::m_Instance;
  return 1 + SettingsPublication() + (cache == nullptr ? 0 : cache->StatusChanges());
}

std::vector<std::optional<std::string>> FinderSync::knownBadgeIdentifiers(
    std::string_view directory, std::span<const KnownItem> items) const {
  std::vector<std::optional<std::string>> identifiers(items.size(), std::string());
  const CSyncCache* cache = CSyncCache::m_Instance;
  if (cache == nullptr) return identifiers;
  std::vector<std::string_view> names;
  names.reserve(items.size());
  for (const KnownItem& item : items) names.push_back(item.name);
  std::vector<BadgeStatus> statuses(items.size(), BadgeStatus::kNone);
  cache->PeekStatuses(directory, names, statuses);
  for (std::size_t i = 0; i < items.size(); ++i) {
    const std::optional<bool> isDirectory = items[i].isDirectory;
    if (isDirectory || !Overlays::dependsOnFolder(static_cast<int>(statuses[i]))) {
      identifiers[i] = IdentifierOf(statuses[i], isDirectory);
    } else {
      identifiers[i].reset();
    }
  }
  return identifiers;
}

WordsOfItems FinderSync::describeItems(const std::string& folder,
                                       const std::vector<std::string_view>& names) const {
  const CSyncCache* cache = CSyncCache::m_Instance;
  ItemDescriber describer(names.size());
  std::string path = folder == "/" ? folder : folder + "/";
  const std::size_t prefix = path.size();
  for (std::string_view name : names) {
    path.resize(prefix);
    path += name;
    describer.Add(cache == nullptr || name.empty() ? std::nullopt : cache->PeekItem(path));
  }
  return std::move(describer).Take();
}

bool FinderSync::isFolderOfInterest(const std::string& directory) const {
  const CSyncCache* cache = CSyncCache::m_Instance;
  return cache != nullptr &&
         (cache->IsListed(directory) || cache->IsAwaited(directory) || IsShown(*cache, directory));
}

void FinderSync::withProjects(std::function<void(const ProjectsList& projects)> use) {
  platform_.runLoop.Post([alive = alive_, use = std::move(use)] {
    const ProjectsList* projects =
        *alive == nullptr ? nullptr : ProjectsList::defaultProjectsList();
    if (projects != nullptr) use(*projects);
  });
}

void FinderSync::rememberUnanswered(const std::string& path) {
  // The Agent can never be asked for it, so it must not stand for its folder.
  if (!IsValidUtf8(path)) return;
  const CSyncCache* cache = CSyncCache::m_Instance;
  const bool couldAsk = canAsk();
  if (couldAsk && cache != nullptr && !cache->IsAwaited(DirectoryOf(path))) return;
  lateRequests_.Remember(path);
  // The system may have come up between the look and the note; then nobody else asks again.
  if (!couldAsk && canAsk()) postToSelf(&FinderSync::askAgain);
}

void FinderSync::rememberIfShown(const std::string& path) {
  const CSyncCache* cache = CSyncCache::m_Instance;
  if (cache == nullptr || !IsValidUtf8(path)) return;
  const std::string directory = DirectoryOf(path);
  if (cache->IsAwaited(directory) && IsShown(*cache, directory)) lateRequests_.Remember(path);
}

// Nobody else asks for them: file managers have badges of their items, which are old now.
void FinderSync::listsRenewed(const std::vector<std::string>& items, bool requested) {
  for (const std::string& item : items) lateRequests_.Remember(item);
  // After a reset the repaint of a folder queries the one that it is in, which brings the list of
  // the first of many that lie there.
  if (!requested) postToSelf(&FinderSync::askAgain);
}

void FinderSync::askAgain() {
  if (!canAsk() || !askForUnanswered()) return;
  platform_.runLoop.After(kSecondAsking, [alive = alive_] {
    if (*alive == nullptr || !(*alive)->canAsk()) return;
    (*alive)->lateRequests_.Retain([cache = (*alive)->syncCache_.get()](const std::string& folder) {
      return !cache->IsListed(folder);
    });
    (*alive)->askForUnanswered();
  });
}

bool FinderSync::askForUnanswered() {
  askOnceMore_ = asking_;
  if (asking_) return true;
  std::vector<std::string> paths = lateRequests_.Paths();
  if (paths.empty()) return false;
  asking_ = true;
  SendPaced(
      platform_.runLoop, std::move(paths),
      [alive = alive_](const std::string& path) {
        if (*alive == nullptr || !(*alive)->canAsk()) return;
        CSyncCache& cache = *(*alive)->syncCache_;
        if (!cache.IsListed(DirectoryOf(path))) cache.GetStatus(path);
      },
      [alive = alive_] {
        if (*alive != nullptr) (*alive)->askedForUnanswered();
      });
  return true;
}

void FinderSync::askedForUnanswered() {
  asking_ = false;
  if (askOnceMore_) postToSelf(&FinderSync::askAgain);
}

void FinderSync::foldersSwept(const std::vector<std::string>& expired) {
  if (!agentConnected_) return;
  lateRequests_.Retain([this](const std::string& directory) {
    return syncCache_->IsAwaited(directory) ||
           (IsShown(*syncCache_, directory) && !syncCache_->IsListed(directory));
  });
  if (observer_ != nullptr) observer_->onFoldersSwept(expired);
}

}  // namespace kelvo
