#include "agent/sync_api.h"

#include <string>

#include "base/logger.h"

namespace kelvo {
namespace {

constexpr char kSyncRequest[] = "sync_request";
constexpr char kFinderRequest[] = "finder_prequest";

}  // namespace

std::atomic<CSyncApi*> CSyncApi::m_Instance{nullptr};

CSyncApi::~CSyncApi() {
  SetMessagePreparer(nullptr);
  RemoveAgentObserver(&agentEvents_);
  RemoveAgentObserver(&connectionEvents_);
}

void CSyncApi::Initialize(const CFinderConfiguration* configuration) {
  configuration_ = configuration;
  connected_ = false;
  RegisterAgentEventObserver(&agentEvents_, this, OnAgentEvent);
  RegisterConnectionStatusObserver(&connectionEvents_, this, OnConnectionEvent);
  NotifyAgentReportStatus(kAgentInstance);
  RequestPublicLinks();
}

void CSyncApi::RequestPublicLinks() {
  NotifyAgentEvent(kAgentInstance, kSyncRequest,
                   {{"command", "sync-lists"}, {"list-name", "publicLinks"}});
}

void CSyncApi::RequestFolderItems(const std::string& path) {
  KELVO_LOG(kLogDebug, "RequestFolderItems " << path);
  NotifyAgentEvent(kAgentInstance, kSyncRequest,
                   {{"command", "status-list"}, {"path", path.c_str()}});
}

void CSyncApi::RequestLock(const std::string& path, unsigned long expire) {
  RecordCommand(path);
  KELVO_LOG(kLogDebug, "RequestLock" << path << " expire " << expire);
  NotifyAgentEvent(kAgentInstance, kSyncRequest,
                   {{"command", "lock"},
                    {"path", path.c_str()},
                    {"expire", std::to_string(expire).c_str()},
                    {"lock-type", "kelvo"},
                    {"details", ""}});
}

void CSyncApi::RequestUnlock(const std::string& path) {
  RecordCommand(path);
  KELVO_LOG(kLogDebug, "RequestUnlock" << path);
  NotifyAgentEvent(kAgentInstance, kSyncRequest, {{"command", "unlock"}, {"path", path.c_str()}});
}

void CSyncApi::RequestShowViolationsPermissionsDialog() {
  KELVO_LOG(kLogDebug, "RequestShowViolationsPermissionsDialog");
  NotifyAgentEvent(kAgentInstance, kFinderRequest, {{"command", "show-permissions-violations"}});
}

void CSyncApi::RequestShowPublicLinkDialog(const std::string& path, const std::string& fileId) {
  KELVO_LOG(kLogDebug, "RequestShowPublicLinkDialog");
  Cache* cache = cache_;
  const int permissions = cache == nullptr ? 0 : static_cast<int>(cache->GetPermissions(path));
  NotifyAgentEvent(kAgentInstance, kFinderRequest,
                   {{"command", "show-public-link-dialog"},
                    {"path", path.c_str()},
                    {"file-id", fileId.c_str()},
                    {"permissions", std::to_string(permissions).c_str()}});
}

int CSyncApi::RefreshItem(const std::string& path) {
  RefreshPath(path);
  return 0;
}

// Only the instance that asked shows the Agent's answer.
void CSyncApi::RecordCommand(const std::string& path) {
  if (Cache* cache = cache_) cache->AddCommandForThisInstance(path);
}

}  // namespace kelvo
