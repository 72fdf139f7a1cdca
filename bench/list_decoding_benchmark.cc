// Records of a status list per second: the decoder, and the plain istream way as its baseline.
#include <benchmark/benchmark.h>

#include <memory>
#include <sstream>
#include <string>

#include "agent/sync_status_list_response.h"
#include "bench/istream_decoder.h"
#include "tests/support/agent_text.h"

namespace kelvo {
namespace {

constexpr int kRecords = 100'000;

// A large folder as an Agent lists it: names of usual length, every eighth file locked.
const std::shared_ptr<const std::string>& List() {
  static const auto* const list = [] {
    std::string text = test::NumberText(kRecords);
    for (int i = 0; i < kRecords; ++i) {
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
    return new std::shared_ptr<const std::string>(
        std::make_shared<const std::string>(std::move(text)));
  }();
  return *list;
}

void SetCounters(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * kRecords);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(List()->size()));
}

void DecodeWithIstream(benchmark::State& state) {
  const std::string& list = *List();
  for ([[maybe_unused]] auto _ : state) {
    std::istringstream stream(list);
    IstreamDecoder decoder(&stream);
    unsigned long count = 0;
    int records = 0;
    SSyncApiItemStatus item;
    if (decoder.Read(count)) {
      while (count-- > 0 && ReadRecord(decoder, item)) ++records;
    }
    if (records != kRecords) state.SkipWithError("the list did not decode");
    benchmark::DoNotOptimize(item.itemId);
  }
  SetCounters(state);
}
BENCHMARK(DecodeWithIstream)->Unit(benchmark::kMillisecond);

void DecodeWithResponse(benchmark::State& state) {
  const auto& list = List();
  for ([[maybe_unused]] auto _ : state) {
    CSyncStatusListResponse response(nullptr, "/folder", list);
    int records = 0;
    while (response.Next()) ++records;
    if (records != kRecords) state.SkipWithError("the list did not decode");
    benchmark::DoNotOptimize(response.ItemId());
  }
  SetCounters(state);
}
BENCHMARK(DecodeWithResponse)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvo
