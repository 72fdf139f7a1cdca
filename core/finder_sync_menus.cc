// The menu for a selection, and what its lines lead to.
#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "agent/sync_api.h"
#include "base/file_system.h"
#include "base/logger.h"
#include "cache/sync_cache.h"
#include "core/agent_news.h"
#include "core/finder_configuration.h"
#include "core/finder_sync.h"
#include "platform/run_loop.h"
#include "platform/threads.h"
#include "ui/menu_context.h"

namespace kelvo {
namespace {

using SteadyClock = std::chrono::steady_clock;

// How long the Agent's answer is waited for: as long as 5000 polls of 20 microseconds.
constexpr std::chrono::milliseconds kPatience{100};
// How soon a menu that nobody wants any more stops waiting.
constexpr std::chrono::milliseconds kLookAtCancelled{5};
// For asking about a selection that is spread over thousands of unknown folders.
constexpr std::chrono::milliseconds kTimeToAsk{500};
constexpr std::size_t kItemsBetweenLooksAtTheClock = 64;

}  // namespace

MenuContextPtr FinderSync::makeMenuContext() const {
  auto context = std::make_shared<KelvoMenuContext>(
      MenuSources{*syncCache_, *syncApi_, *notificationModule_, *configuration_, platform_.clock,
                  platform_.runLoop, platform_.httpClient, platform_.desktop, platform_.dialogs});
  context->setInsertSeparator(false);
  context->setSynchronous(true);
  return context;
}

std::optional<FinderMenu> FinderSync::menuForMenuKind(int /*kind*/,
                                                      const std::vector<std::string>& items,
                                                      const std::atomic<bool>& cancelled) {
  if (!started_) return std::nullopt;
  FinderMenu result{{}, makeMenuContext()};
  KelvoMenuContext& context = *result.context;
  context.setMenu(&result.menu);
  context.setSelectedItems(items);
  if (result.menu.numberOfItems() == 0 && !context.pathsAreInProject()) {
    waitForItems(context, items, cancelled);
  }
  const bool isInjected = context.isInjected();
  context.setMenu(nullptr);
  if (!isInjected || cancelled) return std::nullopt;
  return result;
}

// Instead of polling it is woken by what the Agent says, as late at most as the last poll.
void FinderSync::waitForItems(KelvoMenuContext& context, const std::vector<std::string>& items,
                              const std::atomic<bool>& cancelled) {
  const SteadyClock::time_point asked = SteadyClock::now();
  std::uint64_t news = news_->Count();
  for (std::size_t i = 0; i < items.size() && !cancelled; ++i) {
    syncCache_->GetStatus(FilesystemRepresentation(items[i]));
    if (i % kItemsBetweenLooksAtTheClock == 0 && SteadyClock::now() - asked > kTimeToAsk) break;
  }
  // On the main loop nobody hears the Agent meanwhile; the next menu will have the items.
  const bool isDeaf = platform_.runLoop.IsCurrent();
  const SteadyClock::time_point limit =
      SteadyClock::now() + (isDeaf ? SteadyClock::duration(0) : kPatience);
  while (!cancelled) {
    if (context.pathsAreInProject()) {
      context.insertMenus();
      break;
    }
    const SteadyClock::time_point now = SteadyClock::now();
    if (now >= limit) break;
    news_->Wait(news, std::min(limit, now + kLookAtCancelled));
    news = news_->Count();
  }
  // Deliberate: said also when the items became known in time.
  KELVO_LOG(kLogInformation, "Timed out requesting menu items");
}

void FinderSync::openKelvoHereButtonPressed(const MenuContextPtr& context,
                                            const std::string& activationToken) {
  platform_.threads.detachNewThread(
      [context, activationToken] { context->openKelvoHereButtonPressed(activationToken); });
}

void FinderSync::addCommentButtonPressed(const MenuContextPtr& context,
                                         const std::string& activationToken) {
  platform_.threads.detachNewThread(
      [context, activationToken] { context->addCommentButtonPressed(activationToken); });
}

void FinderSync::lockButtonPressed(const MenuContextPtr& context,
                                   const std::string& activationToken) {
  context->lockButtonPressed(activationToken);
}

void FinderSync::unlockButtonPressed(const MenuContextPtr& context,
                                     const std::string& activationToken) {
  platform_.runLoop.Post([alive = alive_, context, activationToken] {
    if (*alive != nullptr) (*alive)->unlockButtonPerform(context, activationToken);
  });
}

void FinderSync::unlockButtonPerform(const MenuContextPtr& context,
                                     const std::string& activationToken) {
  context->unlockButtonPressed(activationToken);
}

void FinderSync::fixViolationsPressed(const MenuContextPtr& context) {
  context->fixViolationsPressed();
}

void FinderSync::copyLinkButtonPressed(const MenuContextPtr& context, Pasteboard& pasteboard) {
  context->copyLinkButtonPressed(pasteboard);
}

void FinderSync::createPublicLinkButtonPressed(const MenuContextPtr& context) {
  context->createPublicLinkButtonPressed();
}

void FinderSync::performAction(Selector action, const MenuContextPtr& context,
                               Pasteboard& pasteboard, const std::string& activationToken) {
  if (action == menu_action::kOpenKelvoHere) {
    openKelvoHereButtonPressed(context, activationToken);
  } else if (action == menu_action::kAddComment) {
    addCommentButtonPressed(context, activationToken);
  } else if (action == menu_action::kLock) {
    lockButtonPressed(context, activationToken);
  } else if (action == menu_action::kUnlock) {
    unlockButtonPressed(context, activationToken);
  } else if (action == menu_action::kFixViolations) {
    fixViolationsPressed(context);
  } else if (action == menu_action::kCopyLink) {
    copyLinkButtonPressed(context, pasteboard);
  } else if (action == menu_action::kCreatePublicLink) {
    createPublicLinkButtonPressed(context);
  }
}

}  // namespace kelvo
