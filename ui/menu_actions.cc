// What the lines of the menu do.
#include <time.h>

#include <string>

#include "agent/notification_module.h"
#include "agent/notifications_bridge.h"
#include "agent/paced_requests.h"
#include "agent/sync_api.h"
#include "base/format_text.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "cache/sync_cache.h"
#include "core/finder_configuration.h"
#include "platform/clock.h"
#include "platform/desktop.h"
#include "platform/dialogs.h"
#include "settings/application_bundle.h"
#include "ui/menu_context.h"
#include "ui/public_link.h"

namespace kelvo {
namespace {

// A web command whose answer never comes holds up others for so long.
constexpr std::int64_t kPendingWebCommand = 10;  // seconds
constexpr char kNoticeTimeout[] = "5";           // seconds

// In the user's language, since the program's locale is the user's.
std::string LongDate(std::int64_t when) {
  const time_t time = when;
  tm local{};
  char buffer[64];
  tzset();  // localtime_r alone need not look
  if (localtime_r(&time, &local) == nullptr) return {};
  return {buffer, strftime(buffer, sizeof buffer, "%B %d, %Y", &local)};
}

}  // namespace

// The cache may have dropped the item since its menu was made.
std::string KelvoMenuContext::fileIdOfFirst() const {
  std::string fileId = sources_.cache.GetFileId(selection_.path(0));
  return fileId.empty() ? fileIdInMenu_ : fileId;
}

void KelvoMenuContext::createPublicLinkButtonPressed() {
  sources_.syncApi.RequestShowPublicLinkDialog(selection_.path(0), fileIdOfFirst());
}

void KelvoMenuContext::copyLinkButtonPressed(Pasteboard& pasteboard) {
  pasteboard.clearContents();
  const std::string& path = selection_.path(0);
  const std::optional<std::string> linkPath =
      PublicLink::generateLinkURLForUserID(userId_, fileIdOfFirst());
  if (!linkPath) return;
  const std::string cellId = sources_.configuration.CellId();
  std::string url = WebAccess::baseUrl();
  if (!cellId.empty()) url += "/" + cellId;
  if (!pasteboard.writeObjects(url + *linkPath)) return;
  const std::string text =
      FormatText(LocalizedString("ContextMenu.LinkInPaste",
                                 "A link to '%@' has been copied to your clipboard"),
                 {LastPathComponent(path)});
  NotifyAgentEvent(kAgentInstance, "show_message",
                   {{"title", "Kelvo Agent"}, {"text", text.c_str()}, {"timeout", kNoticeTimeout}});
}

// "Lock & Open" asks for the same: opening the file is up to whoever hears the result.
void KelvoMenuContext::lockButtonPressed(const std::string& activationToken) {
  sources_.dialogs.setActivationToken(activationToken);
  SendPaced(sources_.runLoop, selection_.paths(),
            [&api = sources_.syncApi](const std::string& path) { api.RequestLock(path, 0); });
}

void KelvoMenuContext::unlockButtonPressed(const std::string& activationToken) {
  sources_.dialogs.setActivationToken(activationToken);
  const std::string& first = selection_.path(0);
  const std::string owner = sources_.cache.GetLockOwner(first);
  if (owner.empty()) {
    return SendPaced(
        sources_.runLoop, selection_.paths(),
        [&api = sources_.syncApi](const std::string& path) { api.RequestUnlock(path); });
  }
  // Overriding is about the first item alone, however many are selected.
  const std::string date = LongDate(sources_.cache.GetLockTime(first));
  if (sources_.notificationModule.ShowUnlockOverride(first, owner, date)) {
    sources_.syncApi.RequestUnlock(first);
  }
}

void KelvoMenuContext::fixViolationsPressed() {
  sources_.syncApi.RequestShowViolationsPermissionsDialog();
}

void KelvoMenuContext::startWebCommand(const std::string& command,
                                       const std::string& activationToken) {
  const std::string fileId = fileIdOfFirst();
  if (fileId.empty() || rcid_.empty()) {
    KELVO_LOG(kLogDebug, "Unable to run webcommand for fileId: " << fileId << " rcid: " << rcid_);
    return;
  }
  webAccess_.generateUrlForCommand(command, fileId, rcid_, activationToken);
  if (!synchronous_) setPendingWebCommand(sources_.clock.Now() + kPendingWebCommand);
}

void KelvoMenuContext::webAccessUrlGenerated(const std::optional<std::string>& url,
                                             const std::string& activationToken) {
  if (url) HTTPConnection::openUrl(sources_.desktop, *url, activationToken);
  setPendingWebCommand(0);
}

}  // namespace kelvo
