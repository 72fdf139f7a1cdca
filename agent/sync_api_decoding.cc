// What the Agent tells CSyncApi: events and connection states, decoded and handed to the clients.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "agent/sync_api.h"
#include "agent/sync_status_list_response.h"
#include "base/logger.h"
#include "base/mutex.h"
#include "base/string_map.h"
#include "base/string_utils.h"
#include "core/finder_configuration.h"
#include "ui/notification_preferences.h"

namespace kelvo {
namespace {

// The Agent's connection states that mean something here; the others are its own.
constexpr int kAgentStopped = 1;
constexpr int kAgentConnected = 4;

std::int64_t LongValue(const PropertyList::Dictionary& info, std::string_view key) {
  const PropertyList* value = FindValue(info, key);
  return value == nullptr ? 0 : value->ToInteger().value_or(0);
}

std::int32_t IntegerValue(const PropertyList::Dictionary& info, std::string_view key) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(LongValue(info, key), Limits::min(), Limits::max()));
}

std::string TextValue(const PropertyList::Dictionary& info, std::string_view key) {
  return ConvertCfStringToString(FindValue(info, key), StringEncoding::kUtf8);
}

// As TextValue, but without a copy of what is shared already.
std::shared_ptr<const std::string> SharedTextValue(const PropertyList::Dictionary& info,
                                                   std::string_view key) {
  const PropertyList* value = FindValue(info, key);
  if (value != nullptr && value->AsString() != nullptr && IsValidUtf8(*value->AsString())) {
    return value->ToSharedText();
  }
  return std::make_shared<const std::string>(TextValue(info, key));
}

// Before the lines of its records, which whoever walks it first logs.
void LogListOf(const std::string& path) {
  KELVO_LOG(kLogDebug, "OnSyncStatusListResponse " << path);
}

// The event's "path" in the file system's form. False for one that no file can have.
bool ReadPath(const PropertyList::Dictionary& info, std::string* path) {
  const PropertyList* value = FindValue(info, "path");
  *path = ConvertCfStringToFilesystemString(value);
  return !path->empty() || ConvertCfStringToString(value, StringEncoding::kUtf8).empty();
}

// The same, logged.
bool PathValue(const PropertyList::Dictionary& info, std::string* path) {
  if (ReadPath(info, path)) return true;
  KELVO_LOG(kLogError, "event of the Agent ignored: its path has no form in the file system");
  return false;
}

bool HasAll(const PropertyList::Dictionary& info, std::initializer_list<std::string_view> keys) {
  return std::all_of(keys.begin(), keys.end(),
                     [&](std::string_view key) { return FindValue(info, key) != nullptr; });
}

}  // namespace

class CSyncApi::PreparedLists {
 public:
  struct List {
    std::shared_ptr<const std::string> text;
    std::shared_ptr<void> made;
  };

  void Keep(List list) {
    CMutexLock lock(mutex_);
    list_ = std::move(list);
  }
  // The one with this very text; empty when that was not prepared.
  List Take(const std::string* text) {
    List list;
    CMutexLock lock(mutex_);
    if (text != nullptr && list_.text.get() == text) std::swap(list, list_);
    return list;
  }

 private:
  CMutex mutex_{kMutexNormal};
  List list_ KELVO_GUARDED_BY(mutex_);
};

// The answers that are owed to the Agent for "reset_show_dialog". Each is told when what its event
// has changed is written: an event that comes while a task is queued may have its changes written
// after that task, so its answer waits for another one.
class CSyncApi::ResetAnswers : public std::enable_shared_from_this<ResetAnswers> {
 public:
  ResetAnswers(RunLoop& runLoop, BackgroundQueue& settingsQueue)
      : runLoop_(runLoop), settingsQueue_(settingsQueue) {}

  void Owe() {
    {
      CMutexLock lock(mutex_);
      if (due_ > 0) {
        later_ = std::min(later_ + 1, kMostAnswers);
        return;
      }
      due_ = 1;
    }
    Queue();
  }

 private:
  // An Agent that resets more often while another program keeps the file locked counts no answers.
  static constexpr int kMostAnswers = 1000;

  void Queue() {
    settingsQueue_.Async([self = shared_from_this()] { self->Tell(); });
  }
  void Tell() {
    int due = 0;
    bool isMoreOwed = false;
    {
      CMutexLock lock(mutex_);
      due = std::exchange(due_, std::exchange(later_, 0));
      isMoreOwed = due_ > 0;
    }
    runLoop_.Post([due] {
      for (int i = 0; i < due; ++i) NotifyAgentEvent(kAgentInstance, "reset_show_dialog_success");
    });
    if (isMoreOwed) Queue();
  }

  RunLoop& runLoop_;
  BackgroundQueue& settingsQueue_;
  CMutex mutex_{kMutexNormal};
  int due_ KELVO_GUARDED_BY(mutex_) = 0;    // of the task that is queued
  int later_ KELVO_GUARDED_BY(mutex_) = 0;  // of the one after it
};

CSyncApi::CSyncApi(RunLoop& runLoop, BackgroundQueue& settingsQueue)
    : resetAnswers_(std::make_shared<ResetAnswers>(runLoop, settingsQueue)) {}

void CSyncApi::SetListPreparer(ListPreparer preparer) {
  prepared_ = std::make_shared<PreparedLists>();
  SetMessagePreparer(
      [prepared = prepared_, configuration = configuration_, preparer = std::move(preparer)](
          const std::string& name, const PropertyList::Dictionary& info) {
        const PropertyList* const event = FindValue(info, "event_name");
        std::string path;
        if (name != kAgentEventName || event == nullptr || event->AsString() == nullptr ||
            *event->AsString() != "sync_status_list" || !HasAll(info, {"path", "list"}) ||
            !ReadPath(info, &path)) {
          return;
        }
        PreparedLists::List list;
        list.text = SharedTextValue(info, "list");
        try {
          CSyncStatusListResponse response(configuration, path, list.text);
          LogListOf(path);
          list.made = preparer(response);
          prepared->Keep(std::move(list));
        } catch (const CTextDecodingException&) {
          // The loop finds at once that there is no count, and tells.
        }
      });
}

void CSyncApi::OnAgentEvent(void* target, const char* /*agentId*/, const std::string* eventName,
                            const PropertyList::Dictionary& userInfo) {
  auto* api = static_cast<CSyncApi*>(target);
  if (eventName == nullptr) return;
  if (*eventName == "sync_item") {
    api->OnSyncItem(userInfo);
  } else if (*eventName == "sync_status_list") {
    api->OnSyncStatusList(userInfo);
  } else if (*eventName == "sync_response") {
    api->OnSyncResponse(userInfo);
  } else if (*eventName == "reset_show_dialog") {
    api->OnResetShowDialog();
  } else if (*eventName == "fp_ping") {
    NotifyAgentEvent(kAgentInstance, "fp_pong");
  } else if (*eventName == "sync_error") {
    api->OnSyncError(userInfo);
  }
}

void CSyncApi::OnSyncItem(const PropertyList::Dictionary& userInfo) {
  if (!HasAll(userInfo, {"denied", "permissions", "path", "status", "folder"})) return;
  SSyncApiItemStatus item;
  if (!PathValue(userInfo, &item.path)) return;
  item.fileId = TextValue(userInfo, "file_id");
  item.itemId = LongValue(userInfo, "item_id");
  item.status = sync::ESyncItemStatus{IntegerValue(userInfo, "status")};
  item.lock = sync::ESyncItemLock{IntegerValue(userInfo, "lock")};
  item.modifiedBy = TextValue(userInfo, "modified_by");
  item.lockTime = LongValue(userInfo, "locktime");
  item.permissions = sync::EItemPermissions{IntegerValue(userInfo, "permissions")};
  item.denied = sync::EPermissionsDenied{IntegerValue(userInfo, "denied")};
  item.folder = IntegerValue(userInfo, "folder") != 0;
  if (item.lock != sync::ESyncItemLock::NO_SYNC_LOCK) {
    item.lockHolder = TextValue(userInfo, "lock_holder");
  }
  if (configuration_ != nullptr) {
    if (configuration_->IsUserMe(item.modifiedBy)) item.modifiedBy.clear();
    if (configuration_->IsUserMe(item.lockHolder)) item.lockHolder.clear();
  }
  KELVO_LOG(kLogDebug, "OnSyncStatusChanged "
                           << item.path << " fileId: " << item.fileId << " status "
                           << static_cast<int>(item.status) << " locked: "
                           << sync::EnumString(item.lock) << " holder: " << item.lockHolder
                           << " modified by: " << item.modifiedBy << " lock time: " << item.lockTime
                           << " permissions: " << sync::EnumString(item.permissions) << " denied: "
                           << sync::EnumString(item.denied) << " folder: " << item.folder);
  for (CSyncApiClient* client : clients_) client->OnSyncStatusChanged(item);
}

void CSyncApi::OnSyncStatusList(const PropertyList::Dictionary& userInfo) {
  if (!HasAll(userInfo, {"path", "list"})) return;
  std::string path;
  if (!PathValue(userInfo, &path)) return;
  PreparedLists::List prepared;
  if (prepared_ != nullptr) prepared = prepared_->Take(FindValue(userInfo, "list")->AsString());
  if (prepared.text == nullptr) {
    LogListOf(path);
    prepared.text = SharedTextValue(userInfo, "list");
  }
  try {
    // The count is read here first, so that a list which cannot be read reaches no client at all.
    CSyncStatusListResponse readable(configuration_, path, prepared.text);
    if (prepared.made != nullptr) readable.SetPrepared(prepared.made);
    for (CSyncApiClient* client : clients_) {
      CSyncStatusListResponse response = readable;
      client->OnSyncStatusListResponse(response);
    }
  } catch (const CTextDecodingException& exception) {
    KELVO_LOG(kLogError, "OnSyncStatusListResponse exception: " << exception.what());
  }
}

void CSyncApi::OnSyncResponse(const PropertyList::Dictionary& userInfo) {
  if (FindValue(userInfo, "command") == nullptr) return;
  const std::string command = TextValue(userInfo, "command");
  KELVO_LOG(kLogDebug, "OnSyncResponse: " << command);
  if (command == "reset-status") {
    for (CSyncApiClient* client : clients_) client->OnSyncStatusReset();
  } else if (command == "sync-lists") {
    const std::string listId = TextValue(userInfo, "list-id");
    const std::string list = TextValue(userInfo, "list");
    for (CSyncApiClient* client : clients_) client->OnSyncSyncList(listId, list);
  } else {
    StringMap values = ToStringMap(userInfo);
    const std::string& mapped = values["command"];
    for (CSyncApiClient* client : clients_) client->OnSyncRequestResponse(mapped, values);
  }
}

void CSyncApi::OnResetShowDialog() {
  KELVO_LOG(kLogDebug, "OnResetShowDialogPreference");
  SetShowUnlockNotification(true);
  SetShowLockNotification(true);
  resetAnswers_->Owe();
}

void CSyncApi::OnSyncError(const PropertyList::Dictionary& userInfo) {
  const sync::ESyncError error{IntegerValue(userInfo, "error")};
  const StringMap values = ToStringMap(userInfo);
  KELVO_LOG(kLogDebug, "OnSyncErrorReceived " << MapJoin(values, ' '));
  for (CSyncApiClient* client : clients_) client->OnSyncErrorReceived(error, values);
}

void CSyncApi::OnConnectionEvent(void* target, const char* /*agentId*/, int status,
                                 std::int64_t /*timestamp*/) {
  auto* api = static_cast<CSyncApi*>(target);
  api->agentActive_ = status != kAgentStopped;
  const bool connected = status == kAgentConnected;
  if (api->connected_ == connected) return;
  api->connected_ = connected;
  for (CSyncApiClient* client : api->clients_) client->OnConnectionStatusChanged(connected);
}

}  // namespace kelvo
