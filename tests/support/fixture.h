#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/support/fake_platform.h"

namespace kelvo::test {

// A fresh home folder, fresh process-wide state and a logger into `platform.systemLog` for each
// test.
class Fixture : public ::testing::Test {
 protected:
  Fixture();
  ~Fixture() override;

  // A path below the home folder.
  std::string Home(const std::string& relative) const { return home_ + "/" + relative; }
  // Writes a file, making its folders.
  void WriteFile(const std::string& path, const std::string& bytes);
  std::string ReadFile(const std::string& path);
  // How many log lines hold the text.
  int LogCount(const std::string& text) const { return fake_.systemLog.Count(text); }
  void SetLogLevel(int level);

  FakePlatform fake_;
  std::string home_;

 private:
  std::string formerHome_;
};

}  // namespace kelvo::test
