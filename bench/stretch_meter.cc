#include "bench/stretch_meter.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <new>

#include "base/unique_fd.h"
#include "bench/extension_session.h"
#include "hosts/bus/application.h"

namespace kelvo::bench {
namespace {

struct Meter {
  Stretches* stretches = nullptr;
  UniqueFd schedule;  // the thread's "schedstat": time on the processor, time waiting for it, ...
  std::int64_t pollEnd = 0;
  GPollFunc poll = nullptr;
};
Meter meter;

std::int64_t WaitedForProcessor() {
  char text[100];
  const ssize_t size = ::pread(meter.schedule.get(), text, sizeof text, 0);
  const char* const end = text + std::max<ssize_t>(size, 0);
  const char* const second = std::find<const char*>(text, end, ' ');
  std::int64_t waited = 0;
  if (second != end) std::from_chars(second + 1, end, waited);
  return waited;
}

std::int64_t Worked() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return now / std::chrono::nanoseconds(1) - WaitedForProcessor();
}

gint MeteredPoll(GPollFD* descriptors, guint count, gint timeout) {
  const std::int64_t stretch = meter.pollEnd == 0 ? 0 : Worked() - meter.pollEnd;
  if (stretch > meter.stretches->longest) meter.stretches->longest = stretch;
  meter.stretches->total += stretch;
  ++meter.stretches->turns;
  const gint ready = meter.poll(descriptors, count, timeout);
  meter.pollEnd = Worked();
  return ready;
}

}  // namespace

Stretches& MapStretches(const std::string& file) {
  const UniqueFd descriptor(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  Require(descriptor && ::ftruncate(descriptor.get(), sizeof(Stretches)) == 0, "no file " + file);
  void* memory =
      ::mmap(nullptr, sizeof(Stretches), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor.get(), 0);
  Require(memory != MAP_FAILED, "the file cannot be mapped: " + file);
  return *static_cast<Stretches*>(memory);
}

int RunMeteredExtension(const std::string& file) {
  meter.stretches = &MapStretches(file);
  meter.schedule.Reset(::open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC));
  meter.poll = g_main_context_get_poll_func(nullptr);
  g_main_context_set_poll_func(nullptr, MeteredPoll);
  char program[] = "kelvo-finder-sync";
  char* arguments[] = {program, nullptr};
  return RunApplication(1, arguments);
}

}  // namespace kelvo::bench
