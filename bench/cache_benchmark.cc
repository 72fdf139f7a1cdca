// What the cache does with a folder: building it from a list, look-ups, a rename, a reload. Each
// against the ordered map of records.
#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "bench/cache_lists.h"
#include "bench/goal.h"
#include "bench/ordered_map_folder.h"
#include "cache/sync_cache.h"
#include "platform/posix/system_clock.h"
#include "tests/support/started_extension.h"

namespace kelvo::bench {
namespace {

constexpr int kLarge = 100'000;
constexpr int kSmall = 1'000;
constexpr int kFolders = 50'000;
constexpr int kRenamed = 512;
constexpr int kReloads = 16;
const char kFolder[] = "/home/alice/Workplace/Reports";

using Record = std::pair<std::string_view, SyncCacheItemView>;

// Decoded before the clock runs.
struct DecodedList {
  explicit DecodedList(int count) : text(ListOf(count)) {
    CSyncStatusListResponse response(nullptr, kFolder, text);
    while (response.Next()) {
      records.push_back(
          {response.Name(),
           {response.FileId(), response.ItemId(),
            DeriveBadgeStatus(response.Status(), response.Lock(), response.Denied()),
            response.Lock(), response.LockTime(), response.LockHolder(), response.ModifiedBy(),
            response.Permissions(), response.Denied(), response.Folder()}});
    }
  }
  SyncCacheItems Build() const {
    SyncCacheItems items(text);
    for (const auto& [name, item] : records) items.Append(name, item);
    items.FinishAppending();
    return items;
  }
  void Build(OrderedMapFolder& folder) const {
    for (const auto& [name, item] : records) {
      folder.items.insert_or_assign(std::string(name), item.As<std::string>());
    }
    folder.valid = true;
  }

  std::shared_ptr<const std::string> text;
  std::vector<Record> records;
};

const DecodedList& Decoded(std::int64_t count) {
  static auto& lists = *new std::map<std::int64_t, DecodedList>;
  return lists.try_emplace(count, static_cast<int>(count)).first->second;
}

// Times the making of something, but not its end.
template <typename Made, typename Make>
void MakeAndForget(benchmark::State& state, Make make) {
  std::optional<Made> made;
  for ([[maybe_unused]] auto _ : state) {
    make(made.emplace());
    state.PauseTiming();
    made.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BuildOrderedMap(benchmark::State& state) {
  const DecodedList& list = Decoded(state.range(0));
  MakeAndForget<OrderedMapFolder>(state, [&list](OrderedMapFolder& folder) { list.Build(folder); });
}
BENCHMARK(BuildOrderedMap)->Arg(kLarge)->Unit(benchmark::kMillisecond);

void BuildFolder(benchmark::State& state) {
  const DecodedList& list = Decoded(state.range(0));
  MakeAndForget<SyncCacheItems>(state, [&list](SyncCacheItems& items) { items = list.Build(); });
}
BENCHMARK(BuildFolder)->Arg(kSmall)->Arg(kLarge)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

// With the names in byte order too, as the map has them.
void BuildSortedFolder(benchmark::State& state) {
  struct Sorted {
    SyncCacheItems items;
    SyncCacheNames names;
  };
  const DecodedList& list = Decoded(state.range(0));
  MakeAndForget<Sorted>(state, [&list](Sorted& sorted) {
    sorted.items = list.Build();
    sorted.names = sorted.items.SortedNames();
  });
}
BENCHMARK(BuildSortedFolder)->Arg(kLarge)->Unit(benchmark::kMillisecond);

// With decoding before too, and an order by item id where a worker makes it: as a list is stored.
void PrepareWholeList(benchmark::State& state) {
  const DecodedList& list = Decoded(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    CSyncStatusListResponse response(nullptr, kFolder, list.text);
    benchmark::DoNotOptimize(PrepareList(response).names.Size());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(PrepareWholeList)
    ->Arg(kSmall)
    ->Arg(kLarge)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond);

// Both caches over the kernel's clocks, with one large folder and, elsewhere, 50,000 small ones.
class Caches : public test::StartedExtension {
  SystemClock clock_;

 public:
  Caches() : ours(fake_.runLoop, clock_), naive(clock_, AskForList) {
    ours.Initialize(nullptr, CSyncApi::m_Instance);
    for (const auto& [name, item] : Decoded(kLarge).records) {
      paths.push_back(std::string(kFolder) + "/" + std::string(name));
    }
    Store(kFolder, Decoded(kLarge).text);
    Decoded(kLarge).Build(naive.Folder(kFolder));
    for (int i = 0; i < kFolders; ++i) StoreLittle(LittleFolder(i));
  }

  static std::string LittleFolder(int i) {
    return "/home/alice/Workplace/Projects/" + std::to_string(i % 500) + "/Deliverables " +
           std::to_string(i);
  }
  void StoreLittle(const std::string& folder) {
    Store(folder, little_);
    naive.Folder(folder).valid = true;
  }
  // How many lists either has asked the Agent for since the last time.
  std::size_t TakeRequests() { return std::exchange(fake_.transport.sent, {}).size(); }

  CSyncCache ours;
  OrderedMapCache naive;
  std::vector<std::string> paths;

 private:
  void TestBody() override {}
  static void AskForList(const std::string& folder) {
    CSyncApi::m_Instance.load()->RequestFolderItems(folder);
  }
  void Store(const std::string& folder, const std::shared_ptr<const std::string>& text) {
    CSyncStatusListResponse response(nullptr, folder, text);
    (void)ours.StoreList(PrepareList(response));
  }

  const std::shared_ptr<const std::string> little_ =
      std::make_shared<const std::string>(test::ListText({{.name = "a"}}));
};

// Never destroyed: the extension keeps pointers to what has joined it.
Caches& Both() {
  static auto& caches = *new Caches;
  return caches;
}

template <typename Cache, typename Read>
void LookUp(benchmark::State& state, Cache Caches::*cache, Read read) {
  Caches& both = Both();
  for ([[maybe_unused]] auto _ : state) {
    for (const std::string& path : both.paths) read(both.*cache, path);
  }
  state.SetItemsProcessed(state.iterations() * kLarge);
}

void NaiveGetStatus(benchmark::State& state) {
  LookUp(state, &Caches::naive, [](OrderedMapCache& cache, const std::string& path) {
    benchmark::DoNotOptimize(cache.GetStatus(path));
  });
}
BENCHMARK(NaiveGetStatus)->Unit(benchmark::kMillisecond);

void GetStatus(benchmark::State& state) {
  LookUp(state, &Caches::ours, [](CSyncCache& cache, const std::string& path) {
    benchmark::DoNotOptimize(cache.GetStatus(path));
  });
}
BENCHMARK(GetStatus)->Unit(benchmark::kMillisecond);

// As repaints ask, which is also in the order of names.
void GetStatusesOfMany(benchmark::State& state) {
  constexpr std::size_t kAtOnce = 1024;
  std::vector<std::string_view> names;
  for (const auto& [name, item] : Decoded(kLarge).records) names.push_back(name);
  std::sort(names.begin(), names.end());
  std::vector<BadgeStatus> statuses(kAtOnce);
  for ([[maybe_unused]] auto _ : state) {
    for (std::span left(names); !left.empty();) {
      const auto some = left.first(std::min(left.size(), kAtOnce));
      Both().ours.GetStatuses(kFolder, some, statuses);
      left = left.subspan(some.size());
    }
  }
  state.SetItemsProcessed(state.iterations() * kLarge);
}
BENCHMARK(GetStatusesOfMany)->Unit(benchmark::kMillisecond);

void NaiveEightFields(benchmark::State& state) {
  LookUp(state, &Caches::naive, [](OrderedMapCache& cache, const std::string& path) {
    benchmark::DoNotOptimize(
        CSyncCacheItem{cache.GetFileId(path), 0, cache.GetStatus(path), cache.GetLockStatus(path),
                       cache.GetLockTime(path), cache.GetLockOwner(path), cache.GetModifiedBy(path),
                       cache.GetPermissions(path), cache.GetDenied(path), false});
  });
}
BENCHMARK(NaiveEightFields)->Unit(benchmark::kMillisecond);

void EightFields(benchmark::State& state) {
  LookUp(state, &Caches::ours, [](CSyncCache& cache, const std::string& path) {
    benchmark::DoNotOptimize(cache.GetItem(path));
  });
}
BENCHMARK(EightFields)->Unit(benchmark::kMillisecond);

// Some items, from all over the folder, under a new name and under the old one again.
struct Renames {
  explicit Renames(std::int64_t count) {
    const std::vector<Record>& records = Decoded(count).records;
    for (std::size_t i = 0; i < kRenamed; ++i) {
      const auto& [name, item] = records[i * records.size() / kRenamed];
      items.push_back(item.As<std::string>());
      names[0].push_back("Report of " + std::string(name));
      names[1].push_back(std::string(name));
    }
  }
  template <typename Rename>
  void Next(Rename rename) {
    rename(names[next / kRenamed][next % kRenamed], items[next % kRenamed]);
    next = (next + 1) % (2 * kRenamed);
  }
  std::vector<CSyncCacheItem> items;
  std::vector<std::string> names[2];
  std::size_t next = 0;
};

void RenameByWalk(benchmark::State& state) {
  OrderedMapFolder folder;
  Decoded(state.range(0)).Build(folder);
  Renames renames(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    renames.Next([&folder](const std::string& name, const CSyncCacheItem& item) {
      folder.Update(name, item);
    });
  }
}
BENCHMARK(RenameByWalk)->Arg(kSmall)->Arg(kLarge);

void Rename(benchmark::State& state) {
  CSyncCacheFolder folder(0);
  folder.items = Decoded(state.range(0)).Build();
  folder.items.OrderByItemId();
  Renames renames(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    renames.Next([&folder](const std::string& name, const CSyncCacheItem& item) {
      folder.Update(item.fileId, item.itemId, name, sync::ESyncItemStatus{}, item.lock,
                    item.lockOwner, item.lockTime, item.modifiedBy, item.permissions, item.denied,
                    item.folder);
    });
  }
}
BENCHMARK(Rename)->Arg(kSmall)->Arg(kLarge);

// What the first rename in a folder costs more than the others.
void FirstRename(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) {
    state.PauseTiming();
    SyncCacheItems items = Decoded(state.range(0)).Build();
    state.ResumeTiming();
    items.OrderByItemId();
  }
}
BENCHMARK(FirstRename)->Arg(kSmall)->Arg(kLarge)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

double ThreadMilliseconds() {
  timespec time{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// Each item in turn has another modifier, every other also another name; lowers `fastest` to what
// each of these changes took.
void ChangeAll(const DecodedList& list, std::vector<double>& fastest) {
  CSyncCacheFolder folder(0);
  folder.items = list.Build();
  folder.items.OrderByItemId();
  for (std::size_t i = 0; i < list.records.size(); ++i) {
    const auto& [known, item] = list.records[i];
    const std::string name = (i % 2 == 0 ? "" : "Copy of ") + std::string(known);
    const double start = ThreadMilliseconds();
    folder.Update(std::string(item.fileId), item.itemId, name, sync::ESyncItemStatus{}, item.lock,
                  std::string(item.lockOwner), item.lockTime, "another@kelvo.example",
                  item.permissions, item.denied, item.folder);
    fastest[i] = std::min(fastest[i], ThreadMilliseconds() - start);
  }
}

// Everybody waits for a change, so the longest counts. A step that grows with the folder comes at
// the same change each time; a pause of the machine, which a virtual one counts as work, does not.
void ChangeOneByOne(benchmark::State& state) {
  const DecodedList& list = Decoded(state.range(0));
  std::vector<double> fastest(list.records.size(), std::numeric_limits<double>::infinity());
  for ([[maybe_unused]] auto _ : state) {
    for (int i = 0; i < 2; ++i) ChangeAll(list, fastest);
  }
  state.counters["longest"] = *std::max_element(fastest.begin(), fastest.end());
}
BENCHMARK(ChangeOneByOne)->Arg(1'000'000)->Iterations(1)->Unit(benchmark::kMillisecond);

// Of items whose folders are cached, so that each reload asks the Agent for one list.
template <typename Cache>
void Reload(benchmark::State& state, Cache Caches::*cache) {
  Caches& both = Both();
  both.TakeRequests();
  for ([[maybe_unused]] auto _ : state) {
    for (int i = 0; i < kReloads; ++i) {
      (both.*cache).RequestReload(Caches::LittleFolder(i * (kFolders / kReloads)) + "/a");
    }
    state.PauseTiming();
    if (both.TakeRequests() != kReloads) state.SkipWithError("a list is not asked for");
    for (int i = 0; i < kReloads; ++i) {
      both.StoreLittle(Caches::LittleFolder(i * (kFolders / kReloads)));
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kReloads);
}
void NaiveReload(benchmark::State& state) { Reload(state, &Caches::naive); }
BENCHMARK(NaiveReload);
void RequestReload(benchmark::State& state) { Reload(state, &Caches::ours); }
BENCHMARK(RequestReload);

void Report(const Runs& runs) {
  const auto ratio = [&runs](const std::string& goal, double wanted, const std::string& slower,
                             const std::string& faster) {
    ReportGoal(goal, Bound::kAtLeast, wanted, runs.Ratio(slower, faster), "x");
  };
  ratio("folder build, 100k items, against the ordered map", 8, "BuildOrderedMap/100000",
        "BuildFolder/100000");
  ratio("folder build, 100k items, sorted for a walk, too", 8, "BuildOrderedMap/100000",
        "BuildSortedFolder/100000");
  ratio("GetStatus in a folder of 100k, against the naive query", 2.5, "NaiveGetStatus",
        "GetStatus");
  ratio("all eight fields in one look-up, against eight naive queries", 4, "NaiveEightFields",
        "EightFields");
  ratio("Update under a new name, 100k items, against the walk", 1000, "RenameByWalk/100000",
        "Rename/100000");
  ReportGoal("Update under a new name, 100k items, against 1k", Bound::kAtMost, 2,
             runs.Ratio("Rename/100000", "Rename/1000"), "x");
  ReportGoal("single changes in a folder of 1,000,000, the longest", Bound::kAtMost, 5,
             runs.Largest("ChangeOneByOne/1000000", "longest"), "ms");
  ratio("RequestReload, 50k folders, against the full walk", 100, "NaiveReload", "RequestReload");
}

}  // namespace
}  // namespace kelvo::bench

int main(int argc, char** argv) {
  return kelvo::bench::RunWithGoals(argc, argv, kelvo::bench::Report);
}
