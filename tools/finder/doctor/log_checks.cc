#include "tools/finder/doctor/log_checks.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>

#include "base/string_utils.h"
#include "base/unique_fd.h"
#include "deployment.h"
#include "tools/finder/doctor/limits.h"

namespace kelvo::finder {
namespace {

constexpr std::size_t kMostLines = 5;
constexpr std::size_t kLongestLine = 300;       // bytes shown
constexpr off_t kLookedAt = off_t{256} * 1024;  // from the end of the file
constexpr char kOwnName[] = "Kelvo Plugin: ";   // before each of its messages

// What messages of level "error" hold, as whole words in small or capital letters.
constexpr std::string_view kFailureWords[] = {"cannot",    "unable",  "error",
                                              "exception", "failed",  "skipped",
                                              "skipping",  "dropped", "no connection"};

struct End {
  std::string text;
  std::int64_t written = 0;  // when, seconds since 1970
  int error = 0;
  bool isOrdinary = true;
};

End ReadEnd(const std::string& file) {
  End end;
  const UniqueFd fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status;
  if (!fd || ::fstat(fd.get(), &status) != 0) {
    end.error = errno;
    end.isOrdinary = end.error != ENXIO;  // which a socket answers
    return end;
  }
  end.isOrdinary = S_ISREG(status.st_mode);
  if (!end.isOrdinary) return end;
  end.written = status.st_mtime;
  const off_t start = std::max<off_t>(0, status.st_size - kLookedAt);
  end.text.resize(static_cast<std::size_t>(status.st_size - start));
  const ssize_t size = ::pread(fd.get(), end.text.data(), end.text.size(), start);
  end.text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  if (size < 0) end.error = errno;
  if (start > 0) end.text.erase(0, end.text.find('\n') + 1);  // the rest of a line
  return end;
}

std::string ShownLine(std::string_view line) {
  return Shown(line.substr(0, kLongestLine)) + (line.size() > kLongestLine ? "..." : "");
}

// The last lines that `isOne` takes.
template <typename Predicate>
std::vector<std::string> LastLines(const std::string& text, Predicate isOne) {
  std::deque<std::string> last;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!isOne(line)) continue;
    last.push_back(ShownLine(line));
    if (last.size() > kMostLines) last.pop_front();
  }
  return {last.begin(), last.end()};
}

char Lowered(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                              : character;
}

// Part of a word, in any alphabet.
bool IsOfWord(char character) {
  const char lowered = Lowered(character);
  return (lowered >= 'a' && lowered <= 'z') || (lowered >= '0' && lowered <= '9') ||
         static_cast<unsigned char>(character) >= 0x80;
}

// `line`: in small letters.
bool HoldsWord(std::string_view line, std::string_view word) {
  for (std::size_t at = line.find(word); at != line.npos; at = line.find(word, at + 1)) {
    const std::size_t end = at + word.size();
    if ((at == 0 || !IsOfWord(line[at - 1])) && (end == line.size() || !IsOfWord(line[end]))) {
      return true;
    }
  }
  return false;
}

bool ReadsLikeFailure(std::string line) {
  std::transform(line.begin(), line.end(), line.begin(), Lowered);
  return std::any_of(std::begin(kFailureWords), std::end(kFailureWords),
                     [&](std::string_view word) { return HoldsWord(line, word); });
}

void TellLines(const std::vector<std::string>& lines, const std::string& file, Check* check) {
  for (const std::string& line : lines) check->Warn("  " + line);
  check->Advise("They may be of the past: if all else is well, nothing is to be done.");
  check->Advise("If not, send them to who looks after the Agent" +
                (file.empty() ? "." : ", with all of " + Shown(file)));
}

// False when there is nothing to be read; told.
bool IsReadable(const std::optional<End>& end, const std::string& file, Check* check) {
  if (end && end->error == ENOENT) {
    check->Note("There is no log yet (" + Shown(file) + ").");
  } else if (end && !end->isOrdinary) {
    check->Warn(Shown(file) + " is no ordinary file.", "Remove it: the extension makes a new one.");
  } else if (!end || end->error != 0) {
    check->Warn(Shown(file) + " cannot be read: " +
                    (end ? std::generic_category().message(end->error)
                         : std::string("it does not come within 2 seconds")) +
                    ".",
                "See whose it is and who may read it: ls -l " + Shown(file));
  } else {
    return true;
  }
  return false;
}

}  // namespace

Check LogCheck() { return {"log", "Last errors in the log"}; }

std::vector<std::string> JournalErrors() {
  const auto end = RunProgram({"journalctl", "--quiet", "--no-pager", "--output=short-iso",
                               "--priority=err", "--lines=" + std::to_string(kMostLines),
                               std::string("--identifier=") + deployment::kLogSender,
                               "_UID=" + std::to_string(::geteuid())},
                              kPatience);
  if (!end || end->exitCode != 0) return {};
  return LastLines(end->output, [](const std::string& line) {
    return line.find(kOwnName) != std::string::npos;
  });
}

std::string LogFile(const ExtensionFacts& facts) {
  if (facts.diagnosis && !facts.diagnosis->logFile.empty()) return facts.diagnosis->logFile;
  if (ExpandTildeInPath("~").empty()) return {};
  return ExpandTildeInPath("~/Library/Logs/KelvoAgentPlugin.log");
}

Check CheckLog(const std::vector<std::string>& journal, const std::string& file, std::int64_t now) {
  Check check = LogCheck();
  if (!journal.empty()) {
    check.Warn("The last errors in the journal:");
    TellLines(journal, file, &check);
    return check;
  }
  if (file.empty()) {
    check.Note("Not examined: HOME is not set, so nobody knows where the log lies.");
    return check;
  }
  const auto end = Within(kPatience, [file] { return ReadEnd(file); });
  if (!IsReadable(end, file, &check)) return check;
  const std::vector<std::string> lines = LastLines(end->text, ReadsLikeFailure);
  const std::string written = Shown(file) + ", last written " + ShownTime(end->written, now);
  if (lines.empty()) {
    check.Pass("No failures in " + written + ".");
    return check;
  }
  check.Warn("The last lines about failures in " + written + ":");
  TellLines(lines, file, &check);
  return check;
}

}  // namespace kelvo::finder
