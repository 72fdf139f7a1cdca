#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "settings/properties.h"
#include "settings/property_list_xml.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

struct Scenario {
  const char* name;
  const char* operation;  // as settings_writer takes it
  std::string before;     // the file's bytes
  PropertyList after;
  std::string size;  // of the new text
};

class SettingsKillTest : public test::Fixture {
 protected:
  enum class End { kFinished, kKilled, kUntraceable };

  // Runs the write of `scenario` and kills it at the given stop (0: never). There is a stop at
  // each system call's begin and one at its end.
  End Write(const Scenario& scenario, int killAt) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::execl(KELVO_SETTINGS_WRITER, "settings_writer", "once", scenario.operation, path_.c_str(),
              scenario.size.c_str(), nullptr);
      ::_exit(2);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFSTOPPED(status)) return End::kUntraceable;
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_EXITKILL);
    for (int stop = 1; WIFSTOPPED(status); ++stop) {
      ::ptrace(killAt == 0 ? PTRACE_CONT : PTRACE_SYSCALL, child, nullptr, nullptr);
      ::waitpid(child, &status, 0);
      if (stop != killAt || !WIFSTOPPED(status)) continue;
      ::kill(child, SIGKILL);
      ::waitpid(child, &status, 0);
      return End::kKilled;
    }
    EXPECT_EQ(status, 0) << "the write failed";
    return End::kFinished;
  }

  std::optional<PropertyList> Load() { return ReadPropertyList(ReadFile(path_), nullptr); }

  void KillAtEachStop(const Scenario& scenario) {
    const auto before = ReadPropertyList(scenario.before, nullptr);
    const bool damaged = !before && !scenario.before.empty();
    std::string seen;
    // Odd stops are a call's begin; its end is as good as the next one's begin.
    for (int stop = 1;; stop += 2) {
      SCOPED_TRACE(std::string(scenario.operation) + " " + scenario.name + ", stop " +
                   std::to_string(stop));
      std::filesystem::remove(copy_);
      WriteFile(path_, scenario.before);
      const End end = Write(scenario, stop);
      ASSERT_NE(end, End::kUntraceable) << "this environment does not let a process trace its "
                                           "child (ptrace): nothing was tested";
      if (end == End::kFinished) {
        EXPECT_GT(stop, 10);
        break;
      }
      const auto now = Load();
      if (now != scenario.after) {
        ASSERT_EQ(now, before);
        ASSERT_TRUE(!damaged || ReadFile(path_) == scenario.before);
      }
      // The next writer finishes what the killed one began, and loses nothing either.
      std::string files;
      for (const auto& file : std::filesystem::directory_iterator(folder_)) {
        files += "[" + file.path().string() + ReadFile(file.path()) + "]";
      }
      if (std::exchange(seen, files) == files) continue;
      ASSERT_EQ(Write(scenario, 0), End::kFinished);
      ASSERT_EQ(Load(), scenario.after);
      ASSERT_EQ(ReadFile(copy_), damaged ? scenario.before : "");
      ASSERT_EQ(std::distance(std::filesystem::directory_iterator(folder_), {}), damaged ? 2 : 1);
    }
  }

  const std::string folder_ = Home("x");
  const std::string path_ = folder_ + "/settings.plist";
  const std::string copy_ = path_ + ".damaged";
};

TEST_F(SettingsKillTest, AWriteKilledAtAnySystemCallLeavesTheOldOrTheNewContent) {
  const std::string old =
      WriteXmlPropertyList(PropertyList::Dictionary{{"kept", 1}, {"text", std::string(3000, 'o')}})
          .value();
  const std::string half = old.substr(0, 2000);
  const auto alone = [](int size) {
    return PropertyList::Dictionary{{"text", std::string(size, 'n')}};
  };
  const auto merged = [&](int size) {
    PropertyList::Dictionary both = alone(size);
    both["kept"] = 1;
    return both;
  };
  const Scenario kScenarios[] = {
      {"longer", "change", old, merged(9000), "9000"},
      {"shorter", "change", old, merged(9), "9"},
      {"longer", "store", old, alone(9000), "9000"},
      {"shorter", "array", old, PropertyList::Array{alone(9)}, "9"},
      {"empty", "change", "", alone(9), "9"},
      {"damaged", "change", half, alone(9), "9"},
      {"damaged", "store", half, alone(9000), "9000"},
      {"damaged", "array", half, PropertyList::Array{alone(9)}, "9"},
      {"longer", "replace", old, alone(9000), "9000"},
  };
  for (const Scenario& scenario : kScenarios) {
    ASSERT_NO_FATAL_FAILURE(KillAtEachStop(scenario));
  }
}

}  // namespace
}  // namespace kelvo
