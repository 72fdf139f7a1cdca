// What the file manager asks of the extension, and what is asked of the Agent again.
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "agent/sync_api.h"
#include "base/file_system.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "cache/sync_cache.h"
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

std::string DirectoryOf(const std::string& path) {
  std::string directory;
  std::string name;
  return SplitPath(path, &directory, &name) ? directory : std::string();
}

}  // namespace

void RefreshPath(const std::string& path) {
  if (FinderSync* extension = FinderSync::m_Instance) extension->refreshPath(path);
}

void FinderSync::refreshPath(const std::string& path) {
  if (path.empty()) return;
  const bool isDirectory = IsDirectory(path);
  CSyncCache* cache = CSyncCache::m_Instance;
  BadgeStatus status = cache == nullptr ? BadgeStatus::kNone : cache->GetStatus(path);
  for (;;) {
    const std::string identifier =
        Overlays::getIdentifierForStatus(static_cast<int>(status), isDirectory);
    KELVO_LOG(kLogDebug, "setting badge:" << identifier << " for:" << path);
    platform_.finderController.setBadgeIdentifier(identifier, path, isDirectory);
    // Another thread may have set the badge of a newer status meanwhile, which this one replaced.
    const BadgeStatus latest = cache == nullptr ? status : cache->PeekStatus(path);
    if (latest == status) return;
    status = latest;
  }
}

void FinderSync::requestBadgeIdentifierForURL(const std::string& path) {
  if (path.empty()) return;
  refreshPath(path);
  rememberUnanswered(path);
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

std::string FinderSync::knownBadgeIdentifier(const std::string& path, bool isDirectory) const {
  const CSyncCache* cache = CSyncCache::m_Instance;
  const BadgeStatus status = cache == nullptr ? BadgeStatus::kNone : cache->PeekStatus(path);
  return Overlays::getIdentifierForStatus(static_cast<int>(status), isDirectory);
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
  // The root is "/" where it is shown, and the empty directory where its items are kept.
  return cache != nullptr &&
         (cache->IsListed(directory) || cache->IsAwaited(directory) ||
          cache->IsObserved(directory.empty() ? std::string_view("/") : directory));
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

void FinderSync::askAgain() {
  if (!canAsk()) return;
  const std::vector<std::string> paths = lateRequests_.Paths();
  if (paths.empty()) return;
  askAgainFor(paths);
  platform_.runLoop.After(kSecondAsking, [alive = alive_, paths] {
    if (*alive == nullptr || !(*alive)->canAsk()) return;
    (*alive)->askAgainFor(paths);
    (*alive)->forgetListed(paths);
  });
}

void FinderSync::askAgainFor(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    if (!syncCache_->IsListed(DirectoryOf(path))) refreshPath(path);
  }
}

void FinderSync::forgetListed(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    if (syncCache_->IsListed(DirectoryOf(path))) lateRequests_.ForgetFolderOf(path);
  }
}

void FinderSync::foldersSwept(const std::vector<std::string>& expired) {
  if (!agentConnected_) return;
  lateRequests_.Retain(
      [this](const std::string& directory) { return syncCache_->IsAwaited(directory); });
  if (observer_ != nullptr) observer_->onFoldersSwept(expired);
}

}  // namespace kelvo
