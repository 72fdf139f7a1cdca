// What cached items cost in private memory, each case in a process of its own: a folder against the
// ordered map of records, a million items in one folder and in many, and what is left of them when
// they have expired.
//
// With the name of a case as its argument the program measures that and prints bytes; without, it
// runs itself for every case and tells the goals.
#include <malloc.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <string>

#include "bench/cache_lists.h"
#include "bench/goal.h"
#include "bench/ordered_map_folder.h"
#include "cache/sync_cache.h"
#include "tests/support/started_extension.h"

namespace kelvo::bench {
namespace {

constexpr int kLarge = 100'000;
constexpr int kMillion = 1'000'000;

double PrivateDirtyBytes() {
  std::ifstream file("/proc/self/smaps_rollup");
  std::string word;
  while (file >> word) {
    double kilobytes = 0;
    if (word == "Private_Dirty:" && file >> kilobytes) return kilobytes * 1024;
  }
  return 0;
}

// Without what making the lists has left behind.
double SettledBytes() {
  ::malloc_trim(0);
  return PrivateDirtyBytes();
}

double MapBytes() {
  const double before = SettledBytes();
  OrderedMapFolder folder;
  CSyncStatusListResponse response(nullptr, "/w", ListOf(kLarge));
  while (response.Next()) {
    folder.items.insert_or_assign(
        std::string(response.Name()),
        CSyncCacheItem{std::string(response.FileId()), response.ItemId(),
                       DeriveBadgeStatus(response.Status(), response.Lock(), response.Denied()),
                       response.Lock(), response.LockTime(), std::string(response.LockHolder()),
                       std::string(response.ModifiedBy()), response.Permissions(),
                       response.Denied(), response.Folder()});
  }
  const double textBytes = static_cast<double>(response.Text()->size());
  return SettledBytes() - before - textBytes;  // nobody keeps the text
}

double FolderBytes() {
  const double before = SettledBytes();
  CSyncStatusListResponse response(nullptr, "/w", ListOf(kLarge));
  const SyncCacheItems items = PrepareList(response).items;
  return SettledBytes() - before;
}

// The cache of a whole extension.
class Million : public test::StartedExtension {
 public:
  void Fill(int folders) {
    const int each = kMillion / folders;
    for (int i = 0; i < folders; ++i) {
      const std::string folder = "/home/alice/Workplace/Projects/" + std::to_string(i);
      CSyncStatusListResponse response(nullptr, folder, ListOf(each));
      (void)cache().StoreList(PrepareList(response));
    }
  }
  // The sweep comes every ten minutes, and 15 minutes must have passed.
  void Expire() { fake_.runLoop.Advance(std::chrono::seconds(1201)); }

 private:
  void TestBody() override {}
};

double MillionBytes(int folders) {
  Million extension;
  const double before = SettledBytes();
  extension.Fill(folders);
  return SettledBytes() - before;
}

double ExpiredBytes(int folders) {
  Million extension;
  const double before = SettledBytes();
  extension.Fill(folders);
  extension.Expire();
  return PrivateDirtyBytes() - before;  // nothing but the sweep gives back
}

double Measure(const std::string& name) {
  if (name == "map") return MapBytes();
  if (name == "folder") return FolderBytes();
  if (name == "million") return MillionBytes(1);
  if (name == "million-in-1000-folders") return MillionBytes(1000);
  if (name == "expired") return ExpiredBytes(1);
  if (name == "expired-in-1000-folders") return ExpiredBytes(1000);
  return 0;
}

double MeasureInNewProcess(const std::string& program, const std::string& name) {
  FILE* pipe = ::popen(("'" + program + "' " + name).c_str(), "r");
  double bytes = 0;
  if (pipe == nullptr || std::fscanf(pipe, "%lf", &bytes) != 1) std::exit(1);
  ::pclose(pipe);
  std::printf("%-28s %14.0f bytes\n", name.c_str(), bytes);
  return bytes;
}

void Report(const std::string& program) {
  const double map = MeasureInNewProcess(program, "map");
  const double folder = MeasureInNewProcess(program, "folder");
  ReportGoal("folder of 100k items, of the ordered map's memory", Bound::kAtMost, 55,
             100 * folder / map, "%");
  for (const std::string folders : {"", "-in-1000-folders"}) {
    const std::string where = folders.empty() ? "" : ", 1,000 folders";
    ReportGoal("1,000,000 cached items" + where + ", private memory each", Bound::kAtMost, 150,
               MeasureInNewProcess(program, "million" + folders) / kMillion, "bytes");
    ReportGoal("1,000,000 cached items" + where + ", left after expiry", Bound::kAtMost, 1,
               MeasureInNewProcess(program, "expired" + folders) / 1e6, "MB");
  }
}

}  // namespace
}  // namespace kelvo::bench

int main(int argc, char** argv) {
  const std::string argument = argc > 1 ? argv[1] : "";
  const std::string filter = "--benchmark_filter=";
  if (argument.starts_with(filter)) {
    const std::regex wanted(argument.substr(filter.size()));
    if (std::regex_search("cache_memory", wanted)) kelvo::bench::Report(argv[0]);
  } else if (!argument.empty()) {
    std::printf("%.0f\n", kelvo::bench::Measure(argument));
  } else {
    kelvo::bench::Report(argv[0]);
  }
  return 0;
}
