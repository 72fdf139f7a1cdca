#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo {

class ProjectsList;

// What the bus's object asks of the extension. The arguments are checked; the calls of one client
// come one after the other, on worker threads, before the extension has started, too.
class BusCalls {
 public:
  virtual void beginObservingDirectory(const std::string& client, const std::string& path) = 0;
  virtual void endObservingDirectory(const std::string& client, const std::string& path) = 0;
  // `reply` must be called exactly once; it takes one badge per name and does not block.
  virtual void requestBadges(const std::string& client, const std::string& folder,
                             const std::vector<std::string_view>& names,
                             const std::function<void(const std::string& badges)>& reply) = 0;
  // `use` is called on the main loop, later; not at all when the extension closes before.
  virtual void withProjects(std::function<void(const ProjectsList& projects)> use) = 0;
  // The client has left the bus; its last call.
  virtual void clientGone(const std::string& client) = 0;
  // Any thread.
  virtual bool isStarted() const = 0;

 protected:
  ~BusCalls() = default;
};

}  // namespace kelvo
