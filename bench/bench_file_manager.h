#pragma once

#include <gio/gio.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bench/extension_session.h"
#include "hosts/client/badge_store.h"
#include "platform/clock.h"

namespace kelvo::bench {

// A file manager's process: what plug-ins hold badges in, on a real bus, and a record of the
// signals that fed it. It asks for everything at once, and waits for the answers.
//
// Threads: the main thread with the default main context.
class BenchFileManager : private BadgeStore::Surroundings {
 public:
  struct Signal {
    std::string name;
    std::string folder = {};  // empty when it is about none
    std::size_t badges = 0;   // in it
    std::int64_t heldAt = 0;  // when these had been put in place: monotonic, nanoseconds
  };

  explicit BenchFileManager(ExtensionSession& session);
  ~BenchFileManager();

  // Forgets the folders shown before, and shows this one: asks for badges and descriptions.
  // It holds BadgeStore::kMaxItems at most; the badges of further names are asked for all the same,
  // so that the extension remembers and tells them.
  void Show(const std::string& folder, const std::vector<std::string>& names);
  char BadgeOf(const std::string& path) { return store_.Lookup(path).badge; }
  // Badges of the folder in all signals recorded.
  std::size_t BadgesTold(const std::string& folder) const;
  // When the last of these had been put in place; signals of another kind may have followed.
  std::int64_t HeldAt(const std::string& folder) const;

  std::vector<Signal> signals;

 private:
  class LeapingClock : public Clock {
   public:
    std::int64_t Now() const override { return 0; }
    std::chrono::milliseconds Monotonic() const override { return now; }
    std::chrono::milliseconds now{0};
  };

  void BeginObserving(const std::string& folder) override;
  void EndObserving(const std::string& folder) override;
  void RequestBadges(const std::string& folder, const std::string& names,
                     std::uint64_t ticket) override;
  void DescribeItems(const std::string& folder, const std::string& names,
                     std::uint64_t ticket) override;
  void BadgeChanged(const std::string&, const std::string&) override {}
  void WorkSoon() override {}
  void WorkAfter(std::chrono::milliseconds) override {}

  GLibPtr<GVariant> Call(const char* method, GVariant* arguments);
  std::string AskForBadges(const std::string& folder, const std::string& names);
  static void OnSignal(GDBusConnection*, const char*, const char*, const char*, const char* signal,
                       GVariant* parameters, gpointer self);

  ExtensionSession& session_;
  LeapingClock clock_;
  BadgeStore store_;
  std::vector<std::function<void()>> answers_;  // for the store, which wants them after Work
  guint subscription_;
};

}  // namespace kelvo::bench
