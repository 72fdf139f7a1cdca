#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/macos/stand_ins/finder.h"
#include "tests/support/fake_platform.h"

namespace kelvo::test {

// What the host is given beside Finder, channel and dialogs. One for the process.
struct HostFakes {
  FakeSecretStore secrets;
  FakeUserDefaults defaults;
  FakeSystemLog systemLog;
  FakeHttpClient http;
  FakeDesktop desktop;
  FakePasteboard pasteboard;
};
HostFakes& TheFakes();

// A process with the extension in it, a home folder of its own and an Agent in a process of its
// own. The extension is the process's, so a process is good for one test.
class MacExtension : public ::testing::Test {
 protected:
  MacExtension();
  ~MacExtension() override;

  std::string Home(const std::string& relative) const { return home_ + "/" + relative; }
  // Returns when the Agent can be found.
  void StartAgent();
  void SignalAgent(int number);
  // What the Agent has heard, in order.
  std::vector<std::string> AgentNotes() const;
  std::size_t AgentHeard(const std::string& note) const;
  // Starts the extension and returns when the core stands and the Agent is connected.
  void StartConfigured();
  int LogCount(const std::string& text) const { return TheFakes().systemLog.Count(text); }

  std::string home_;

 private:
  pid_t agent_ = 0;
};

}  // namespace kelvo::test
