#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/finder_sync.h"
#include "hosts/bus/badge_table.h"
#include "hosts/bus/bus_calls.h"
#include "hosts/bus/observation_counts.h"

namespace kelvo {

// The bus's calls as operations of the extension. Threads: as BusCalls.
class FinderCalls : public BusCalls {
 public:
  FinderCalls(FinderSync& finderSync, BadgeTable& badges);

  void beginObservingDirectory(const std::string& client, const std::string& path) override;
  void endObservingDirectory(const std::string& client, const std::string& path) override;
  void requestBadges(const std::string& client, const std::string& folder,
                     const std::vector<std::string_view>& names,
                     const std::function<void(const std::string& badges)>& reply) override;
  void clientGone(const std::string& client) override;
  bool isStarted() const override { return finderSync_.isStarted(); }
  void withProjects(std::function<void(const ProjectsList& projects)> use) override {
    finderSync_.withProjects(std::move(use));
  }

 private:
  FinderSync& finderSync_;
  BadgeTable& badges_;
  ObservationCounts observations_;
};

}  // namespace kelvo
