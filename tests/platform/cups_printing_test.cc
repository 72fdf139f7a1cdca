// CupsPrintingTest needs the server that with_cups.sh starts; the other suite needs none.
#include "platform/posix/cups_printing.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/unique_fd.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

class CupsPrintingTest : public test::Fixture {
 protected:
  void SetUp() override {
    const char* const socket = std::getenv("KELVO_TEST_CUPS_SOCKET");
    ASSERT_NE(socket, nullptr) << "run with_cups.sh";
    ::setenv("CUPS_SERVER", socket, 1);
  }
};

TEST_F(CupsPrintingTest, TellsTheServersPrintersAndTheirStates) {
  CupsPrinting printing;
  const auto printers = printing.Printers();
  ASSERT_TRUE(printers);
  ASSERT_EQ(printers->size(), 3u);
  const struct {
    const char* identifier;
    const char* name;
    bool isDefault;
    std::optional<int> state;
  } kRows[] = {{"both", "both", false, kPrinterStopped},
               {"halted", "halted", false, kPrinterStopped},
               {"idle", "B\xC3\xBCro \"A\"", true, kPrinterIdle}};
  for (int i = 0; i < 3; ++i) {
    const Printer& printer = (*printers)[i];
    EXPECT_EQ(printer.identifier, kRows[i].identifier);
    EXPECT_EQ(printer.name, kRows[i].name);
    EXPECT_EQ(printer.isDefault, kRows[i].isDefault) << printer.identifier;
    EXPECT_EQ(printing.State(printer.identifier), kRows[i].state) << printer.identifier;
  }
  for (const std::string& absent :
       {std::string("absent"), std::string(), std::string("../jobs?x=%41"), std::string("\xFF\x01"),
        std::string(5000, 'x')}) {
    EXPECT_EQ(printing.State(absent), std::nullopt) << absent;
  }
}

using CupsServerTroubleTest = test::Fixture;

TEST_F(CupsServerTroubleTest, AbsenceIsNotAnEmptyList) {
  CupsPrinting printing(Home("no-such-socket"));
  EXPECT_EQ(printing.Printers(), std::nullopt);
  EXPECT_EQ(printing.State("a"), std::nullopt);
  EXPECT_EQ(LogCount("the printing system cannot be asked"), 2);
}

TEST_F(CupsServerTroubleTest, SilenceEndsAfterSomeSeconds) {
  const UniqueFd listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, Home("socket").c_str(), sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(listener.get(), 5), 0);
  CupsPrinting printing(Home("socket"));
  const auto start = steady_clock::now();
  EXPECT_EQ(printing.Printers(), std::nullopt);
  EXPECT_LT(steady_clock::now() - start, seconds(5));
  EXPECT_EQ(LogCount("the printing system cannot be asked"), 1);
}

}  // namespace
}  // namespace kelvo
