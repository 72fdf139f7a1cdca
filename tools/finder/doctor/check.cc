#include "tools/finder/doctor/check.h"

#include <glib.h>

#include <algorithm>
#include <utility>

#include "platform/linux/glib_ptr.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

std::string Ago(std::int64_t seconds) {
  constexpr std::pair<std::int64_t, const char*> kUnits[] = {
      {86400, "day"}, {3600, "hour"}, {60, "minute"}, {1, "second"}};
  if (seconds < 0) return "in the future: was the clock set back?";
  for (const auto& [length, name] : kUnits) {
    const std::int64_t count = seconds / length;
    if (count > 0) return std::to_string(count) + " " + name + (count == 1 ? " ago" : "s ago");
  }
  return "just now";
}

}  // namespace

void Check::Add(CheckState atLeast, std::string text, std::string whatToDo) {
  state = std::max(state, atLeast);
  found.push_back(std::move(text));
  if (!whatToDo.empty()) Advise(std::move(whatToDo));
}

void Check::Note(std::string text) { Add(CheckState::kSkipped, std::move(text), {}); }

void Check::Pass(std::string text) { Add(CheckState::kOk, std::move(text), {}); }

void Check::Warn(std::string text, std::string whatToDo) {
  Add(CheckState::kWarning, std::move(text), std::move(whatToDo));
}

void Check::Fail(std::string text, std::string whatToDo) {
  Add(CheckState::kProblem, std::move(text), std::move(whatToDo));
}

void Check::Advise(std::string whatToDo) {
  if (std::find(advice.begin(), advice.end(), whatToDo) != advice.end()) return;
  advice.push_back(std::move(whatToDo));
}

std::string_view StateName(CheckState state) {
  switch (state) {
    case CheckState::kOk:
      return "ok";
    case CheckState::kWarning:
      return "warning";
    case CheckState::kProblem:
      return "problem";
    default:
      return "skipped";
  }
}

bool AllWell(const std::vector<Check>& checks) {
  return std::none_of(checks.begin(), checks.end(),
                      [](const Check& check) { return check.state == CheckState::kProblem; });
}

std::string Shown(std::string_view path) { return tools::PrintableText(path); }

std::string ShownTime(std::int64_t time, std::int64_t now) {
  using TimePtr = std::unique_ptr<GDateTime, decltype(&g_date_time_unref)>;
  const TimePtr local(g_date_time_new_from_unix_local(time), &g_date_time_unref);
  if (local == nullptr) return "at a time that no calendar has";
  const GLibPtr<char> text(g_date_time_format(local.get(), "%Y-%m-%d %H:%M:%S"));
  return std::string(text.get()) + " (" + Ago(now - time) + ")";
}

}  // namespace kelvo::finder
