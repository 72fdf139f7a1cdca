// The cache behind the Agent's messages, compared at every step with a plain reference.
//
// KELVO_MODEL_STEPS: how many steps (millions for a long run; a second does about 8,000
// unoptimised). KELVO_MODEL_SEED: the first round's seed, which a report of a difference names;
// else half of the steps are the same ones each time, and half are new.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <random>
#include <sstream>

#include "cache/sync_cache.h"
#include "core/finder_configuration.h"
#include "tests/cache/cache_reference.h"
#include "tests/support/started_extension.h"

namespace kelvo::test {
namespace {

constexpr std::size_t kStepsPerRound = 500;
constexpr std::uint64_t kFixedSeed = 8;

class RealCache : public StartedExtension {
 public:
  RealCache() : StartedExtension(false) {
    WriteUserInfo("<key>full_name</key><string>" + std::string(kMe) + "</string>");
    Configure();
    cache().SetRenewalObserver(nullptr);  // what the extension then asks by itself is no answer
    TakeOutcome();
  }
  void TestBody() override {}

  Outcome Do(const Step& step) {
    answers_.clear();
    const std::string watched = !step.records.empty() && step.kind == StepKind::kList
                                    ? step.path + "/" + step.records.front().name
                                    : step.path;
    const BadgeStatus before = cache().PeekStatus(watched);
    const std::uint64_t changes = cache().StatusChanges();
    Perform(step);
    fake_.runLoop.RunPosted();
    if (cache().PeekStatus(watched) != before && cache().StatusChanges() == changes) {
      answers_.push_back("a status has changed, but StatusChanges has not");
    }
    return TakeOutcome();
  }

 private:
  void Perform(const Step& step);
  std::string Ask(const Step& step);
  void AskStatuses(const Step& step);
  void GiveList(const Step& step);
  void GiveItem(const Step& step);
  void GiveLinks(const Step& step);
  void GiveError(const Step& step);
  void LookAtAll();
  Outcome TakeOutcome();

  Lines answers_;
};

void RealCache::Perform(const Step& step) {
  switch (step.kind) {
    case StepKind::kAsk:
      answers_ = {Ask(step)};
      break;
    case StepKind::kPaint:
      extension_->requestBadgeIdentifierForURL(step.path);
      break;
    case StepKind::kGetStatuses:
    case StepKind::kPeekStatuses:
      return AskStatuses(step);
    case StepKind::kList:
      return GiveList(step);
    case StepKind::kItem:
      return GiveItem(step);
    case StepKind::kLinks:
      return GiveLinks(step);
    case StepKind::kReset:
      return fake_.transport.DeliverEvent("sync_response", {{"command", "reset-status"}});
    case StepKind::kError:
      return GiveError(step);
    case StepKind::kReload:
      return cache().RequestReload(step.path);
    case StepKind::kRefreshAll:
      return cache().RefreshAll();
    case StepKind::kObserve:
      return cache().AddObservedPath(step.path);
    case StepKind::kUnobserve:
      return cache().RemoveObservedPath(step.path);
    case StepKind::kPass:
      return fake_.runLoop.Advance(std::chrono::milliseconds(step.number));
    case StepKind::kSetClock:
      return fake_.clock.SetWallClock(fake_.clock.Now() + step.number);
    case StepKind::kSweep:
      return cache().OnTimer(nullptr);
    case StepKind::kLookAtAll:
      return LookAtAll();
  }
}

std::string RealCache::Ask(const Step& step) {
  CSyncCacheItem answer;
  switch (step.number) {
    case 0:
      answer.fileId = cache().GetFileId(step.path);
      break;
    case 1:
      answer.status = cache().GetStatus(step.path);
      break;
    case 2:
      answer.lock = cache().GetLockStatus(step.path);
      break;
    case 3:
      answer.lockTime = cache().GetLockTime(step.path);
      break;
    case 4:
      answer.lockOwner = cache().GetLockOwner(step.path);
      break;
    case 5:
      answer.modifiedBy = cache().GetModifiedBy(step.path);
      break;
    case 6:
      answer.permissions = cache().GetPermissions(step.path);
      break;
    case 7:
      answer.denied = cache().GetDenied(step.path);
      break;
    default:
      answer = cache().GetItem(step.path);
  }
  return AnswerText(step.number, answer);
}

void RealCache::AskStatuses(const Step& step) {
  std::vector<std::string_view> names;
  for (const ListRecord& record : step.records) names.push_back(record.name);
  std::vector<BadgeStatus> statuses(names.size(), kUntouched);
  if (step.kind == StepKind::kPeekStatuses) {
    cache().PeekStatuses(step.path, names, statuses);
    answers_ = StatusLines(statuses);
    return;
  }
  const bool isKnown = cache().GetStatuses(step.path, names, statuses);
  answers_ = StatusLines(statuses);
  answers_.push_back(isKnown ? "known" : "unknown");
}

void RealCache::GiveList(const Step& step) {
  if (!GoesDirect(step)) return SendListText(step.path, TextOf(step));
  try {
    CSyncStatusListResponse response(CFinderConfiguration::m_Instance, step.path,
                                     std::make_shared<const std::string>(TextOf(step)));
    cache().OnSyncStatusListResponse(response);
  } catch (const CTextDecodingException&) {
  }
}

void RealCache::GiveItem(const Step& step) {
  const ListRecord r = ItemOf(step);
  if (!GoesDirect(step)) {
    const auto text = [](auto value) { return PropertyList(std::to_string(value)); };
    return SendItem(step.path, {{"file_id", PropertyList(r.fileId)},
                                {"item_id", text(r.itemId)},
                                {"status", text(r.status)},
                                {"lock", text(r.lock)},
                                {"lock_holder", PropertyList(r.lockHolder)},
                                {"modified_by", PropertyList(r.modifiedBy)},
                                {"locktime", text(r.lockTime)},
                                {"permissions", text(r.permissions)},
                                {"denied", text(r.denied)},
                                {"folder", text(r.type == 2 ? 1 : 0)}});
  }
  const std::int32_t mask = cache().UpdateItem(
      step.path, r.fileId, r.itemId, sync::ESyncItemStatus{r.status}, sync::ESyncItemLock{r.lock},
      r.lockHolder, r.lockTime, r.modifiedBy, sync::EItemPermissions{r.permissions},
      sync::EPermissionsDenied{r.denied}, r.type == 2);
  if (mask != 0) extension_->requestBadgeIdentifierForURL(step.path);
  answers_ = {std::to_string(mask)};
}

void RealCache::GiveLinks(const Step& step) {
  const std::string text = TextOf(step);
  if (GoesDirect(step)) return cache().OnSyncSyncList("publicLinks", text);
  fake_.transport.DeliverEvent(
      "sync_response",
      {{"command", "sync-lists"}, {"list-id", "publicLinks"}, {"list", PropertyList(text)}});
}

void RealCache::GiveError(const Step& step) {
  PropertyList::Dictionary info = {{"error", "9"}, {"path", PropertyList(step.path)}, {"mpf", "1"}};
  if (step.number == 0) info.insert_or_assign("error", "0");
  if (step.number == 1) info.insert_or_assign("error", "none");
  if (step.number == 2) info.erase("mpf");
  if (step.number == 3) info.erase("path");
  if (!GoesDirect(step)) return fake_.transport.DeliverEvent("sync_error", info);
  StringMap params;
  for (const auto& [key, value] : info) params[key] = value.ToText().value_or("");
  cache().OnSyncErrorReceived(sync::ESyncError{step.number < 2 ? 0 : 9}, params);
}

void RealCache::LookAtAll() {
  for (const std::string& path : StepPaths()) {
    const std::optional<CSyncCacheItem> item = cache().PeekItem(path);
    answers_.push_back(path + ": " + (item ? ItemText(*item) : "") +
                       (cache().IsPublicLink(path) ? " linked" : ""));
    if (cache().PeekStatus(path) != item.value_or(CSyncCacheItem{}).status) {
      answers_.push_back("PeekStatus answers otherwise");
    }
  }
  for (const std::string& directory : StepDirectories()) {
    answers_.push_back(directory + ":" + (cache().IsListed(directory) ? " listed" : "") +
                       (cache().IsAwaited(directory) ? " awaited" : "") +
                       (cache().IsObserved(directory) ? " observed" : ""));
  }
}

Outcome RealCache::TakeOutcome() {
  Outcome outcome{.answers = answers_, .requests = {}, .repaints = {}, .sweeps = {}};
  for (const auto& message : fake_.transport.sent) {
    std::string line;
    for (const char* key : {"command", "path", "list-name"}) {
      const PropertyList* value = FindValue(message.info, key);
      if (value != nullptr) line += (line.empty() ? "" : " ") + value->ToText().value_or("?");
    }
    if (message.info.size() != 3) line += " and " + std::to_string(message.info.size());
    outcome.requests.push_back(line);
  }
  fake_.transport.sent.clear();
  for (const auto& badge : fake_.finder.badges) {
    outcome.repaints.push_back(badge.path + " " + badge.identifier);
  }
  fake_.finder.badges.clear();
  for (const auto& folders : swept_) {
    std::string line;
    for (const std::string& folder : folders) line += folder + ",";
    outcome.sweeps.push_back(line);
  }
  swept_.clear();
  changedItems_.clear();
  return outcome;
}

struct Difference {
  std::size_t step;
  Outcome real;
  Outcome expected;
};

std::optional<Difference> Compare(const std::vector<Step>& steps) {
  RealCache real;
  CacheReference reference;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    Outcome expected = reference.Do(steps[i]);
    Outcome outcome = real.Do(steps[i]);
    if (outcome != expected) return Difference{i, std::move(outcome), std::move(expected)};
  }
  return std::nullopt;
}

// The lines at which the two part.
void Tell(std::ostream& out, const char* what, const Lines& real, const Lines& expected) {
  const auto line = [](const Lines& lines, std::size_t i) {
    return i < lines.size() ? Quoted(lines[i]) : "nothing";
  };
  for (std::size_t i = 0; i < std::max(real.size(), expected.size()); ++i) {
    if (line(real, i) == line(expected, i)) continue;
    out << what << " " << i << ": " << line(real, i) << ", not " << line(expected, i) << "\n";
  }
}

std::string Report(std::vector<Step> steps, const Difference& first) {
  steps.resize(first.step + 1);
  steps = Shrink(std::move(steps), [](const auto& fewer) { return Compare(fewer).has_value(); });
  std::ostringstream out;
  for (const Step& step : steps) out << Describe(step) << "\n";
  const std::optional<Difference> last = Compare(steps);
  if (!last) return out.str() + "(but not always)\n";
  Tell(out, "answer", last->real.answers, last->expected.answers);
  Tell(out, "request", last->real.requests, last->expected.requests);
  Tell(out, "repaint", last->real.repaints, last->expected.repaints);
  Tell(out, "sweep", last->real.sweeps, last->expected.sweeps);
  return out.str();
}

std::uint64_t Setting(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

TEST(SyncCacheModelTest, DoesAsThePlainReferenceAtEveryStep) {
  std::vector<std::uint64_t> seeds = {Setting("KELVO_MODEL_SEED", kFixedSeed)};
  if (std::getenv("KELVO_MODEL_SEED") == nullptr) seeds.push_back(std::random_device{}());
  const std::uint64_t rounds = Setting("KELVO_MODEL_STEPS", 10'000) / kStepsPerRound / seeds.size();
  for (const std::uint64_t seed : seeds) {
    std::cout << "KELVO_MODEL_SEED=" << seed << "\n";
    for (std::uint64_t round = 0; round <= rounds; ++round) {
      const std::vector<Step> steps = DrawSteps(seed + round, kStepsPerRound);
      if (const std::optional<Difference> difference = Compare(steps)) {
        FAIL() << "KELVO_MODEL_SEED=" << seed + round << "\n" << Report(steps, *difference);
      }
    }
  }
}

TEST(SyncCacheModelTest, AReportHoldsOnlyTheStepsThatMatter) {
  // As if the second reset went wrong when a path is observed.
  const auto fails = [](const std::vector<Step>& steps) {
    bool isObserved = false;
    int resets = 0;
    for (const Step& step : steps) {
      isObserved = isObserved || step.kind == StepKind::kObserve;
      if (step.kind == StepKind::kReset && isObserved) ++resets;
    }
    return resets >= 2;
  };
  const std::vector<Step> steps = Shrink(DrawSteps(1, 2'000), fails);
  ASSERT_EQ(steps.size(), 3u);
  EXPECT_TRUE(fails(steps));
  EXPECT_TRUE(steps[0].records.empty());
}

}  // namespace
}  // namespace kelvo::test
