// One settings file of usual size: read under its lock, and parsed alone, against libxml2's bare
// parse of the same text.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "settings/properties.h"
#include "settings/property_list_xml.h"

namespace kelvo {
namespace {

constexpr int kKeys = 50;

// An account's file as an Agent writes it: short texts, numbers and flags.
PropertyList::Dictionary UserInfo() {
  PropertyList::Dictionary info;
  for (int i = 0; i < kKeys; ++i) {
    const std::string number = std::to_string(i);
    PropertyList value = "user" + number + "@kelvo.example & Söhne";
    if (i % 3 == 1) value = PropertyList(std::int64_t{1'000'000'007} * i);
    if (i % 3 == 2) value = PropertyList(i % 2 == 0);
    info.emplace("account_setting_" + number, std::move(value));
  }
  return info;
}

const std::string& Text() {
  static const auto* const text = new std::string(WriteXmlPropertyList(UserInfo()).value());
  return *text;
}

void SetCounters(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * kKeys);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(Text().size()));
}

void BareParse(benchmark::State& state) {
  xmlInitParser();
  for ([[maybe_unused]] auto _ : state) {
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
        xmlReadMemory(Text().data(), static_cast<int>(Text().size()), nullptr, nullptr,
                      XML_PARSE_NONET),
        xmlFreeDoc);
    if (document == nullptr) state.SkipWithError("the text did not parse");
  }
  SetCounters(state);
}
BENCHMARK(BareParse);

void ParsePropertyList(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) {
    const auto value = ReadPropertyList(Text(), nullptr);
    if (!value) state.SkipWithError("the text did not parse");
    benchmark::DoNotOptimize(value);
  }
  SetCounters(state);
}
BENCHMARK(ParsePropertyList);

void LoadFile(benchmark::State& state) {
  const std::string path = std::filesystem::temp_directory_path() /
                           ("kelvo-settings-benchmark-" + std::to_string(::getpid()) + ".plist");
  StorePropertiesToFile(path, UserInfo());
  for ([[maybe_unused]] auto _ : state) {
    const auto value = LoadPropertiesFromFile(path);
    if (!value || value->size() != kKeys) state.SkipWithError("the file did not load");
  }
  std::filesystem::remove(path);
  SetCounters(state);
}
BENCHMARK(LoadFile);

}  // namespace
}  // namespace kelvo
