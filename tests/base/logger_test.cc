#include "base/logger.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <latch>
#include <locale>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include "base/logger_mac.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;

std::string Prefix() {
  return "[" + std::to_string(reinterpret_cast<std::uintptr_t>(pthread_self())) + "|] ";
}

// Lets no file grow beyond `size`, for a scope.
class ScopedFullDisk {
 public:
  explicit ScopedFullDisk(rlim_t size) : formerHandler_(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &former_);
    const rlimit lowered{size, former_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &lowered);
  }
  ~ScopedFullDisk() {
    setrlimit(RLIMIT_FSIZE, &former_);
    signal(SIGXFSZ, formerHandler_);
  }

 private:
  void (*const formerHandler_)(int);
  rlimit former_;
};

class LoggerTest : public test::Fixture {
 protected:
  CLoggerMac& Logger() { return *static_cast<CLoggerMac*>(CLogger::m_Instance.load()); }
  // Puts a logger over another path in the fixture's logger's place.
  void LogTo(const std::string& path) {
    path_ = path;
    delete CLogger::m_Instance.exchange(new CLoggerMac("test", path, fake_.systemLog));
  }
  std::string Logged() { return ReadFile(path_); }
  std::vector<std::string> LoggedLines() {
    std::istringstream file(Logged());
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }

  std::string path_ = Home("Library/Logs/test.log");
};

TEST_F(LoggerTest, ThresholdAdmitsItsOwnLevelAndNoHigherOne) {
  Logger().SetLevel(3);
  KELVO_LOG(kLogInformation, "information");
  bool built = false;
  KELVO_LOG(kLogDebug, "debug" << (built = true));
  EXPECT_EQ(Logged(), Prefix() + "information\n");
  EXPECT_FALSE(built);
}

TEST_F(LoggerTest, LevelsBecomeThoseOfTheSystemLog) {
  Logger().SetLevel(100);
  const std::map<int, int> expected = {{-1, 7}, {0, 7}, {1, 3}, {2, 4}, {3, 6}, {4, 7}, {99, 7}};
  for (const auto& [level, systemLevel] : expected) {
    KELVO_LOG(level, "text " << level);
    const auto line = fake_.systemLog.Lines().back();
    EXPECT_EQ(line.identity, "test");
    EXPECT_EQ(line.level, systemLevel) << level;
    EXPECT_EQ(line.text, Prefix() + "text " + std::to_string(level));
  }
}

TEST_F(LoggerTest, NumbersFollowNeitherTheLocaleNorAnEarlierMessage) {
  struct Grouping : std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale former = std::locale::global(std::locale(std::locale(), new Grouping));
  LogTo(Home("grouping.log"));
  std::locale::global(former);
  KELVO_LOG(kLogError, std::hex << std::showbase << 255);
  KELVO_LOG(kLogError, 1234567);
  EXPECT_EQ(Logged(), Prefix() + "0xff\n" + Prefix() + "1234567\n");
}

TEST_F(LoggerTest, ControlCharactersForgeNoLine) {
  KELVO_LOG(kLogError, "name \n[1|] forged\r\x1b[2J\x7f" << '\0' << "\xC2\x85 \xC3\xA9");
  EXPECT_EQ(Logged(), Prefix() + "name \\n[1|] forged\\r\\x1b[2J\\x7f\\x00\\x85 \xC3\xA9\n");
}

int LogAndAnswer(int depth) {
  KELVO_LOG(kLogWarning, "inner " << depth << (depth > 1 ? LogAndAnswer(depth - 1) : 0));
  return 10 + depth;
}

TEST_F(LoggerTest, InnerMessagesAreWrittenFirstAndTheOuterStaysWhole) {
  KELVO_LOG(kLogError, "outer " << std::hex << LogAndAnswer(2) << " end " << 255);
  EXPECT_EQ(Logged(),
            Prefix() + "inner 10\n" + Prefix() + "inner 211\n" + Prefix() + "outer c end ff\n");
  EXPECT_EQ(fake_.systemLog.Lines().back().level, kSystemLogError);
}

TEST_F(LoggerTest, FailedInsertionDoesNotSilenceLaterMessages) {
  KELVO_LOG(kLogError, "before " << static_cast<std::streambuf*>(nullptr) << "lost");
  KELVO_LOG(kLogError, "after");
  EXPECT_EQ(Logged(), Prefix() + "before \n" + Prefix() + "after\n");
}

TEST_F(LoggerTest, TheErrorThatIsLoggedSurvivesTheLogger) {
  LogTo("/dev/full");
  errno = EACCES;
  KELVO_LOG(kLogError, "error " << errno);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(LogCount("error " + std::to_string(EACCES)), 1);
}

const char* LetOthersRun() {
  std::this_thread::yield();
  return " end";
}

TEST_F(LoggerTest, LinesOfManyThreadsStayWhole) {
  constexpr std::size_t kThreads = 8;
  constexpr std::size_t kLines = 200;
  std::latch start(kThreads);
  std::vector<std::thread> threads(kThreads);
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    threads[thread] = std::thread([thread, &start] {
      start.arrive_and_wait();
      for (std::size_t line = 0; line < kLines; ++line) {
        KELVO_LOG(kLogError, "thread " << thread << " line " << line << LetOthersRun());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::map<std::string, int> next;  // by thread prefix: each thread's lines keep their order
  const auto lines = LoggedLines();
  for (const std::string& line : lines) {
    int thread = -1;
    int number = -1;
    const std::size_t text = line.find("] ");
    ASSERT_NE(text, std::string::npos) << line;
    ASSERT_EQ(sscanf(line.c_str() + text, "] thread %d line %d end", &thread, &number), 2) << line;
    EXPECT_TRUE(line.ends_with(" end")) << line;
    EXPECT_EQ(number, next[line.substr(0, text) + std::to_string(thread)]++) << line;
  }
  EXPECT_EQ(lines.size(), kThreads * kLines);
  EXPECT_EQ(next.size(), kThreads);
}

TEST_F(LoggerTest, MissingFoldersAreTheUsersAlone) {
  LogTo(Home("a/b/test.log"));
  struct stat status;
  for (const char* folder : {"a", "a/b"}) {
    ASSERT_EQ(stat(Home(folder).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700u) << folder;
  }
}

TEST_F(LoggerTest, WithoutAFileLinesStillReachTheSystemLog) {
  WriteFile(Home("file"), "");
  ASSERT_EQ(mkfifo(Home("pipe").c_str(), 0600), 0);
  const UniqueFd reader(open(Home("pipe").c_str(), O_RDONLY | O_NONBLOCK));
  for (const char* name : {"file/test.log", "pipe"}) {
    LogTo(Home(name));
    EXPECT_EQ(fake_.systemLog.Lines().back().level, kSystemLogCritical);
    EXPECT_EQ(fake_.systemLog.Lines().back().text, "Unable to open log file " + path_ + ".");
    KELVO_LOG(kLogError, "still told");
    EXPECT_EQ(fake_.systemLog.Lines().back().text, Prefix() + "still told");
    EXPECT_FALSE(Logger().InitializeLogrotate(fake_.runLoop, 1, seconds{1}));
  }
}

TEST_F(LoggerTest, FullDiskTearsNoLaterLine) {
  KELVO_LOG(kLogError, "before");
  {
    const ScopedFullDisk full(std::filesystem::file_size(path_) + 5);
    KELVO_LOG(kLogError, "torn");
    KELVO_LOG(kLogError, "lost");
  }
  KELVO_LOG(kLogError, "after");
  EXPECT_EQ(Logged(), Prefix() + "before\n" + Prefix().substr(0, 5) + "\n" + Prefix() + "after\n");
  EXPECT_EQ(LogCount("torn") + LogCount("lost"), 2);
}

TEST_F(LoggerTest, RetiredLoggerLeavesTheFileButNotTheSystemLog) {
  Logger().InitializeLogrotate(fake_.runLoop, 0, seconds{1});
  KELVO_LOG(kLogError, "before");
  Logger().Retire();
  KELVO_LOG(kLogError, "after");
  fake_.runLoop.Advance(seconds{5});
  EXPECT_EQ(Logged(), Prefix() + "before\n");
  EXPECT_EQ(LogCount("after"), 1);
  // Whoever takes the path over has it alone.
  LogTo(path_);
  KELVO_LOG(kLogError, "successor");
  EXPECT_EQ(Logged(), Prefix() + "before\n" + Prefix() + "successor\n");
}

TEST_F(LoggerTest, RotationKeepsOneOlderFile) {
  Logger().SetLevel(kLogDebug);
  EXPECT_TRUE(Logger().InitializeLogrotate(fake_.runLoop, 100, milliseconds{90'500}));
  EXPECT_EQ(Logged(), Prefix() + "Log rotate: size=100 interval=90.5\n");
  const std::string first(100, 'a');
  KELVO_LOG(kLogError, first);
  fake_.runLoop.Advance(milliseconds{0});
  EXPECT_EQ(Logged(), "");
  EXPECT_NE(ReadFile(path_ + ".1").find(first), std::string::npos);

  const std::string second(99 - Prefix().size(), 'b');
  KELVO_LOG(kLogError, second);
  fake_.runLoop.Advance(seconds{91});
  EXPECT_EQ(Logged(), Prefix() + second + "\n");  // 100 bytes are not too many

  KELVO_LOG(kLogError, "third");
  fake_.runLoop.Advance(seconds{89});
  EXPECT_NE(Logged(), "");
  fake_.runLoop.Advance(seconds{1});
  KELVO_LOG(kLogError, "fourth");
  EXPECT_EQ(Logged(), Prefix() + "fourth\n");
  EXPECT_EQ(ReadFile(path_ + ".1"), Prefix() + second + "\n" + Prefix() + "third\n");
}

TEST_F(LoggerTest, RotationThatNeverComesBackStillChecksOnce) {
  fake_.runLoop.Advance(seconds{1});  // a clock to which "never" cannot be added
  Logger().InitializeLogrotate(fake_.runLoop, 0, CLogRotator::kNever);
  KELVO_LOG(kLogError, "first");
  fake_.runLoop.Advance(milliseconds{0});
  EXPECT_EQ(Logged(), "");
  KELVO_LOG(kLogError, "second");
  fake_.runLoop.Advance(hours{24 * 3650});
  EXPECT_EQ(Logged(), Prefix() + "second\n");
}

TEST_F(LoggerTest, RotationGoesOnInTheOldFileUntilANewOneOpens) {
  Logger().InitializeLogrotate(fake_.runLoop, 10, seconds{60});
  KELVO_LOG(kLogError, "first");
  std::filesystem::rename(Home("Library/Logs"), Home("moved"));
  std::filesystem::create_symlink(Home("missing/folder"), Home("Library/Logs"));
  fake_.runLoop.Advance(milliseconds{0});
  EXPECT_EQ(LogCount("Unable to open log file"), 1);
  KELVO_LOG(kLogError, "second");
  EXPECT_EQ(ReadFile(Home("moved/test.log")), Prefix() + "first\n" + Prefix() + "second\n");
  std::filesystem::remove(Home("Library/Logs"));
  fake_.runLoop.Advance(seconds{60});
  KELVO_LOG(kLogError, "third");
  EXPECT_EQ(Logged(), Prefix() + "third\n");
}

TEST_F(LoggerTest, RotationThatCannotRenameEmptiesNothing) {
  std::filesystem::create_directories(path_ + ".1");
  Logger().InitializeLogrotate(fake_.runLoop, 0, seconds{60});
  KELVO_LOG(kLogError, "first");
  fake_.runLoop.Advance(milliseconds{0});
  KELVO_LOG(kLogError, "second");
  EXPECT_EQ(Logged(), Prefix() + "first\n" + Prefix() + "second\n");
  EXPECT_EQ(LogCount("Unable to rename log file"), 1);
}

}  // namespace
}  // namespace kelvo
