#include "tools/finder/doctor/module_trial.h"

#include <dlfcn.h>
#include <string.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include "tools/finder/doctor/check.h"
#include "tools/finder/doctor/limits.h"

namespace kelvo::finder {
namespace {

constexpr std::string_view kOwnLibraries = "libkelvo-";  // what our plug-ins share
constexpr std::string_view kOwnSymbols = "kelvo_";
// None that a library which ends the process is likely to choose.
constexpr int kLoads = 90;
constexpr int kDoesNotLoad = 91;

// What stands between the two, or from the first one to the end when the second is empty.
std::optional<std::string> Between(const std::string& text, std::string_view before,
                                   std::string_view after) {
  std::size_t start = text.find(before);
  if (start == std::string::npos) return std::nullopt;
  start += before.size();
  const std::size_t end = after.empty() ? std::string::npos : text.find(after, start);
  if (!after.empty() && end == std::string::npos) return std::nullopt;
  return text.substr(start, end == std::string::npos ? end : end - start);
}

}  // namespace

ModuleTrial TryModule(const std::string& program, const std::string& file,
                      std::chrono::milliseconds limit) {
  if (program.empty()) return {};
  const auto end = RunProgram({program, "doctor", "--load", file}, limit);
  if (!end) return {};
  if (end->exitCode == kLoads) return {true, {}};
  if (end->exitCode == kDoesNotLoad) {
    return {true, end->output.empty() ? "the loader gave no reason" : end->output};
  }
  return {true, "the process that tried it ended with a fault"};
}

std::string OwnProgram() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

void LoadModuleAndExit(const std::string& file) {
  // A library that ends the process leaves no picture of its memory behind.
  const rlimit none = {0, 0};
  ::setrlimit(RLIMIT_CORE, &none);
  if (::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL) != nullptr) ::_exit(kLoads);
  const char* const fault = ::dlerror();
  if (fault != nullptr) {
    [[maybe_unused]] const ssize_t size = ::write(STDOUT_FILENO, fault, ::strlen(fault));
  }
  ::_exit(kDoesNotLoad);
}

std::string ExplainFault(const std::string& fault, const std::string& fileManager) {
  if (const auto symbol = Between(fault, "undefined symbol: ", "")) {
    if (symbol->starts_with(kOwnSymbols)) {
      return "A library that comes with it is of another version than the plug-in.";
    }
    return "It needs the function " + Shown(symbol->substr(0, symbol->find(','))) +
           ", which this " + fileManager +
           " does not have: it is too old or too new for the plug-in.";
  }
  if (const auto version = Between(fault, "version `", "' not found")) {
    return "It needs " + Shown(*version) +
           ", which this system does not have: the plug-in was "
           "built for a newer one.";
  }
  constexpr std::string_view kMissing = ": cannot open shared object file: No such file";
  if (const std::size_t end = fault.find(kMissing); end != std::string::npos) {
    if (fault.starts_with(kOwnLibraries)) {
      return "It needs the library " + Shown(fault.substr(0, end)) +
             ", which comes with it and is missing.";
    }
    return "It needs the library " + Shown(fault.substr(0, end)) +
           ", which is not installed: this " + fileManager +
           " is too old or too new for the plug-in, or incomplete.";
  }
  return "It cannot be loaded: " + Shown(fault) + ".";
}

}  // namespace kelvo::finder
