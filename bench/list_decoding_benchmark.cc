// A folder's list text decoded: the walk that hands out views, and the decoder over a stream with
// strings of one's own; against plain formatted extraction and against copying the text.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "agent/sync_api.h"
#include "agent/sync_status_list_response.h"
#include "agent/text_decoder.h"
#include "base/notification_center.h"
#include "bench/allocations.h"
#include "bench/goal.h"
#include "bench/istream_decoder.h"
#include "core/finder_configuration.h"
#include "tests/support/agent_text.h"
#include "tests/support/fake_platform.h"
#include "tests/support/list_text_agreement.h"

namespace kelvo {
namespace {

using bench::Allocations;
using bench::AllocationsSoFar;
using bench::Bound;

constexpr int kManyClients = 9;

// A large folder as an Agent lists it: names of usual length, every eighth file locked.
const std::shared_ptr<const std::string>& List(std::int64_t records) {
  static auto& lists = *new std::map<std::int64_t, std::shared_ptr<const std::string>>;
  std::shared_ptr<const std::string>& list = lists[records];
  if (list != nullptr) return list;
  std::string text = test::NumberText(records);
  for (int i = 0; i < records; ++i) {
    const std::string number = std::to_string(i);
    test::ListRecord record;
    record.name = "Quarterly report " + number + ".docx";
    record.type = i % 10 == 0 ? 2 : 1;
    record.status = i % 4;
    record.modifiedBy = "user" + std::to_string(i % 50) + "@kelvo.example";
    record.fileId = "F" + number;
    record.itemId = 1'000'000'000LL + i;
    record.lock = i % 8 == 0 ? 1 : 0;
    record.lockHolder = "Alice Example";
    record.lockTime = 1'474'634'018 + i;
    text += test::RecordText(record);
  }
  list = std::make_shared<const std::string>(std::move(text));
  return list;
}

const CFinderConfiguration& Configuration() {
  static const auto* const configuration = [] {
    auto* loaded = new CFinderConfiguration({{"full_name", PropertyList("user7@kelvo.example")}});
    loaded->Load();
    return loaded;
  }();
  return *configuration;
}

void SetCounters(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(List(state.range(0))->size()));
}

void CopyText(benchmark::State& state) {
  const std::string& list = *List(state.range(0));
  std::vector<char> copy(list.size());
  for ([[maybe_unused]] auto _ : state) {
    std::memcpy(copy.data(), list.data(), list.size());
    benchmark::ClobberMemory();
  }
  SetCounters(state);
}

void DecodeWithIstream(benchmark::State& state) {
  std::istringstream stream(*List(state.range(0)));
  for ([[maybe_unused]] auto _ : state) {
    stream.clear();
    stream.seekg(0);
    IstreamDecoder decoder(&stream);
    unsigned long count = 0;
    int records = 0;
    SSyncApiItemStatus item;
    if (decoder.Read(count)) {
      while (count-- > 0 && ReadRecord(decoder, item)) ++records;
    }
    if (records != state.range(0)) state.SkipWithError("the list did not decode");
    benchmark::DoNotOptimize(item.itemId);
  }
  SetCounters(state);
}

void ReadRecord(CTextDecoder& decoder, SSyncApiItemStatus& item) {
  int type;
  long long itemId;
  decoder >> item.path >> type >> item.status >> item.permissions >> item.denied >>
      item.modifiedBy >> item.fileId >> itemId >> item.lock;
  item.itemId = itemId;
  item.folder = type == 2;
  if (item.lock == sync::ESyncItemLock::NO_SYNC_LOCK) return;
  long lockTime;
  decoder >> item.lockHolder >> lockTime;
  item.lockTime = lockTime;
}

void DecodeOverStream(benchmark::State& state) {
  std::istringstream stream(*List(state.range(0)));
  for ([[maybe_unused]] auto _ : state) {
    stream.clear();
    stream.seekg(0);
    CTextDecoder decoder(&stream);
    unsigned long count = 0;
    SSyncApiItemStatus item;
    decoder >> count;
    while (count-- > 0) ReadRecord(decoder, item);
    benchmark::DoNotOptimize(item.itemId);
  }
  SetCounters(state);
}

void WalkViews(benchmark::State& state) {
  const auto& list = List(state.range(0));
  Allocations taken;
  for ([[maybe_unused]] auto _ : state) {
    CSyncStatusListResponse response(&Configuration(), "/folder", list);
    int records = 0;
    response.Next();  // it asks for the user's name
    const Allocations before = AllocationsSoFar();
    do {
      benchmark::DoNotOptimize(response.Name().data());
      ++records;
    } while (response.Next());
    taken = AllocationsSoFar() - before;
    if (records != state.range(0)) state.SkipWithError("the list did not decode");
  }
  state.counters["allocations"] = static_cast<double>(taken.count);
  SetCounters(state);
}

// A length that lies, in memory and over a stream that does not know its end.
void RefuseTwoGigabytes(benchmark::State& state) {
  const std::string text = "1:2147483648:" + std::string(1000, 'x');
  const auto list = std::make_shared<const std::string>(text);
  Allocations taken;
  for ([[maybe_unused]] auto _ : state) {
    const Allocations before = AllocationsSoFar();
    CSyncStatusListResponse response(&Configuration(), "/folder", list);
    response.Next();
    test::TrickleBuffer trickle(text, 100);
    std::istream stream(&trickle);
    CTextDecoder decoder(&stream);
    std::string name;
    unsigned long count;
    bool refused = false;
    try {
      decoder >> count >> name;
    } catch (const CTextDecodingException&) {
      refused = true;
    }
    taken = AllocationsSoFar() - before;
    if (!refused || response.Next()) state.SkipWithError("it was taken");
  }
  state.counters["bytes"] = static_cast<double>(taken.bytes);
}

class WalkingClient : public CSyncApiClient {
 public:
  void OnSyncStatusListResponse(CSyncStatusListResponse& response) override {
    while (response.Next()) benchmark::DoNotOptimize(response.Name().data());
  }
};

// The event as it comes out of the channel, to so many clients.
void TellClients(benchmark::State& state) {
  const auto& list = List(100'000);
  test::FakeClock clock;
  test::FakeRunLoop runLoop(clock);
  test::FakeBackgroundQueue queue;
  CSyncApi api(runLoop, queue);
  api.Initialize(&Configuration());
  WalkingClient client;
  for (int i = 0; i < state.range(0); ++i) api.AddClient(&client);
  const PropertyList::Dictionary event = {{"event_name", PropertyList("sync_status_list")},
                                          {"path", PropertyList("/folder")},
                                          {"list", PropertyList(list)}};
  Allocations taken;
  for ([[maybe_unused]] auto _ : state) {
    const Allocations before = AllocationsSoFar();
    NotificationCenter::LocalCenter().Post(kAgentEventName, kNotificationObject, event);
    taken = AllocationsSoFar() - before;
  }
  state.counters["bytes"] = static_cast<double>(taken.bytes);
}

void FuzzedTexts(benchmark::State& state) {
  constexpr int kTexts = 1'000'000;
  test::ListTextFuzz fuzz(7);
  int differences = 0;
  for ([[maybe_unused]] auto _ : state) {
    for (int i = 0; i < kTexts; ++i) {
      const std::string difference = fuzz.Step();
      if (!difference.empty() && ++differences < 10) std::printf("%s\n", difference.c_str());
    }
  }
  state.counters["differences"] = differences;
}

BENCHMARK(CopyText)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeWithIstream)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeOverStream)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(WalkViews)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(RefuseTwoGigabytes)->Unit(benchmark::kMillisecond);
BENCHMARK(TellClients)->Arg(1)->Arg(kManyClients)->Unit(benchmark::kMillisecond);
// Once: the texts are always the same.
BENCHMARK(FuzzedTexts)->Iterations(1)->Repetitions(1)->Unit(benchmark::kSecond);

void ReportSize(const bench::Runs& runs, const std::string& size, const std::string& told) {
  const std::string list = "list decoding, " + told + " records";
  bench::ReportGoal(list + ", views, against a stream", Bound::kAtLeast, 12,
                    runs.Ratio("DecodeWithIstream/" + size, "WalkViews/" + size), "x");
  bench::ReportGoal(list + ", views, in copies of the text", Bound::kAtMost, 8,
                    runs.Ratio("WalkViews/" + size, "CopyText/" + size), "x");
  bench::ReportGoal(list + ", views, allocations", Bound::kAtMost, 0,
                    runs.Largest("WalkViews/" + size, "allocations"), "");
  bench::ReportGoal(list + ", stream decoder with own strings", Bound::kAtLeast, 4,
                    runs.Ratio("DecodeWithIstream/" + size, "DecodeOverStream/" + size), "x");
}

void Report(const bench::Runs& runs) {
  ReportSize(runs, "100000", "100k");
  ReportSize(runs, "1000000", "1M");
  const auto one = runs.Counter("TellClients/1", "bytes");
  const auto many = runs.Counter("TellClients/" + std::to_string(kManyClients), "bytes");
  std::optional<double> further;
  if (one && many) further = *many - *one;
  bench::ReportGoal("list decoding, bytes taken for each further client", Bound::kAtMost, 1000,
                    bench::Quotient(further, kManyClients - 1), "bytes");
  const std::string refusal = "RefuseTwoGigabytes";
  bench::ReportGoal("a 2 GB length prefix, refused in", Bound::kAtMost, 1,
                    bench::Quotient(runs.RealNanoseconds(refusal), 1e6), "ms");
  bench::ReportGoal("a 2 GB length prefix, memory taken", Bound::kAtMost, 1,
                    bench::Quotient(runs.Largest(refusal, "bytes"), 1e6), "MB");
  bench::ReportGoal("decoders, differences about 1,000,000 fuzzed texts", Bound::kAtMost, 0,
                    runs.Largest("FuzzedTexts", "differences"), "");
}

}  // namespace
}  // namespace kelvo

int main(int argc, char** argv) { return kelvo::bench::RunWithGoals(argc, argv, kelvo::Report); }
