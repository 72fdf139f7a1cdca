// A real Agent peer for demonstrations, tests and people who write Agents. Where to start reading:
// request_handler.cc says what an Agent answers, agent_connection.cc how it travels.

#include <glib-unix.h>
#include <signal.h>
#include <unistd.h>

#include "platform/linux/glib_run_loop.h"
#include "platform/posix/system_clock.h"
#include "tools/line_input.h"
#include "tools/sample_agent/command_line.h"
#include "tools/sample_agent/sample_agent.h"
#include "tools/source_id.h"
#include "tools/stderr_logger.h"

namespace {

gboolean OnEndSignal(gpointer runLoop) {
  static_cast<kelvo::GlibRunLoop*>(runLoop)->Quit();
  return G_SOURCE_CONTINUE;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace kelvo;
  g_set_prgname("kelvo-sample-agent");
  signal(SIGPIPE, SIG_IGN);  // a reader of standard output may leave
  const sample_agent::CommandLine commandLine = sample_agent::ParseCommandLine(argc, argv);
  if (!commandLine.serve) return commandLine.exitCode;

  tools::StderrLogger logger;
  CLogger::m_Instance = &logger;
  GlibRunLoop runLoop(nullptr);
  const SystemClock clock;
  sample_agent::SampleAgent agent(commandLine.options, runLoop, clock, [&] { runLoop.Quit(); });
  if (!agent.Start()) return 1;
  const tools::SourceId onTerminate(g_unix_signal_add(SIGTERM, OnEndSignal, &runLoop));
  const tools::SourceId onInterrupt(g_unix_signal_add(SIGINT, OnEndSignal, &runLoop));
  const tools::SourceId onHangUp(g_unix_signal_add(SIGHUP, OnEndSignal, &runLoop));
  const tools::LineInput commands(STDIN_FILENO,
                                  [&](const std::string& line) { agent.RunLine(line); });
  runLoop.Run();
  CLogger::m_Instance = nullptr;
  return 0;
}
