#pragma once

#include "tools/sample_agent/sample_agent.h"

namespace kelvo::sample_agent {

// What the arguments ask for: to serve a folder, or to end at once.
struct CommandLine {
  bool serve = false;
  int exitCode = 0;  // when there is nothing to serve
  Options options;
};

// Help, the version and complaints are written here.
CommandLine ParseCommandLine(int argc, char** argv);

}  // namespace kelvo::sample_agent
