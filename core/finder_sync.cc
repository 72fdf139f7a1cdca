// The life of the extension: start, the Agent's configuration, watched folders.
#include "core/finder_sync.h"

#include <chrono>
#include <unordered_set>
#include <utility>

#include "agent/notification_module.h"
#include "agent/sync_api.h"
#include "base/logger_mac.h"
#include "base/string_utils.h"
#include "cache/sync_cache.h"
#include "core/agent_news.h"
#include "core/build_date.h"
#include "core/diagnostics.h"
#include "core/finder_configuration.h"
#include "core/overlays.h"
#include "deployment.h"
#include "platform/background_queue.h"
#include "platform/finder_controller.h"
#include "platform/run_loop.h"
#include "platform/system_log.h"
#include "projects/projects_list.h"
#include "settings/account_list.h"
#include "settings/secure_store.h"
#include "ui/alert.h"
#include "ui/confirmation_dialog_controller.h"
#include "ui/notification_preferences.h"

namespace kelvo {
namespace {

constexpr char kLoggerName[] = "Kelvo Plugin";
constexpr char kLogFile[] = "~/Library/Logs/KelvoAgentPlugin.log";

std::string AgentName() { return std::string(kNotificationObject) + "." + kExtensionName; }

constexpr Selector kHandleConfigurationUpdated{"handleConfigurationUpdated"};
constexpr Selector kHandleReinitLogger{"handleReinitLogger"};
constexpr Selector kHandleProjectsListChanged{"handleProjectsListChanged:"};
constexpr std::chrono::seconds kLongWait{2};

// The folder as the file manager takes it: absolute, no slash at the end; empty when there is none.
std::string DirectoryURL(std::string path) {
  if (!path.starts_with('/')) return {};
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

}  // namespace

std::atomic<FinderSync*> FinderSync::m_Instance{nullptr};

FinderSync::FinderSync(const Platform& platform, std::shared_ptr<const Bundle> bundle,
                       Observer* observer)
    : platform_(platform),
      bundle_(std::move(bundle)),
      observer_(observer),
      dialogSources_(
          std::make_unique<DialogSources>(DialogSources{platform.dialogs, platform.runLoop})),
      dialogs_(std::make_unique<ConfirmationDialogs>()),
      alive_(std::make_shared<FinderSync*>(this)) {
  m_Instance = this;
}

FinderSync::~FinderSync() {
  *alive_ = nullptr;
  m_Instance = nullptr;
  KelvoConfirmationDialogController::SetSources(nullptr);
  SetNotificationPreferences(&platform_.userDefaults);
  CloseAlert();
  CNotificationModule::m_Instance = nullptr;
  CSyncCache::m_Instance = nullptr;
  CSyncApi::m_Instance = nullptr;
  CFinderConfiguration::m_Instance = nullptr;
}

void FinderSync::init() {
  platform_.systemLog.Write(
      kLoggerName, kSystemLogInfo,
      "-[FinderSync init] launched from " + bundle_->path() + " ; compiled at " + kBuildTime);
  SetSecretStore(&platform_.secretStore);
  // A line of the menu is named after one of them.
  SetNotificationPreferences(&platform_.userDefaults, [this] {
    if (observer_ != nullptr) observer_->onMenusChanged();
  });
  KelvoConfirmationDialogController::SetSources(dialogSources_.get());
  configuration_ = std::make_unique<CFinderConfiguration>();
  CFinderConfiguration::m_Instance = configuration_.get();
  initLogger();
  loadImages();
  KELVO_LOG(kLogInformation, "Kelvo FinderSync plugin loaded: " << deployment::kVersion << " ("
                                                                << kBuildDate << " " << kBuildTime
                                                                << ")");
  registerAgentEvents();
  SetApplicationBundle(bundle_);
  InitializeBridge(AgentName(), configuration_.get(), this, platform_.agentTransport,
                   platform_.runLoop, platform_.clock, &platform_.messageQueue);
  createProjectsList();
  NotifyAgentEvent(kAgentInstance, "configuration_init");
}

// The accounts come without their secrets: nothing of the extension needs those from here, and no
// list of projects shall wait for a keyring.
void FinderSync::createProjectsList() {
  AccountList::SetSettingsQueue(&platform_.accountsQueue);
  AccountList::defaultAccountListWithPassword(false);
  ProjectsList::SetFactory([&platform = platform_] {
    return std::make_unique<ProjectsList>(platform.runLoop, platform.accountsQueue);
  });
  ProjectsList::createInstance();
  ProjectsList::addClient(this, kHandleProjectsListChanged);
}

void FinderSync::dealloc() {
  *alive_ = nullptr;
  DeallocBridge();
  ProjectsList::removeClient(this);
  RemoveAgentObserver(&connectionObserver_);
  AgentEventDispatcher::defaultDispatcher().unregisterTarget(this);
}

void FinderSync::initLogger() {
  if (logger_ != nullptr) {
    logger_->Reopen();
    logger_->SetLevel(configuration_->TraceLevel());
    return;
  }
  logger_ = new CLoggerMac(kLoggerName, ExpandTildeInPath(kLogFile), platform_.systemLog);
  logger_->SetLevel(configuration_->TraceLevel());
  CLogger* former = CLogger::m_Instance.exchange(logger_);
  if (former == nullptr) return;
  // Deliberate: never destroyed, as a thread may be writing with it at this moment.
  static auto* replaced = new std::vector<CLogger*>;
  replaced->push_back(former);
}

void FinderSync::loadImages() {
  Overlays::loadOverlaysForBundle(*bundle_);
  for (const BadgeDescription& badge : kBadges) {
    const int status = static_cast<int>(badge.status);
    platform_.finderController.setBadgeImage(Overlays::getImageForStatus(status), badge.label,
                                             Overlays::getIdentifierForStatus(status));
  }
}

void FinderSync::registerAgentEvents() {
  AgentEventDispatcher& dispatcher = AgentEventDispatcher::defaultDispatcher();
  dispatcher.registerEventName("configuration_updated", this, kHandleConfigurationUpdated);
  dispatcher.registerEventName("reinit_finder_logger", this, kHandleReinitLogger);
  RegisterConnectionStatusObserver(&connectionObserver_, this, &connectionStatusChanged);
}

void FinderSync::performSelector(Selector selector, const PropertyList::Dictionary& /*userInfo*/) {
  if (selector == kHandleConfigurationUpdated) {
    handleConfigurationUpdated();
  } else if (selector == kHandleReinitLogger) {
    handleReinitLogger();
  } else if (selector == kHandleProjectsListChanged) {
    handleProjectsListChanged();
  }
}

void FinderSync::handleReinitLogger() { initLogger(); }

void FinderSync::handleProjectsListChanged() {
  setWatchedFolders();
  if (observer_ != nullptr) observer_->onMenusChanged();
}

// The load may wait for a file's lock or for the keyring, so it runs on the settings worker; what
// was known stays in force until it is done.
void FinderSync::handleConfigurationUpdated() {
  // A load that has not begun will see what this event is about.
  if (loadWaiting_.exchange(true)) return;
  auto done = std::make_shared<bool>(false);
  platform_.runLoop.After(kLongWait, [done] {
    if (*done) return;
    KELVO_LOG(kLogWarning,
              "The configuration is not loaded after 2 seconds: another program keeps a settings "
              "file locked, or the secret store is slow; still waiting");
  });
  platform_.settingsQueue.Async([alive = alive_, configuration = configuration_.get(), done,
                                 &runLoop = platform_.runLoop, &loadWaiting = loadWaiting_] {
    loadWaiting = false;
    const bool hadGreenCheckmarks = configuration->ShowGreenCheckmarks();
    configuration->Load();
    const bool changed = configuration->ShowGreenCheckmarks() != hadGreenCheckmarks;
    runLoop.Post([alive, done, changed] {
      *done = true;
      if (*alive != nullptr) (*alive)->configurationLoaded(changed);
    });
  });
}

void FinderSync::configurationLoaded(bool greenCheckmarksChanged) {
  setWatchedFolders();
  startUp();
  if (greenCheckmarksChanged) refreshAllBadges();
  if (observer_ != nullptr) observer_->onMenusChanged();
}

void FinderSync::startUp() {
  if (startedUp_) return;
  startedUp_ = true;
  syncApi_ = std::make_unique<CSyncApi>(platform_.runLoop, platform_.settingsQueue);
  syncCache_ =
      std::make_unique<CSyncCache>(platform_.runLoop, platform_.clock, &platform_.messageQueue);
  notificationModule_ = std::make_unique<CNotificationModule>(*dialogs_);
  syncApi_->SetCache(syncCache_.get());
  syncApi_->Initialize(configuration_.get());
  syncCache_->Initialize(configuration_.get(), syncApi_.get());
  notificationModule_->Initialize(configuration_.get(), syncApi_.get(), syncCache_.get());
  news_ = std::make_unique<AgentNews>(
      [this](const std::string& path, const CSyncStatusListResponse* list) {
        if (observer_ != nullptr) observer_->onItemsChanged(path, list);
      },
      [this] {
        if (observer_ != nullptr) observer_->onPublicLinksChanged();
      });
  syncApi_->AddClient(news_.get());
  syncCache_->SetSweepObserver(
      [this](const std::vector<std::string>& expired) { foldersSwept(expired); });
  syncCache_->SetRenewalObserver([this](const std::vector<std::string>& items, bool requested) {
    listsRenewed(items, requested);
  });
  CSyncApi::m_Instance = syncApi_.get();
  CNotificationModule::m_Instance = notificationModule_.get();
  {
    CMutexLock lock(observedMutex_);
    for (const std::string& path : observedBeforeStart_) syncCache_->AddObservedPath(path);
    observedBeforeStart_.clear();
    CSyncCache::m_Instance = syncCache_.get();
  }
  started_ = true;
  postToSelf(&FinderSync::askAgain);
}

void FinderSync::refreshAllBadges() {
  if (syncCache_ != nullptr) syncCache_->RefreshAll();
}

void FinderSync::setWatchedFolders() {
  const std::string workplace = configuration_->WorkplaceFolder();
  std::vector<std::string> folders;
  std::unordered_set<std::string> known;
  const auto add = [&](const std::string& path) {
    std::string url = DirectoryURL(path);
    if (!url.empty() && known.insert(url).second) folders.push_back(std::move(url));
  };
  if (const ProjectsList* projects = ProjectsList::defaultProjectsList()) {
    for (const Project& project : projects->subscribedExternalProjects()) add(project.path());
  }
  add(workplace);
  if (folders.empty()) {
    KELVO_LOG(kLogInformation, "Empty watch folders!");
    return;
  }
  platform_.finderController.setDirectoryURLs(folders);
  KELVO_LOG(kLogInformation, "Workplace set to:" << workplace);
}

// The channel may come up or end inside a request of the cache, under its lock. So nobody above is
// called from here, only later from the loop.
void FinderSync::communicationInitiatized() {
  KELVO_LOG(kLogDebug, "Communication initialized, request configuration");
  agentConnected_ = true;
  tellAgentConnected(true);
  const std::uint64_t opening = HoldBridgeOpening();
  if (opening == 0) {
    // Deliberate: the bridge is being created, so the opening would be discarded. init sends
    // "configuration_init" right after, and the connection status brings the projects.
    postToSelf(&FinderSync::askAgain);
    return;
  }
  ProjectsList::defaultProjectsList()->readCalculateSynced([alive = alive_, opening](bool synced) {
    FinishBridgeOpening(opening, [synced] {
      ProjectsList::defaultProjectsList()->requestSubscribedProjectsCalculateSynced(synced);
      NotifyAgentEvent(kAgentInstance, "configuration_init");
    });
    if (*alive != nullptr) (*alive)->askAgain();
  });
}

void FinderSync::communicationEnded() {
  agentConnected_ = false;
  tellAgentConnected(false);
}

// Each change is told, also that of a channel which is back before the loop's next turn: clients
// ask again when they hear of it.
void FinderSync::tellAgentConnected(bool connected) {
  platform_.runLoop.Post([alive = alive_, connected] {
    if (*alive != nullptr && (*alive)->observer_ != nullptr) {
      (*alive)->observer_->onAgentConnected(connected);
    }
  });
}

void FinderSync::connectionStatusChanged(void* target, const char* /*agentId*/, int status,
                                         std::int64_t /*timestamp*/) {
  auto* self = static_cast<FinderSync*>(target);
  if (self->connectionStatus_ == status) return;
  self->connectionStatus_ = status;
  if (self->observer_ != nullptr) self->observer_->onMenusChanged();
}

Diagnostics FinderSync::diagnostics() const {
  Diagnostics facts;
  facts.agentAddress = platform_.agentTransport.addressOf(AgentName());
  facts.agent = BridgeContact();
  if (const CFinderConfiguration* configuration = CFinderConfiguration::m_Instance) {
    facts.configurationFile = configuration->File();
    facts.configurationLabel = configuration->Label();
    facts.configurationRead = configuration->IsRead();
  }
  facts.logFile = ExpandTildeInPath(kLogFile);
  facts.started = started_;
  return facts;
}

void FinderSync::postToSelf(void (FinderSync::*task)()) {
  platform_.runLoop.Post([alive = alive_, task] {
    if (*alive != nullptr) ((*alive)->*task)();
  });
}

}  // namespace kelvo
