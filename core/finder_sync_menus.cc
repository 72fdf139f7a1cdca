// The menu for a selection, and what its lines lead to.
#include <algorithm>
#include <array>
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

std::shared_ptr<KelvoMenuContext> FinderSync::makeMenuContext() const {
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
  const SteadyClock::time_point limit = SteadyClock::now() + kPatience;
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

void FinderSync::openKelvoHereButtonPressed(const std::shared_ptr<KelvoMenuContext>& context) {
  platform_.threads.detachNewThread([context] { context->openKelvoHereButtonPressed(); });
}

void FinderSync::addCommentButtonPressed(const std::shared_ptr<KelvoMenuContext>& context) {
  platform_.threads.detachNewThread([context] { context->addCommentButtonPressed(); });
}

void FinderSync::lockButtonPressed(const std::shared_ptr<KelvoMenuContext>& context) {
  context->lockButtonPressed();
}

void FinderSync::unlockButtonPressed(const std::shared_ptr<KelvoMenuContext>& context) {
  platform_.runLoop.Post([alive = alive_, context] {
    if (*alive != nullptr) (*alive)->unlockButtonPerform(context);
  });
}

void FinderSync::unlockButtonPerform(const std::shared_ptr<KelvoMenuContext>& context) {
  context->unlockButtonPressed();
}

void FinderSync::fixViolationsPressed(const std::shared_ptr<KelvoMenuContext>& context) {
  context->fixViolationsPressed();
}

void FinderSync::copyLinkButtonPressed(const std::shared_ptr<KelvoMenuContext>& context,
                                       Pasteboard& pasteboard) {
  context->copyLinkButtonPressed(pasteboard);
}

void FinderSync::createPublicLinkButtonPressed(const std::shared_ptr<KelvoMenuContext>& context) {
  context->createPublicLinkButtonPressed();
}

void FinderSync::performAction(Selector action, const std::shared_ptr<KelvoMenuContext>& context,
                               Pasteboard& pasteboard) {
  using Operation = void (FinderSync::*)(const std::shared_ptr<KelvoMenuContext>&);
  static constexpr std::array<std::pair<Selector, Operation>, 6> kOperations = {{
      {menu_action::kOpenKelvoHere, &FinderSync::openKelvoHereButtonPressed},
      {menu_action::kAddComment, &FinderSync::addCommentButtonPressed},
      {menu_action::kLock, &FinderSync::lockButtonPressed},
      {menu_action::kUnlock, &FinderSync::unlockButtonPressed},
      {menu_action::kFixViolations, &FinderSync::fixViolationsPressed},
      {menu_action::kCreatePublicLink, &FinderSync::createPublicLinkButtonPressed},
  }};
  if (action == menu_action::kCopyLink) return copyLinkButtonPressed(context, pasteboard);
  for (const auto& [selector, operation] : kOperations) {
    if (selector == action) (this->*operation)(context);
  }
}

}  // namespace kelvo
