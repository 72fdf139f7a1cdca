#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/selector.h"
#include "ui/menu.h"

namespace kelvo {

struct WordsOfItems;
struct Diagnostics;
class KelvoMenuContext;
class ProjectsList;

struct KeptMenu {
  std::uint32_t serial = 0;
  Menu menu = {};
};

struct ChosenLine {
  enum class State { kReady, kNotStarted, kStale, kDisabled };
  State state = State::kStale;
  Selector action = {};
  std::shared_ptr<KelvoMenuContext> context = {};  // set for kReady alone
};

// What the bus's object asks of the extension. The arguments are checked; the calls of one client
// come one after the other, on worker threads, before the extension has started, too.
class BusCalls {
 public:
  // False when the client observes too much already.
  [[nodiscard]] virtual bool beginObservingDirectory(const std::string& client,
                                                     const std::string& path) = 0;
  virtual void endObservingDirectory(const std::string& client, const std::string& path) = 0;
  // `reply` must be called exactly once; it takes one badge per name and does not block. False, and
  // it is not called, when the client has asked for too many items.
  [[nodiscard]] virtual bool requestBadges(
      const std::string& client, const std::string& folder,
      const std::vector<std::string_view>& names,
      const std::function<void(const std::string& badges)>& reply) = 0;
  // `reply` must be called exactly once; it takes one description per name and does not block.
  // Nothing is asked of the Agent or the disk.
  virtual void describeItems(const std::string& client, const std::string& folder,
                             const std::vector<std::string_view>& names,
                             const std::function<void(const WordsOfItems& items)>& reply) = 0;
  // `use` is called on the main loop, later; not at all when the extension closes before.
  virtual void withProjects(std::function<void(const ProjectsList& projects)> use) = 0;
  // The menu for the items, absolute paths or empty, kept so that it can be chosen from; serial 0
  // and no lines when there is none. Ends early, with none, when the client wants it no more, which
  // `cancelled` tells. May block for a second; one at a time for a client, beside its other calls.
  virtual KeptMenu menuForItems(const std::string& client, std::uint32_t kind,
                                const std::vector<std::string>& items,
                                const std::atomic<bool>& cancelled) = 0;
  // The line of a menu that is still kept for the client. Checks only; performing comes after the
  // reply.
  virtual ChosenLine lineOfMenu(const std::string& client, std::uint32_t serial,
                                std::uint32_t index) = 0;
  // Performs a ready line; may block for some seconds. Beside the client's other calls, also when
  // it has gone.
  virtual void perform(const std::string& client, const ChosenLine& line,
                       const std::string& activationToken) = 0;
  // The client has left the bus; its last call, but for what it has chosen.
  virtual void clientGone(const std::string& client) = 0;
  // Any thread; waits for nothing.
  virtual bool isStarted() const = 0;
  virtual Diagnostics diagnostics() const = 0;

 protected:
  ~BusCalls() = default;
};

}  // namespace kelvo
