#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_agent.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo::bench {

// Ends the program with a message unless the condition holds: what cannot be set up cannot be
// measured.
void Require(bool condition, const std::string& otherwise);

// A home, a runtime folder, a session bus, an Agent and the extension, all of their own; gone at
// the end.
//
// Threads: the main thread, whose default context brings the bus's news.
// Lifetime: one per process, since it changes the environment.
class ExtensionSession {
 public:
  // What the program that is to own the bus name is started with; gets Folder().
  using Command = std::function<std::vector<std::string>(const std::string& folder)>;

  explicit ExtensionSession(const Command& command);
  ~ExtensionSession();
  ExtensionSession(const ExtensionSession&) = delete;
  ExtensionSession& operator=(const ExtensionSession&) = delete;

  BenchAgent& Agent() { return *agent_; }
  // A connection to the bus.
  GDBusConnection* Bus() const { return bus_.get(); }
  // The extension's unique name.
  const std::string& Extension() const { return extension_; }
  // What it answers to a call over that connection. Any thread.
  GLibPtr<GVariant> Call(GDBusConnection* bus, const char* method, GVariant* arguments) const;
  // What its threads have used so far; nanoseconds.
  std::int64_t ProcessorTime() const;
  const std::string& Home() const { return home_; }
  // What all files lie in.
  const std::string& Folder() const { return folder_; }

 private:
  const std::string folder_;
  const std::string home_;
  const GObjectPtr<GTestDBus> daemon_;
  std::unique_ptr<BenchAgent> agent_;
  GObjectPtr<GDBusConnection> bus_;
  GObjectPtr<GSubprocess> process_;
  std::string extension_;
};

}  // namespace kelvo::bench
