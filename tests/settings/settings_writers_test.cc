#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "settings/properties.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

using SettingsWritersTest = test::Fixture;

TEST_F(SettingsWritersTest, TwoProcessesWriteAtOnceAndNeitherLosesAKeyOrIsReadByHalves) {
  constexpr const char* kKeys[] = {"a", "b"};
  constexpr int kRounds = 2000;
  const std::string path = Home("settings.plist");
  ASSERT_TRUE(StorePropertiesToFile(path, {{"kept", true}, {"a", 0}, {"b", 0}}));
  pid_t writers[2];
  for (int i = 0; i < 2; ++i) {
    writers[i] = ::fork();
    if (writers[i] != 0) continue;
    ::execl(KELVO_SETTINGS_WRITER, "settings_writer", "rounds", path.c_str(), kKeys[i],
            std::to_string(kRounds).c_str(), nullptr);
    ::_exit(2);
  }
  int seen[2] = {};
  int running = 2;
  while (running > 0) {
    int status = 0;
    if (::waitpid(-1, &status, WNOHANG) > 0) {
      --running;
      EXPECT_EQ(status, 0) << "a key of a writer was lost, or it could not write";
    }
    const auto now = LoadPropertiesFromFile(path);
    if (!now || !GetBoolPropertyWithDefault(*now, "kept", false)) {
      ADD_FAILURE() << "read by halves: " << ReadFile(path);
      break;
    }
    for (int i = 0; i < 2; ++i) {
      const int count = GetIntPropertyWithDefault(*now, kKeys[i], -1);
      EXPECT_GE(count, seen[i]) << kKeys[i];
      seen[i] = count;
    }
  }
  while (running-- > 0) ::wait(nullptr);
  EXPECT_EQ(seen[0], kRounds);
  EXPECT_EQ(seen[1], kRounds);
}

}  // namespace
}  // namespace kelvo
