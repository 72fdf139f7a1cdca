// The sub-commands of kelvo-finder. Each runs to its end and answers the program's exit code; what
// went wrong was told on standard error.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo::finder {

class ExtensionClient;

inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;
inline constexpr int kUsageError = 2;

using Arguments = std::vector<std::string>;  // without the sub-command's own name

struct Command {
  std::string_view name;
  std::string_view usage;
  std::string_view meaning;
  int (*run)(const Command& command, const Arguments& arguments);
};

int RunBadges(const Command& command, const Arguments& arguments);
int RunWatch(const Command& command, const Arguments& arguments);
int RunMenu(const Command& command, const Arguments& arguments);
int RunChoose(const Command& command, const Arguments& arguments);
int RunStatus(const Command& command, const Arguments& arguments);
int RunProjects(const Command& command, const Arguments& arguments);
int RunSettings(const Command& command, const Arguments& arguments);
int RunDoctor(const Command& command, const Arguments& arguments);

// Finds the sub-command and runs it; also answers --help and --version.
int RunCommandLine(const Arguments& arguments);

// For a sub-command whose arguments are not understood. kUsageError.
int Complain(const Command& command);
// Tells the reason. kFailure.
int Fail(const std::string& reason);

// The names in a folder, sorted by their bytes. nullopt when it cannot be read, told.
std::optional<std::vector<std::string>> ReadFolder(const std::string& folder);
// The path as the bus takes it: absolute, without "." and "..", no trailing slash.
std::string AbsolutePath(const std::string& path);
// A number of seconds up to a day, with a fraction if need be. False for anything else.
bool ParseSeconds(const std::string& text, std::chrono::milliseconds* duration);
// Why the extension has nothing to say about these paths, as far as it tells; empty when it does
// not.
std::string ReasonForNothing(ExtensionClient& client, const std::vector<std::string>& paths);

}  // namespace kelvo::finder
