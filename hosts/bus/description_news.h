#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "agent/sync_status_list_response.h"
#include "base/mutex.h"
#include "hosts/bus/name_table.h"
#include "platform/clock.h"
#include "platform/run_loop.h"
#include "ui/item_words.h"

namespace kelvo {

// Tells clients of the bus to ask for descriptions again: for the folders that one of them has
// asked about, when the Agent has said something new there.
//
// What was told last of each item is kept as a number, so that news of an item, or a folder's list,
// which changes no word costs no signal; a list is compared some names at a time, lest it hold up
// the loop. When items that had words are not in the list, the whole folder is signalled. Where too
// much was asked for to be kept, or clients were told different words, all news is signalled.
// New words with the same 64 bits of hash as the former ones would be missed: one change in 10^19.
// Folders and names have the forms of hosts/bus/bus_paths.h. Threads: any.
// Order: whatever a reply does not contain is signalled after it.
// Lifetime: outlives the loop's turning.
class DescriptionNews {
 public:
  static constexpr std::chrono::milliseconds kSignalInterval{500};  // of one folder
  // In one signal; more are told as the whole folder.
  static constexpr std::size_t kMaxNames = 4096;
  static constexpr std::size_t kMaxNameBytes = std::size_t{1} << 20;
  // Beyond it a client is told no more of the folder that it has asked about the longest ago.
  static constexpr std::size_t kFoldersPerClient = 4096;
  static constexpr std::size_t kMaxTold = 2'000'000;  // items in all folders, of 18 to 23 bytes

  // What is known of the items, without asking anybody. Both functions are called with the lock
  // held: they must not block, nor call back.
  using Reader = std::function<WordsOfItems(const std::string& folder,
                                            const std::vector<std::string_view>& names)>;
  // `names`: each followed by a zero byte; empty for the whole folder.
  using Signaller = std::function<void(const std::string& folder, const std::string& names)>;
  using Reply = std::function<void(const WordsOfItems& items)>;
  // Gets the directory in the form of SplitPath: empty for "/".
  using FolderPredicate = std::function<bool(const std::string& directory)>;

  DescriptionNews(RunLoop& runLoop, const Clock& clock, Reader reader, Signaller signaller,
                  std::size_t maxTold = kMaxTold);
  DescriptionNews(const DescriptionNews&) = delete;
  DescriptionNews& operator=(const DescriptionNews&) = delete;

  // A client is asking. Now the items may be read, without a lock, and Answer must follow.
  void Ask(const std::string& client, const std::string& folder);
  // Hands out what was read since Ask; an empty name is that of no item.
  void Answer(const std::string& client, const std::string& folder,
              const std::vector<std::string_view>& names, const WordsOfItems& items,
              const Reply& reply);
  // See FinderSync::Observer::onItemsChanged. Signalled at the end of the loop's turn, or when a
  // list has been compared, which begins a little later, but not within half a second of the
  // folder's last signal.
  void NoteChange(std::string_view path);
  void NoteList(const CSyncStatusListResponse& list);

  // After the last Answer to the client.
  void ClientGone(const std::string& client);
  // The cache has swept: lets go of folders that are of no interest any more.
  void Swept(const FolderPredicate& isOfInterest);

  // How many folders are kept, and how many items of them.
  std::size_t Folders() const;
  std::size_t Told() const;

 private:
  using Print = std::uint64_t;  // stands for words; 0 for none at all
  // Stands for a print within its folder.
  enum Words : std::uint32_t { kDiffers, kNothing, kFirstWords };
  static constexpr std::size_t kMaxWords = 65'536;  // with more, the whole folder is news
  static constexpr int kMostStarts = 4;

  struct ToldWords {
    std::uint32_t words : 24;  // kDiffers: clients may have been told different ones
    std::uint32_t round : 8;   // of its folder, when it was told or found in the list last
  };

  // A bounded set of names.
  struct Names {
    void Add(std::string_view name);
    void AddAll();
    void Add(const Names& other);
    bool IsEmpty() const { return !all && names.empty(); }

    std::set<std::string, std::less<>> names;
    std::size_t bytes = 0;
    bool all = false;
  };
  // A list that is compared with what was told. Items that it does not have are unknown now.
  struct Comparison {
    CSyncStatusListResponse list;
    CSyncStatusListResponse rest;
    bool isOver = false;
    bool isOwed = false;  // to those whose answers are under way: their items may not be told yet
  };
  struct Folder {
    std::map<std::string, std::uint64_t> clients;  // when each asked last
    NameTable<ToldWords> told;
    std::unordered_map<Print, Words> words;
    bool isPlain = false;                    // nothing is kept in `told`
    std::size_t known = 0;                   // of `told`: with words, or kDiffers
    std::size_t missing = 0;                 // of these, from another round
    std::uint8_t round = 0;                  // of comparing a list
    std::unique_ptr<Comparison> comparison;  // also when over, while an answer is under way
    bool begun = false;                      // the comparison, and is not over
    int starts = 0;                          // of others in its place since one came to its end
    Names pending;                           // for the next signal
    Names sinceAsked;                        // while an answer is under way
    int answering = 0;                       // calls between Ask and Answer
    bool flushScheduled = false;
    std::optional<std::chrono::milliseconds> lastSignal;
  };
  using FolderMap = std::map<std::string, Folder, std::less<>>;

  static std::vector<Print> PrintsOf(const WordsOfItems& items);
  static std::vector<Words> WordsOf(Folder& folder, const std::vector<Print>& prints);
  static void SetTold(Folder& folder, ToldWords& told, Words words, std::uint8_t round);
  static void StartComparing(Folder& folder);
  void Note(const std::string& path, Folder& folder, const Names& news) KELVO_REQUIRES(mutex_);
  bool CompareSome(const std::string& path, Folder& folder) KELVO_REQUIRES(mutex_);
  void ItemsAnswered(const std::string& path, Folder& folder) KELVO_REQUIRES(mutex_);
  void Schedule(const std::string& path, Folder& folder, std::chrono::milliseconds delay = {})
      KELVO_REQUIRES(mutex_);
  void Flush(const std::string& path);
  std::string NamesToTell(const std::string& path, Folder& folder) KELVO_REQUIRES(mutex_);
  void KeepTold(Folder& folder, std::string_view name, Words words) KELVO_REQUIRES(mutex_);
  void ForgetTold(Folder& folder) KELVO_REQUIRES(mutex_);
  void MakeRoomFor(const std::string& client) KELVO_REQUIRES(mutex_);
  FolderMap::iterator DropIfAbandoned(FolderMap::iterator folder) KELVO_REQUIRES(mutex_);

  RunLoop& runLoop_;
  const Clock& clock_;
  const Reader reader_;
  const Signaller signaller_;
  const std::size_t maxTold_;
  mutable CMutex mutex_{kMutexNormal};
  FolderMap folders_ KELVO_GUARDED_BY(mutex_);
  std::map<std::string, std::size_t> foldersOf_ KELVO_GUARDED_BY(mutex_);  // by client
  std::uint64_t asked_ KELVO_GUARDED_BY(mutex_) = 0;
  std::size_t toldItems_ KELVO_GUARDED_BY(mutex_) = 0;
};

}  // namespace kelvo
