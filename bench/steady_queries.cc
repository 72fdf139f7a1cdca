#include "bench/steady_queries.h"

#include <algorithm>
#include <chrono>

#include "hosts/client/bus_values.h"
#include "platform/linux/session_bus.h"

namespace kelvo::bench {
namespace {

constexpr std::chrono::milliseconds kInterval{5};

}  // namespace

SteadyQueries::SteadyQueries(const ExtensionSession& session, const std::string& folder,
                             const std::string& names)
    : thread_([this, &session, folder, names] { Run(session, folder, names); }) {}

SteadyQueries::~SteadyQueries() {
  stop_ = true;
  thread_.join();
}

void SteadyQueries::Run(const ExtensionSession& session, const std::string& folder,
                        const std::string& names) {
  std::string reason;
  const GObjectPtr<GDBusConnection> bus = OpenSessionBus(&reason);
  Require(bus != nullptr, reason);
  while (!stop_) {
    const auto start = std::chrono::steady_clock::now();
    session.Call(bus.get(), "RequestBadges",
                 g_variant_new("(@ay@ay)", Bytes(folder), Bytes(names)));
    const auto took = std::chrono::steady_clock::now() - start;
    longest_ = std::max<std::int64_t>(longest_, took / std::chrono::nanoseconds(1));
    ++answers_;
    std::this_thread::sleep_until(start + kInterval);
  }
}

}  // namespace kelvo::bench
