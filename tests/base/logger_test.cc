#include "base/logger.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
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
#include "tests/support/full_disk.h"

namespace kelvo {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

std::string Prefix() {
  return "[" + std::to_string(reinterpret_cast<std::uintptr_t>(pthread_self())) + "|] ";
}

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

TEST_F(LoggerTest, LevelsGateWhatIsBuiltAndBecomeThoseOfTheSystemLog) {
  Logger().SetLevel(3);
  bool built = false;
  KELVO_LOG(kLogDebug, "debug" << (built = true));
  EXPECT_FALSE(built);
  KELVO_LOG(kLogInformation, "information");
  Logger().SetLevel(100);
  KELVO_LOG(kLogDebug, "debug");
  KELVO_LOG(99, "beyond");
  KELVO_LOG(0, "below");
  KELVO_LOG(kLogWarning, "warning");
  KELVO_LOG(kLogError, "error");
  std::vector<int> levels;
  for (const auto& line : fake_.systemLog.Lines()) levels.push_back(line.level);
  EXPECT_EQ(levels, (std::vector<int>{6, 7, 7, 7, 4, 3}));
  EXPECT_EQ(fake_.systemLog.Lines().back().text, Prefix() + "error");
  EXPECT_EQ(LoggedLines().size(), 6u);
}

TEST_F(LoggerTest, NoMessageDependsOnTheLocaleOrAnEarlierOneOrForgesALine) {
  struct Grouping : std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale former = std::locale::global(std::locale(std::locale(), new Grouping));
  LogTo(Home("grouping.log"));
  std::locale::global(former);
  KELVO_LOG(kLogError, std::hex << std::showbase << 255);
  KELVO_LOG(kLogError, 1234567 << static_cast<std::streambuf*>(nullptr) << "lost");
  KELVO_LOG(kLogError, "name \n[1|] forged\r\x1b[2J\x7f" << '\0' << "\xC2\x85 \xC3\xA9");
  EXPECT_EQ(Logged(), Prefix() + "0xff\n" + Prefix() + "1234567\n" + Prefix() +
                          "name \\n[1|] forged\\r\\x1b[2J\\x7f\\x00\\x85 \xC3\xA9\n");
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

const char* LetOthersRun() {
  std::this_thread::yield();
  return " end";
}

TEST_F(LoggerTest, LinesOfManyThreadsStayWhole) {
  constexpr std::size_t kThreads = 8, kLines = 200;
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
  std::map<int, int> next;  // each thread's lines keep their order
  const auto lines = LoggedLines();
  for (const std::string& line : lines) {
    int thread = -1, number = -1;
    const std::size_t text = line.find("] ");
    ASSERT_NE(text, std::string::npos) << line;
    ASSERT_EQ(sscanf(line.c_str() + text, "] thread %d line %d end", &thread, &number), 2) << line;
    EXPECT_TRUE(line.ends_with(" end")) << line;
    EXPECT_EQ(number, next[thread]++) << line;
  }
  EXPECT_EQ(lines.size(), kThreads * kLines);
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
  LogTo("/dev/full");
  errno = EACCES;
  KELVO_LOG(kLogError, "error " << errno);
  EXPECT_EQ(errno, EACCES) << "callers log first and answer afterwards";
  EXPECT_EQ(LogCount("error " + std::to_string(EACCES)), 1);
}

TEST_F(LoggerTest, FullDiskTearsNoLaterLine) {
  KELVO_LOG(kLogError, "before");
  {
    const test::FullDisk full(std::filesystem::file_size(path_) + 5);
    KELVO_LOG(kLogError, "torn");
    KELVO_LOG(kLogError, "lost");
  }
  KELVO_LOG(kLogError, "after");
  EXPECT_EQ(Logged(), Prefix() + "before\n" + Prefix().substr(0, 5) + "\n" + Prefix() + "after\n");
  EXPECT_EQ(LogCount("torn") + LogCount("lost"), 2);
}

TEST_F(LoggerTest, ReopenedLoggerGoesOnInANewFileWithoutRotation) {
  Logger().InitializeLogrotate(fake_.runLoop, 0, seconds{1});
  KELVO_LOG(kLogError, "before");
  std::filesystem::rename(path_, path_ + ".old");
  Logger().Reopen();
  KELVO_LOG(kLogError, "after");
  fake_.runLoop.Advance(seconds{5});
  EXPECT_EQ(ReadFile(path_ + ".old"), Prefix() + "before\n");
  EXPECT_EQ(Logged(), Prefix() + "after\n");
}

TEST_F(LoggerTest, OfALineWithoutBoundsTheBeginningIsKept) {
  std::string endless;
  while (endless.size() < 2 * LogStream::kMostBytes) endless += "\u20AC";
  for (int i = 0; i < 3; ++i) {
    KELVO_LOG(kLogError, endless << i << endless);
    endless.insert(0, "x");
  }
  KELVO_LOG(kLogError, "after");
  const std::vector<std::string> lines = LoggedLines();
  ASSERT_EQ(lines.size(), 4U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(lines[i].size(), LogStream::kMostBytes, 20);
    EXPECT_TRUE(lines[i].ends_with("\u20AC... (cut)"));
  }
  EXPECT_EQ(lines[3], Prefix() + "after");
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
  fake_.runLoop.Advance(seconds{90});
  EXPECT_EQ(Logged(), "");
  EXPECT_EQ(ReadFile(path_ + ".1"), Prefix() + second + "\n" + Prefix() + "third\n");
}

TEST_F(LoggerTest, RotationGoesOnInTheOldFileUntilItCanRenameItAndANewOneOpens) {
  Logger().InitializeLogrotate(fake_.runLoop, 10, seconds{60});
  std::filesystem::create_directories(path_ + ".1");
  KELVO_LOG(kLogError, "zeroth");
  fake_.runLoop.Advance(milliseconds{0});
  EXPECT_EQ(LogCount("Unable to rename log file"), 1);
  EXPECT_NE(Logged().find("zeroth"), std::string::npos);
  std::filesystem::remove(path_ + ".1");
  fake_.runLoop.Advance(seconds{60});
  KELVO_LOG(kLogError, "first");
  std::filesystem::rename(Home("Library/Logs"), Home("moved"));
  std::filesystem::create_symlink(Home("missing/folder"), Home("Library/Logs"));
  fake_.runLoop.Advance(seconds{60});
  EXPECT_EQ(LogCount("Unable to open log file"), 1);
  KELVO_LOG(kLogError, "second");
  EXPECT_EQ(ReadFile(Home("moved/test.log")), Prefix() + "first\n" + Prefix() + "second\n");
  std::filesystem::remove(Home("Library/Logs"));
  fake_.runLoop.Advance(seconds{60});
  KELVO_LOG(kLogError, "third");
  EXPECT_EQ(Logged(), Prefix() + "third\n");
}

}  // namespace
}  // namespace kelvo
