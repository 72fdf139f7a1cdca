#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/posix/system_clock.h"
#include "tools/finder/command.h"
#include "tools/finder/doctor/agent_checks.h"
#include "tools/finder/doctor/bus_checks.h"
#include "tools/finder/doctor/check.h"
#include "tools/finder/doctor/configuration_checks.h"
#include "tools/finder/doctor/icon_checks.h"
#include "tools/finder/doctor/limits.h"
#include "tools/finder/doctor/log_checks.h"
#include "tools/finder/doctor/module_trial.h"
#include "tools/finder/doctor/plugin_checks.h"
#include "tools/finder/doctor/report.h"
#include "tools/finder/doctor/secret_checks.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// Adds what `work` finds or, when it hangs on a disk or cannot even begin, what `empty` has with a
// word about that.
template <typename Work>
void AddInTime(bool threads, std::vector<Check>* checks, std::vector<Check> empty, Work work) {
  constexpr std::chrono::seconds kLongest{40};  // each of six plug-ins may take five
  std::future<std::vector<Check>> begun;
  if (threads) begun = Begin(std::move(work));
  const bool isBegun = begun.valid();
  auto found = ResultBy(begun, std::chrono::steady_clock::now() + kLongest);
  for (Check& check : empty) {
    if (!isBegun) {
      check.Note("Not examined: the system gives this program no threads.");
      continue;
    }
    check.Fail("Not examined: that took more than 40 seconds.",
               "See to the disks and network folders that hold programs and your home folder.");
  }
  for (Check& check : found ? *found : empty) checks->push_back(std::move(check));
}

std::vector<Check> Examine(std::int64_t now) {
  const std::string runtime = Environment("XDG_RUNTIME_DIR");
  std::vector<Check> checks;
  std::unique_ptr<ExtensionClient> client;
  ExtensionFacts facts;
  const bool threads = CanHaveThreads();
  checks.push_back(CheckSessionBus(threads, &client));
  checks.push_back(CheckExtension(client.get(), &facts));
  checks.push_back(CheckRuntimeFolder(runtime, ::geteuid()));
  checks.push_back(CheckAgentSocket(runtime, ::geteuid(), facts));
  checks.push_back(CheckAgentConnection(facts, now));
  AddInTime(threads, &checks, {ConfigurationCheck()}, [facts] {
    Check check = ConfigurationCheck();
    const std::string file = ConfigurationFile(facts, &check);
    return std::vector{CheckConfiguration(file, facts, check)};
  });
  checks.push_back(CheckWatchedFolders(facts));

  const std::vector<FileManager> managers = FileManagers();
  const PluginSurroundings surroundings = OwnSurroundings(runtime);
  AddInTime(threads, &checks, PluginChecks(managers),
            [managers, surroundings] { return CheckPlugins(managers, surroundings); });
  AddInTime(threads, &checks, {OtherExtensionsCheck()}, [managers, surroundings] {
    return std::vector{CheckOtherExtensions(managers, surroundings)};
  });
  AddInTime(threads, &checks, {IconsCheck()}, [facts] {
    return std::vector{
        CheckIcons(facts, IconSearch(IconBases(), CurrentIconTheme()), HasSvgLoader())};
  });
  checks.push_back(CheckSecretService(client.get()));
  AddInTime(threads, &checks, {LogCheck()},
            [facts, now] { return std::vector{CheckLog(JournalErrors(), LogFile(facts), now)}; });
  return checks;
}

}  // namespace

int RunDoctor(const Command& command, const Arguments& arguments) {
  // How it calls itself, and nobody else does.
  if (arguments.size() == 2 && arguments[0] == "--load") LoadModuleAndExit(arguments[1]);
  const bool json = arguments.size() == 1 && arguments[0] == "--json";
  if (!arguments.empty() && !json) return Complain(command);
  const std::vector<Check> checks = Examine(SystemClock().Now());
  if (json) {
    tools::PrintLine(JsonReport(checks));
  } else {
    tools::PrintLine(
        TextReport(checks, ::isatty(STDOUT_FILENO) == 1 && Environment("NO_COLOR").empty()));
  }
  return AllWell(checks) ? kSuccess : kFailure;
}

}  // namespace kelvo::finder
