#include "base/logger_mac.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <new>
#include <string_view>
#include <utility>

#include "base/file_system.h"
#include "base/string_utils.h"

namespace kelvo {
namespace {

int SystemLevel(int level) {
  switch (level) {
    case kLogError:
      return kSystemLogError;
    case kLogWarning:
      return kSystemLogWarning;
    case kLogInformation:
      return kSystemLogInfo;
    default:
      return kSystemLogDebug;
  }
}

// A text being logged may still have to name the error that made its caller log.
class ErrnoKeeper {
 public:
  ErrnoKeeper() = default;
  ~ErrnoKeeper() { errno = value_; }
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

 private:
  const int value_ = errno;
};

bool IsPipe(int fd) {
  struct stat status;
  return ::fstat(fd, &status) == 0 && S_ISFIFO(status.st_mode);
}

}  // namespace

CLoggerMac::CLoggerMac(const std::string& name, const std::string& path, SystemLog& systemLog)
    : name_(name), path_(path), systemLog_(systemLog) {
  fd_ = OpenLogFile(O_WRONLY | O_APPEND | O_CREAT);
}

CLoggerMac::~CLoggerMac() { rotator_.Timer().Stop(); }

void CLoggerMac::WriteProlog(int level) {
  const ErrnoKeeper keeper;
  mutex_.Lock();
  try {
    BeginMessage(level);
  } catch (...) {
    mutex_.Unlock();
    throw;
  }
}

void CLoggerMac::WriteEpilog() {
  const ErrnoKeeper keeper;
  try {
    EndMessage();
  } catch (const std::bad_alloc&) {
    // This line is lost. Whoever wrote it goes on, and so do the threads that wait to write.
    suspended_.clear();
    inMessage_ = false;
  }
  mutex_.Unlock();
}

void CLoggerMac::BeginMessage(int level) {
  if (inMessage_) suspended_.push_back({stream_.Text(), stream_.flags(), messageLevel_});
  inMessage_ = true;
  messageLevel_ = level;
  stream_.Clear();
  stream_.flags(flags_);
  CurrentThread(stream_);
}

void CLoggerMac::EndMessage() {
  const int level = messageLevel_;
  std::string text = stream_.Text();
  inMessage_ = !suspended_.empty();
  if (inMessage_) {
    const Suspended& outer = suspended_.back();
    messageLevel_ = outer.level;
    stream_.Clear();
    stream_.write(outer.text.data(), static_cast<std::streamsize>(outer.text.size()));
    stream_.flags(outer.flags);
    suspended_.pop_back();
  }
  text = EscapeControlCharacters(text);
  systemLog_.Write(name_, SystemLevel(level), text);
  AppendToFile(std::move(text));
}

void CLoggerMac::AppendToFile(std::string line) {
  if (!fd_) return;
  if (lineTorn_) line.insert(line.begin(), '\n');
  line += '\n';
  std::string_view rest = line;
  while (!rest.empty()) {
    const ssize_t written = ::write(fd_.get(), rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;  // a full disk: the system log has the line
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
  if (rest.size() < line.size()) lineTorn_ = !rest.empty();
}

UniqueFd CLoggerMac::OpenLogFile(int flags) {
  MakeParentFolders(path_);
  // Without waiting: a pipe without a reader must not hold the start. A pipe with one is refused,
  // too, since its reader's end would be ours.
  UniqueFd fd(::open(path_.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0644));
  if (fd && !IsPipe(fd.get())) return fd;
  systemLog_.Write(name_, kSystemLogCritical,
                   "Unable to open log file " + EscapeControlCharacters(path_) + ".");
  return {};
}

bool CLoggerMac::InitializeLogrotate(RunLoop& runLoop, std::int64_t maxSize,
                                     std::chrono::milliseconds interval) {
  {
    CMutexLock lock(mutex_);
    if (!fd_) return false;
  }
  rotator_.Timer().SetTarget(this, &CLoggerMac::CheckLogSizeTimeout);
  return rotator_.Initialize(runLoop, maxSize, interval);
}

void CLoggerMac::CheckLogSizeTimeout(CTimer* /*timer*/) {
  CMutexLock lock(mutex_);
  struct stat status;
  if (!fd_ || ::fstat(fd_.get(), &status) != 0 || status.st_size <= rotator_.MaxSize()) return;
  // A missing file was renamed before, when no new one could be opened. Any other failure leaves
  // the file in its place, and opening a new one would empty it.
  if (::rename(path_.c_str(), (path_ + ".1").c_str()) != 0 && errno != ENOENT) {
    systemLog_.Write(name_, kSystemLogWarning,
                     "Unable to rename log file " + EscapeControlCharacters(path_) + ".");
    return;
  }
  UniqueFd next = OpenLogFile(O_WRONLY | O_APPEND | O_CREAT | O_TRUNC);
  if (!next) return;
  fd_ = std::move(next);
  lineTorn_ = false;
}

void CLoggerMac::Reopen() {
  rotator_.Timer().Stop();
  CMutexLock lock(mutex_);
  fd_ = OpenLogFile(O_WRONLY | O_APPEND | O_CREAT);
  lineTorn_ = false;
}

}  // namespace kelvo
