#pragma once

#include <signal.h>
#include <sys/resource.h>

namespace kelvo::test {

// While it lives no file of this process grows beyond `bytes`, as on a disk that is full.
class FullDisk {
 public:
  explicit FullDisk(rlim_t bytes) : formerHandler_(::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &former_);
    const rlimit limit{bytes, former_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() {
    ::setrlimit(RLIMIT_FSIZE, &former_);
    ::signal(SIGXFSZ, formerHandler_);
  }

 private:
  void (*const formerHandler_)(int);
  rlimit former_{};
};

}  // namespace kelvo::test
