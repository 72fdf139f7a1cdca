#include "bench/bench_file_manager.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "hosts/bus/bus_interface.h"
#include "hosts/client/bus_values.h"

namespace kelvo::bench {
namespace {

std::size_t CountEnds(std::string_view packed) {
  return static_cast<std::size_t>(std::count(packed.begin(), packed.end(), '\0'));
}

std::int64_t Nanoseconds() {
  return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

}  // namespace

BenchFileManager::BenchFileManager(ExtensionSession& session)
    : session_(session), store_(clock_, *this) {
  subscription_ = g_dbus_connection_signal_subscribe(
      session.Bus(), session.Extension().c_str(), kBusInterface, nullptr, kBusPath, nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE, OnSignal, this, nullptr);
  store_.ExtensionAppeared({"/"});
}

BenchFileManager::~BenchFileManager() {
  g_dbus_connection_signal_unsubscribe(session_.Bus(), subscription_);
}

void BenchFileManager::Show(const std::string& folder, const std::vector<std::string>& names) {
  clock_.now += 2 * BadgeStore::kLinger;
  store_.Work();
  const std::size_t held = std::min(names.size(), BadgeStore::kMaxItems);
  for (std::size_t i = 0; i < held; ++i) store_.Lookup(folder + "/" + names[i]);
  for (bool isAnswered = true; isAnswered;) {
    clock_.now += BadgeStore::kPace;
    store_.Work();
    const auto answers = std::exchange(answers_, {});
    for (const auto& answer : answers) answer();
    isAnswered = !answers.empty();
  }
  for (std::size_t i = BadgeStore::kMaxItems; i < names.size();) {
    std::string packed;
    const std::size_t end = std::min(names.size(), i + BadgeStore::kNamesPerRequest);
    for (; i < end; ++i) packed += names[i] + '\0';
    AskForBadges(folder, packed);
  }
}

std::size_t BenchFileManager::BadgesTold(const std::string& folder) const {
  std::size_t count = 0;
  for (const Signal& signal : signals) count += signal.folder == folder ? signal.badges : 0;
  return count;
}

std::int64_t BenchFileManager::HeldAt(const std::string& folder) const {
  std::int64_t last = 0;
  for (const Signal& signal : signals) {
    if (signal.folder == folder) last = std::max(last, signal.heldAt);
  }
  return last;
}

GLibPtr<GVariant> BenchFileManager::Call(const char* method, GVariant* arguments) {
  return session_.Call(session_.Bus(), method, arguments);
}

std::string BenchFileManager::AskForBadges(const std::string& folder, const std::string& names) {
  const auto reply = Call("RequestBadges", g_variant_new("(@ay@ay)", Bytes(folder), Bytes(names)));
  return std::string(BytesOf(Child(reply.get(), 0).get()));
}

void BenchFileManager::BeginObserving(const std::string& folder) {
  Call("BeginObservingDirectory", g_variant_new("(@ay)", Bytes(folder)));
}

void BenchFileManager::EndObserving(const std::string& folder) {
  Call("EndObservingDirectory", g_variant_new("(@ay)", Bytes(folder)));
}

void BenchFileManager::RequestBadges(const std::string& folder, const std::string& names,
                                     std::uint64_t ticket) {
  answers_.push_back([this, folder, ticket, badges = AskForBadges(folder, names)] {
    store_.OnAnswer(folder, ticket, badges);
  });
}

// The words are of no interest here, only that the extension has been asked for them.
void BenchFileManager::DescribeItems(const std::string& folder, const std::string& names,
                                     std::uint64_t ticket) {
  Call("DescribeItems", g_variant_new("(@ay@ay)", Bytes(folder), Bytes(names)));
  answers_.push_back([this, folder, ticket, count = CountEnds(names)] {
    const std::vector<std::uint32_t> which(count, 0);
    const DescribedItems answer{{{}}, which};
    store_.OnDescribed(folder, ticket, &answer);
  });
}

void BenchFileManager::OnSignal(GDBusConnection*, const char*, const char*, const char*,
                                const char* signal, GVariant* parameters, gpointer self) {
  auto* manager = static_cast<BenchFileManager*>(self);
  Signal record{.name = signal};
  if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ayay)"))) {
    const GLibPtr<GVariant> folder = Child(parameters, 0);
    const GLibPtr<GVariant> entries = Child(parameters, 1);
    record.folder = BytesOf(folder.get());
    if (record.name == "BadgesChanged") {
      manager->store_.OnBadgesChanged(record.folder, BytesOf(entries.get()));
      record.heldAt = Nanoseconds();
      record.badges = CountEnds(BytesOf(entries.get()));
    }
  }
  manager->signals.push_back(std::move(record));
}

}  // namespace kelvo::bench
