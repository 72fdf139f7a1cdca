// What the doctor finds out about one thing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo::finder {

enum class CheckState : std::uint8_t { kSkipped, kOk, kWarning, kProblem };  // the worst is last

// One check. A value: the same inputs give the same check.
//
// Invariants: all texts are printable UTF-8 on one line (tools::PrintableText of what is foreign).
struct Check {
  std::string id;  // never changes, for programs
  std::string title;
  CheckState state = CheckState::kSkipped;
  std::vector<std::string> found = {};
  std::vector<std::string> advice = {};  // what a person can do, the likeliest first

  // Each adds what was found, and makes the state worse if need be.
  void Note(std::string text);  // for the record; the state stays
  void Pass(std::string text);
  void Warn(std::string text, std::string whatToDo = {});
  void Fail(std::string text, std::string whatToDo = {});
  // Advice that is there already is not repeated.
  void Advise(std::string whatToDo);

  bool operator==(const Check&) const = default;

 private:
  void Add(CheckState atLeast, std::string text, std::string whatToDo);
};

// "ok", "warning", "problem", "skipped".
std::string_view StateName(CheckState state);
// No check has found a problem; warnings do not count.
bool AllWell(const std::vector<Check>& checks);

// A path as it is shown.
std::string Shown(std::string_view path);
// "2026-11-23 08:15:02 (3 minutes ago)", in the user's time zone. Seconds since 1970.
std::string ShownTime(std::int64_t time, std::int64_t now);

}  // namespace kelvo::finder
