#include "base/open_exclusive.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <future>
#include <thread>

#include "base/unique_fd.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

class OpenExclusiveTest : public test::Fixture {
 protected:
  // Opens the path on a thread while the lock is held through another opening of the file, as
  // another process does; checks that this waits (also over a signal), does the work with the other
  // opening, closes that and answers the descriptor.
  UniqueFd OpenWhileHeld(const std::string& path, const std::function<void(int)>& work) {
    UniqueFd holder(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    EXPECT_EQ(flock(holder.get(), LOCK_EX), 0);
    std::promise<int> opened;
    std::future<int> result = opened.get_future();
    std::thread opener([&] { opened.set_value(OpenExclusive(path)); });
    EXPECT_EQ(result.wait_for(std::chrono::milliseconds{50}), std::future_status::timeout);
    pthread_kill(opener.native_handle(), SIGUSR1);
    EXPECT_EQ(result.wait_for(std::chrono::milliseconds{50}), std::future_status::timeout);
    work(holder.get());
    holder.Reset();
    opener.join();
    return UniqueFd(result.get());
  }
  void SetUp() override {
    struct sigaction interrupt = {};
    interrupt.sa_handler = [](int) {};  // without SA_RESTART
    sigaction(SIGUSR1, &interrupt, &formerAction_);
  }
  void TearDown() override { sigaction(SIGUSR1, &formerAction_, nullptr); }

  struct sigaction formerAction_ = {};
};

TEST_F(OpenExclusiveTest, WaitsForTheLockOfAnotherProcess) {
  const std::string path = Home("Library/settings.plist");
  const UniqueFd made(OpenExclusive(path));
  struct stat folder;
  ASSERT_EQ(stat(Home("Library").c_str(), &folder), 0);
  EXPECT_EQ(folder.st_mode & 07777, 0700u);
  EXPECT_EQ(fcntl(made.get(), F_GETFD), FD_CLOEXEC);
  flock(made.get(), LOCK_UN);
  const UniqueFd fd = OpenWhileHeld(path, [](int other) { (void)!write(other, "done", 4); });
  ASSERT_TRUE(fd);
  char text[8];
  EXPECT_EQ(read(fd.get(), text, sizeof text), 4);
  const UniqueFd second(open(path.c_str(), O_RDWR));
  EXPECT_EQ(flock(second.get(), LOCK_EX | LOCK_NB), -1);
  EXPECT_EQ(errno, EWOULDBLOCK);
}

TEST_F(OpenExclusiveTest, FileReplacedMeanwhileIsOpenedAnew) {
  const std::string path = Home("settings.plist");
  const std::string replacement = Home("replacement");
  WriteFile(replacement, "new");
  const UniqueFd fd = OpenWhileHeld(path, [&](int) { rename(replacement.c_str(), path.c_str()); });
  char text[8];
  EXPECT_EQ(read(fd.get(), text, sizeof text), 3);
}

TEST_F(OpenExclusiveTest, RefusesWhatIsNoRegularFile) {
  ASSERT_EQ(mkfifo(Home("pipe").c_str(), 0600), 0);
  const struct {
    std::string path;
    int error;
  } rows[] = {
      {Home("pipe"), EINVAL},
      {Home(std::string("file\0x", 6)), EINVAL},
      {"/dev/null", EINVAL},
      {"", ENOENT},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(OpenExclusive(row.path), -1) << row.path;
    EXPECT_EQ(errno, row.error) << row.path;
  }
}

}  // namespace
}  // namespace kelvo
