#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "hosts/client/item_descriptions.h"
#include "hosts/client/watched_directories.h"
#include "platform/clock.h"

namespace kelvo {

// A badge as it travels on the bus: the ASCII digit of its identifier.
using BadgeByte = char;
inline constexpr BadgeByte kNoBadge = '0';

// What a file manager's process knows of badges, folder by folder: answers at once, asks the
// extension in the background, and tells the file manager which items to draw again.
//
// A folder is shown while the file manager holds one of its items, and for kLinger after it last
// asked for one; shown folders below a watched one are observed. A folder that is shown no longer
// is forgotten, with its items.
//
// Some file managers keep the objects of every file that they ever showed. Hence of the folders
// that were not asked for lately only kMaxIdle stay observed: the others are put to rest, and the
// file manager is told to ask for their items again, which wakes those that are still in sight.
//
// When the extension goes, its badges stay for kGrace, so that one that is started again does not
// make them flicker; what a returned one has not confirmed by 2 * kGrace goes as well.
//
// With each badge goes a description, asked for right behind it and again when the badge changes
// or the extension says that the words have. One call for badges and one for descriptions at most
// are under way for a folder. No badge waits for a description.
//
// Threads: the file manager's main thread only.
// Lifetime: as long as any item is held; in a file manager for ever.
class BadgeStore {
 public:
  static constexpr std::chrono::milliseconds kLinger{60'000};
  static constexpr std::chrono::milliseconds kGrace{10'000};
  static constexpr std::chrono::milliseconds kFirstRetry{7'000};
  static constexpr std::chrono::milliseconds kLastRetry{60'000};
  // Between two calls of a folder, so that a file manager that asks for file after file while it
  // loads a large folder does not make hundreds of small ones.
  static constexpr std::chrono::milliseconds kPace{20};
  static constexpr std::size_t kNamesPerRequest = 4096;
  static constexpr std::size_t kTellsPerTurn = 256;  // more at once would be felt as a stall
  static constexpr std::size_t kMaxItems = 500'000;
  static constexpr std::size_t kMaxIdle = 64;

  struct Item;
  struct Answer {
    BadgeByte badge = kNoBadge;
    // Null for what the store does not keep; valid until Work unless retained.
    Item* item = nullptr;
    // Never null; valid until Work. A retained item's may be another one after that.
    const ItemDescription* description = &NoDescription();
  };

  // What the store has others do. Called from Work alone, WorkSoon and WorkAfter from anywhere.
  class Surroundings {
   public:
    virtual void BeginObserving(const std::string& folder) = 0;
    virtual void EndObserving(const std::string& folder) = 0;
    // `names`: each followed by a zero byte. OnAnswer must follow, unless the extension goes.
    virtual void RequestBadges(const std::string& folder, const std::string& names,
                               std::uint64_t ticket) = 0;
    // The same for descriptions: OnDescribed or CannotDescribe must follow.
    virtual void DescribeItems(const std::string& folder, const std::string& names,
                               std::uint64_t ticket) = 0;
    // The file manager is to ask for the item again; it may do so from inside this call.
    virtual void BadgeChanged(const std::string& folder, const std::string& name) = 0;
    // Have Work called once: when the main loop is idle, or after the delay, which replaces any
    // former one.
    virtual void WorkSoon() = 0;
    virtual void WorkAfter(std::chrono::milliseconds delay) = 0;

   protected:
    ~Surroundings() = default;
  };

  BadgeStore(const Clock& clock, Surroundings& surroundings);
  ~BadgeStore();
  BadgeStore(const BadgeStore&) = delete;
  BadgeStore& operator=(const BadgeStore&) = delete;

  // From the file manager. `path`: absolute, no trailing slash; anything else has no badge.
  // Never calls out but for WorkSoon and WorkAfter; a repeat allocates nothing.
  Answer Lookup(std::string_view path);
  // The file manager has an object of the item, until as many Release.
  void Retain(Item* item);
  void Release(Item* item);

  // From the extension, in the order in which its messages arrived.
  void ExtensionAppeared(const std::vector<std::string>& directories);
  void ExtensionVanished();
  void AgentConnected();
  void SetDirectories(const std::vector<std::string>& directories);
  // `badges`: one byte for each name that was asked for; nullopt when the call failed.
  void OnAnswer(const std::string& folder, std::uint64_t ticket,
                std::optional<std::string_view> badges);
  // `entries`: badge byte, name, zero byte, repeated; what is cut off at the end is ignored.
  void OnBadgesChanged(std::string_view folder, std::string_view entries);
  // `answer`: null when the call failed; one that does not fit the names counts as that.
  void OnDescribed(const std::string& folder, std::uint64_t ticket, const DescribedItems* answer);
  // The extension is too old to describe anything: it is not asked again.
  void CannotDescribe();
  // `names`: each followed by a zero byte, what is cut off at the end is ignored; empty for all.
  void OnDescriptionsChanged(std::string_view folder, std::string_view names);
  // Badges look different now: every item that has one is to be drawn again.
  void TellAll();

  // Does what is due. Called as Surroundings were told.
  void Work();
  // Whether there is anything to ask an extension about.
  bool HasFolders() const { return !folders_.empty(); }

 private:
  struct Folder;
  using Milliseconds = std::chrono::milliseconds;
  static constexpr Milliseconds kNever = Milliseconds::max();
  using Folders =
      std::unordered_map<std::string, std::unique_ptr<Folder>, PathHash, std::equal_to<>>;

  Folder* FindOrAdd(std::string_view path);
  bool InScope(const Folder& folder, std::string_view name) const;
  void Rescope(Folder& folder);
  void AskAgain(Folder& folder);
  void StopAsking(Folder& folder);
  void Enqueue(Item& item);
  void SetBadge(Item& item, BadgeByte badge);
  void MarkChanged(Item& item);
  void NoteAnswered(Folder& folder);
  void EnqueueDescription(Item& item);
  void SetDescription(Item& item, DescriptionPool::Ptr description);
  void StopDescribing(Folder& folder);

  void DropUnshown();
  void RestSurplus();
  void Rest(Folder& folder);
  void Wake(Folder& folder);
  void SweepItems(Folder& folder);
  void EndGrace();
  void Serve(Folder& folder);
  void SendNext(Folder& folder);
  void DescribeNext(Folder& folder);
  std::string TakeNames(Folder& folder, std::vector<Item*>& queue, std::vector<Item*>& asked,
                        bool Item::*waits);
  void TellSome();
  void Schedule();
  void WorkBy(Milliseconds due);
  Milliseconds GraceEnd() const;

  const Clock& clock_;
  Surroundings& surroundings_;
  Folders folders_;
  Folder* lastFolder_ = nullptr;  // that was looked into; most look-ups repeat it
  WatchedDirectories directories_;
  DescriptionPool descriptions_;
  std::vector<Item*> changed_;  // to be told, oldest first
  std::size_t itemCount_ = 0;
  std::uint64_t lastTicket_ = 0;
  bool present_ = false;
  bool describes_ = false;  // as far as is known of the extension that is present
  std::optional<Milliseconds> staleSince_;
  Milliseconds nextWork_;
};

}  // namespace kelvo
