#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

#include "hosts/client/badge_store.h"
#include "platform/clock.h"

namespace kelvo {

// Which items Dolphin shows. It has no objects of files whose end could be heard of, and an item
// that it has asked for once it may show for days without another question. But an item that it
// is told of it asks for at once, from inside the telling, if any of its views has it. Hence what
// was asked for is held in the store until a telling is not answered; and each item that was not
// asked for lately is told of now and then, only to learn whether it is still there.
//
// A view repaints what it is told of, and each has its own picture of an item. Since the store
// counts an item as told when one of them has asked, a badge that only one has seen is told here.
//
// Threads: the main thread only.
class ShownItems {
 public:
  static constexpr std::size_t kBatch = 256;  // more at once would be felt as a stall
  // So long an item that was asked for is taken to be shown.
  static constexpr std::chrono::milliseconds kSure{60'000};
  // In this time every item is doubted once, a batch after the other,
  static constexpr std::chrono::milliseconds kRound{480'000};
  // with such pauses at most.
  static constexpr std::chrono::milliseconds kLongestPause{60'000};

  class Surroundings {
   public:
    virtual void Retain(BadgeStore::Item* item) = 0;
    virtual void Release(BadgeStore::Item* item) = 0;
    // Every view is to ask for the item; one that shows it does so from inside this call.
    virtual void TellViews(const std::string& path) = 0;
    // Have Work called when the main loop is idle, Doubt after the pause.
    virtual void WorkSoon() = 0;
    virtual void DoubtAfter(std::chrono::milliseconds pause) = 0;

   protected:
    ~Surroundings() = default;
  };

  ShownItems(const Clock& clock, Surroundings& surroundings);
  ShownItems(const ShownItems&) = delete;
  ShownItems& operator=(const ShownItems&) = delete;

  // A view has asked for the item and was given the badge. `item`: may be null, never another for
  // the same path while it is held.
  void Asked(std::string_view path, BadgeStore::Item* item, BadgeByte badge);
  // Somebody else was given the badge, which the store will not tell of any more.
  void Noticed(std::string_view path, BadgeByte badge);
  // The store has news of the item.
  void Tell(const std::string& path);

  void Work();
  void Doubt();

  std::size_t size() const { return items_.size(); }

 private:
  struct Held {
    std::string path;
    BadgeStore::Item* item;
    BadgeByte badge;  // that every view was told to ask for
    bool owed = false;
    std::chrono::milliseconds askedAt;
  };
  using HeldItems = std::list<Held>;

  std::chrono::milliseconds Pause() const;
  void Owe(Held& held, BadgeByte badge);
  void Drop(HeldItems::iterator held);

  const Clock& clock_;
  Surroundings& surroundings_;
  HeldItems items_;  // the one that was asked for the longest time ago first
  std::unordered_map<std::string_view, HeldItems::iterator> byPath_;
  std::deque<std::string> owed_;
  const std::string* telling_ = nullptr;
  bool answered_ = false;  // by a view, since the telling began
};

}  // namespace kelvo
