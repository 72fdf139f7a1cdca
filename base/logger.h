#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <sstream>
#include <string>

#include "platform/run_loop.h"

namespace kelvo {

enum LogLevel : int { kLogError = 1, kLogWarning = 2, kLogInformation = 3, kLogDebug = 4 };

// What one message is built in. Of a text that has no bounds, such as a list, the beginning is
// taken and the rest dropped as it comes.
class LogStream final : public std::ostream {
 public:
  static constexpr std::size_t kMostBytes = std::size_t{1} << 20;

  LogStream() : std::ostream(nullptr) { rdbuf(&buffer_); }
  // What was inserted since Clear, with a mark behind it when that is not all.
  std::string Text() const;
  void Clear();

 private:
  // Keeps at most twice the limit, since it grows by doubling.
  class Buffer final : public std::stringbuf {
   public:
    bool isCut = false;

   protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int_type overflow(int_type byte) override;

   private:
    std::streamsize Room() const { return std::streamsize{kMostBytes} - (pptr() - pbase()); }
  };
  Buffer buffer_;
};

// The process-wide log. Use KELVO_LOG.
//
// Threads: any; one message is written at a time. Lifetime: a logger that was reachable through
// m_Instance is never destroyed, since a thread may still be writing with it.
class CLogger {
 public:
  static std::atomic<CLogger*> m_Instance;

  CLogger();
  virtual ~CLogger() = default;
  CLogger(const CLogger&) = delete;
  CLogger& operator=(const CLogger&) = delete;

  // Begins a message of `level`; text goes to Stream(); WriteEpilog hands it out. Between the two
  // the thread owns the logger. A message begun inside another on the same thread is written first.
  virtual void WriteProlog(int level) = 0;
  virtual void WriteEpilog() = 0;
  // Watches the log file's size every `interval`. False when the logger has no file to rotate.
  virtual bool InitializeLogrotate(RunLoop& runLoop, std::int64_t maxSize,
                                   std::chrono::milliseconds interval) = 0;

  bool IsEnabled(int level) const { return level_.load(std::memory_order_relaxed) >= level; }
  int Level() const { return level_.load(std::memory_order_relaxed); }
  void SetLevel(int level) { level_.store(level, std::memory_order_relaxed); }

  // Only between WriteProlog and WriteEpilog. Never follows the user's locale.
  std::ostream& Stream() { return stream_; }

 protected:
  std::atomic<int> level_{kLogInformation};
  LogStream stream_;
  std::ios_base::fmtflags flags_;
  int messageLevel_ = 0;
};

// Writes "[" + thread id + "|" + agent id + "] ", the head of every log line.
std::ostream& CurrentThread(std::ostream& stream);

namespace internal {

// One message, written when it goes out of scope, also when building it throws.
class LogMessage {
 public:
  LogMessage(CLogger& logger, int level) : logger_(logger) { logger_.WriteProlog(level); }
  ~LogMessage() { logger_.WriteEpilog(); }
  LogMessage(const LogMessage&) = delete;
  LogMessage& operator=(const LogMessage&) = delete;
  std::ostream& Stream() { return logger_.Stream(); }

 private:
  CLogger& logger_;
};

}  // namespace internal

// KELVO_LOG(kLogDebug, "RequestFolderItems " << path): builds the text only when the level is on.
// NOLINTBEGIN(bugprone-macro-parentheses): `text` is a chain of insertions, not an operand.
#define KELVO_LOG(level, text)                                                                    \
  do {                                                                                            \
    ::kelvo::CLogger* kelvoLogger = ::kelvo::CLogger::m_Instance.load(std::memory_order_acquire); \
    if (kelvoLogger != nullptr && kelvoLogger->IsEnabled(level)) {                                \
      ::kelvo::internal::LogMessage(*kelvoLogger, level).Stream() << text;                        \
    }                                                                                             \
  } while (false)
// NOLINTEND(bugprone-macro-parentheses)

}  // namespace kelvo
