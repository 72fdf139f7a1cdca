#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/mutex.h"
#include "core/known_item.h"
#include "hosts/bus/client_slots.h"
#include "hosts/bus/name_queue.h"
#include "hosts/bus/told_items.h"
#include "platform/clock.h"
#include "platform/finder_controller.h"
#include "platform/run_loop.h"

namespace kelvo {

// The badge of an identifier as it travels on the bus: its digit, '0' for none.
inline char BadgeOfIdentifier(std::string_view identifier) {
  return identifier.empty() ? '0' : identifier.front();
}

// The badge last told of every item that some client of the bus has asked for, and what of it has
// to be told anew.
//
// Folders and names have the forms of hosts/bus/bus_paths.h; names that no item can have are
// answered '0' and never kept.
// Threads: any. Order: reading a badge, keeping it and handing out the reply or the signal are one
// step for everybody, so no reply overtakes a newer signal.
// Lifetime: outlives the loop's turning.
class BadgeTable {
 public:
  static constexpr std::size_t kMaxSignalBytes = std::size_t{1} << 20;  // folder and entries
  static constexpr std::chrono::milliseconds kSignalInterval{50};       // of one folder
  // What a client may have kept, about: twenty million items in few folders.
  static constexpr std::size_t kMostBytesPerClient = std::size_t{512} << 20;

  // The present identifiers of items, as FinderSync::knownBadgeIdentifiers. All functions are
  // called with the table's lock held: they must not block, nor call back.
  using Identifiers = std::vector<std::optional<std::string>>;
  using Reader =
      std::function<Identifiers(const std::string& directory, const std::vector<KnownItem>& items)>;
  // `entries`: badge, name, zero byte, repeated.
  using Signaller = std::function<void(const std::string& folder, const std::string& entries)>;
  // As FinderSync::badgeChanges.
  using ChangeCounter = std::function<std::uint64_t()>;
  using Reply = std::function<void(const std::string& badges)>;
  // Gets the directory in the form of SplitPath: empty for "/".
  using FolderPredicate = std::function<bool(const std::string& directory)>;

  BadgeTable(RunLoop& runLoop, const Clock& clock, Reader reader, Signaller signaller,
             ChangeCounter changes, std::size_t mostBytesPerClient = kMostBytesPerClient);
  BadgeTable(const BadgeTable&) = delete;
  BadgeTable& operator=(const BadgeTable&) = delete;

  // A client is asking: from now on repaints of these items are its business. Answer must follow;
  // until then a sweep spares the folder. False, and no Answer may follow, when some of them are
  // new and the client has asked for too many already.
  [[nodiscard]] bool Ask(const std::string& client, const std::string& folder,
                         const std::vector<std::string_view>& names);
  // Hands out one badge per name, in order, as known at this moment.
  void Answer(const std::string& client, const std::string& folder,
              const std::vector<std::string_view>& names, const Reply& reply);
  // The items were repainted with these badges. They are signalled if what is known then differs
  // from what was told: at the end of the loop's turn, but not within 50 ms of the folder's last
  // signal. `directory`: empty for "/". `asOf`: what the counter was before the badges were read;
  // while it is the same, they need not be read again. 0: unknown.
  void NoteRepaints(std::string_view directory, std::span<const FinderController::ItemBadge> items,
                    std::uint64_t asOf = 0);

  // Lets go of the items that nobody else has asked for. After the last Answer to the client.
  void ClientGone(const std::string& client);
  // The cache has swept: lets go of folders that are of no interest any more. Not to be called
  // while the channel to the Agent is down, as all items are still owed a badge when it is back.
  void Swept(const FolderPredicate& isOfInterest);

  // How many items are kept.
  std::size_t Size() const;

 private:
  using Item = ToldItems::Item;
  struct NamedItem {
    std::string_view name;
    Item* item;
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>{}(text);
    }
  };
  template <typename Value>
  using Map = std::unordered_map<std::string, Value, Hash, std::equal_to<>>;

  struct Folder {
    ToldItems items;
    std::map<ClientSlots::Bits, std::size_t> bytesOf;  // by who has asked for it first
    NameQueue pending;                                 // names to be looked at for the next signals
    std::uint64_t asOf = 0;  // of the badges noted for all of these; 0 where one is not known
    std::size_t due = 0;     // so many of them for those that are being sent
    int answering = 0;       // calls between Ask and Answer
    bool flushScheduled = false;
    std::optional<std::chrono::milliseconds> lastSignal;
  };

  // Whether the client may ask for these items.
  bool MayAsk(ClientSlots::Bits client, const std::string& folder,
              const std::vector<std::string_view>& names) KELVO_REQUIRES(mutex_);
  // Of folders that no answer is under way for, those that `isUnwanted(path, folder)` names.
  template <typename Predicate>
  void LetGoOf(Predicate isUnwanted) KELVO_REQUIRES(mutex_);
  // The folder is about to be let go.
  void GiveBack(const Folder& folder) KELVO_REQUIRES(mutex_);
  // `noted`: read when the counter was `asOf`.
  void AddPending(const std::string& path, Folder& folder, const NamedItem& item, char noted,
                  std::uint64_t asOf) KELVO_REQUIRES(mutex_);
  std::string NewestOf(const std::string& path, const Folder& folder,
                       const std::vector<NamedItem>& items) const KELVO_REQUIRES(mutex_);
  // Writes the badges of these names.
  void AnswerSome(const std::string& path, Folder& folder, std::span<const std::string_view> names,
                  ClientSlots::Bits client, char* badges) KELVO_REQUIRES(mutex_);
  // What is known of the items; of those about which it is nothing for sure, what they have been
  // told to be.
  std::string Read(const std::string& path, const std::vector<NamedItem>& items) const
      KELVO_REQUIRES(mutex_);
  void Tell(const std::string& path, Folder& folder, const NamedItem& item, char badge,
            ClientSlots::Bits client) KELVO_REQUIRES(mutex_);
  void Flush(const std::string& path);
  void Signal(const std::string& path, Folder& folder) KELVO_REQUIRES(mutex_);

  RunLoop& runLoop_;
  const Clock& clock_;
  const Reader reader_;
  const Signaller signaller_;
  const ChangeCounter changes_;
  const std::size_t mostBytesPerClient_;
  mutable CMutex mutex_{kMutexNormal};
  ClientSlots slots_ KELVO_GUARDED_BY(mutex_);
  Map<Folder> folders_ KELVO_GUARDED_BY(mutex_);
  std::map<ClientSlots::Bits, std::size_t> bytesOf_ KELVO_GUARDED_BY(mutex_);  // in all folders
};

}  // namespace kelvo
