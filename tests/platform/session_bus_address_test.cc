#include "platform/linux/session_bus_address.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>

#include "base/unique_fd.h"
#include "platform/linux/session_bus.h"
#include "tests/support/fixture.h"

namespace kelvo::test {
namespace {

class SessionBusAddressTest : public Fixture {
 protected:
  ~SessionBusAddressTest() override { Set(formerAddress_, formerFolder_); }

  static std::optional<std::string> Get(const char* name) {
    const char* value = getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
  }
  static void Set(const std::optional<std::string>& address,
                  const std::optional<std::string>& folder) {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("XDG_RUNTIME_DIR");
    if (address) setenv("DBUS_SESSION_BUS_ADDRESS", address->c_str(), 1);
    if (folder) setenv("XDG_RUNTIME_DIR", folder->c_str(), 1);
  }

  const std::optional<std::string> formerAddress_ = Get("DBUS_SESSION_BUS_ADDRESS");
  const std::optional<std::string> formerFolder_ = Get("XDG_RUNTIME_DIR");
};

TEST_F(SessionBusAddressTest, NeverLaunchesABus) {
  struct Row {
    std::optional<std::string> address;
    const char* found;
  };
  const Row rows[] = {
      {"unix:path=/x", "unix:path=/x"},
      {"unix:path=/x;unix:path=/y", "unix:path=/x;unix:path=/y"},
      {"autolaunch:;unix:path=/x", "unix:path=/x"},
      {"autolaunch:scope=*user", ""},
      {"", ""},
      {std::nullopt, ""},
      {"autolaunch:scope=a;unix:path=/x;unixexec:path=/y", "unix:path=/x"},
  };
  for (const Row& row : rows) {
    Set(row.address, std::nullopt);
    EXPECT_EQ(row.found, SessionBusAddress()) << row.address.value_or("(unset)");
  }
}

TEST_F(SessionBusAddressTest, TakesTheRuntimeFoldersSocketWhenNoneIsNamedAndWaitsForNobody) {
  Set(std::nullopt, home_);
  EXPECT_EQ("", SessionBusAddress());
  WriteFile(Home("bus"), "");
  EXPECT_EQ("", SessionBusAddress());
  ASSERT_EQ(0, unlink(Home("bus").c_str()));

  const UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(Home("bus").copy(address.sun_path, sizeof address.sun_path), sizeof address.sun_path);
  ASSERT_EQ(0, bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address));
  EXPECT_EQ("unix:path=" + Home("bus"), SessionBusAddress());

  ASSERT_EQ(0, listen(socket.get(), 1));  // and nobody ever answers
  std::string error;
  EXPECT_EQ(nullptr, OpenSessionBus(&error, std::chrono::milliseconds{50}));
  EXPECT_EQ("no connection to the session bus: it does not answer", error);
}

}  // namespace
}  // namespace kelvo::test
