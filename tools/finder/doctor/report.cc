#include "tools/finder/doctor/report.h"

#include <algorithm>
#include <string_view>

#include "base/string_utils.h"
#include "deployment.h"

namespace kelvo::finder {
namespace {

constexpr std::string_view kIndent = "            ";

std::string_view ColourOf(CheckState state) {
  switch (state) {
    case CheckState::kOk:
      return "\x1b[32m";
    case CheckState::kWarning:
      return "\x1b[33m";
    case CheckState::kProblem:
      return "\x1b[1;31m";
    default:
      return "\x1b[2m";
  }
}

// Problems are to be seen without colours, too.
std::string MarkOf(CheckState state, bool colours) {
  std::string mark(state == CheckState::kProblem ? "PROBLEM" : StateName(state));
  mark.resize(kIndent.size() - 2, ' ');
  if (colours) mark = std::string(ColourOf(state)) + mark + "\x1b[0m";
  return "  " + mark;
}

std::string Counted(const std::vector<Check>& checks, CheckState state, const std::string& noun) {
  const auto count = std::count_if(checks.begin(), checks.end(),
                                   [state](const Check& check) { return check.state == state; });
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string JsonText(std::string_view text) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string json = "\"";
  for (const char character : ToValidUtf8(text)) {
    const auto value = static_cast<unsigned char>(character);
    if (value < 0x20) {
      json += "\\u00";
      json += kDigits[value >> 4];
      json += kDigits[value & 15];
      continue;
    }
    if (character == '"' || character == '\\') json += '\\';
    json += character;
  }
  return json + '"';
}

template <typename T, typename ToJson>
std::string JsonArray(const std::vector<T>& values, ToJson toJson) {
  std::string json = "[";
  for (const T& value : values) {
    if (json.size() > 1) json += ", ";
    json += toJson(value);
  }
  return json + ']';
}

std::string JsonCheck(const Check& check) {
  return "{\"id\": " + JsonText(check.id) + ", \"title\": " + JsonText(check.title) +
         ", \"state\": " + JsonText(StateName(check.state)) +
         ", \"found\": " + JsonArray(check.found, JsonText) +
         ", \"advice\": " + JsonArray(check.advice, JsonText) + "}";
}

}  // namespace

std::string TextReport(const std::vector<Check>& checks, bool colours) {
  std::string report = "Kelvo Finder Sync " + std::string(deployment::kVersion) + "\n\n";
  for (const Check& check : checks) {
    report += MarkOf(check.state, colours) + check.title + '\n';
    for (const std::string& line : check.found) report.append(kIndent).append(line) += '\n';
    for (const std::string& line : check.advice) {
      report.append(kIndent).append("-> ").append(line) += '\n';
    }
  }
  report += '\n';
  if (!AllWell(checks))
    return report + Counted(checks, CheckState::kProblem, "problem") + ", " +
           Counted(checks, CheckState::kWarning, "warning") +
           ". Begin with the topmost problem: others may come of it.";
  const std::string warnings = Counted(checks, CheckState::kWarning, "warning");
  return report + "All is well" + (warnings.front() == '0' ? "." : ", with " + warnings + ".");
}

std::string JsonReport(const std::vector<Check>& checks) {
  return "{\"version\": " + JsonText(deployment::kVersion) +
         ", \"ok\": " + (AllWell(checks) ? "true" : "false") +
         ", \"checks\": " + JsonArray(checks, JsonCheck) + "}";
}

}  // namespace kelvo::finder
