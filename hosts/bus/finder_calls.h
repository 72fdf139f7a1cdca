#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/finder_sync.h"
#include "hosts/bus/badge_table.h"
#include "hosts/bus/bus_calls.h"
#include "hosts/bus/description_news.h"
#include "hosts/bus/kept_menus.h"
#include "hosts/bus/observation_counts.h"
#include "platform/clock.h"
#include "platform/desktop.h"

namespace kelvo {

// The bus's calls as operations of the extension. Threads: as BusCalls.
class FinderCalls : public BusCalls {
 public:
  // The clipboard of a client of the bus.
  using PasteboardOf = std::function<std::unique_ptr<Pasteboard>(const std::string& client)>;

  FinderCalls(FinderSync& finderSync, BadgeTable& badges, DescriptionNews& descriptions,
              const Clock& clock, PasteboardOf pasteboardOf);

  // Whether a client has a menu of the item; see KeptMenus. Any thread.
  bool isMenuAbout(const std::string& path, bool isList) { return menus_.IsAbout(path, isList); }

  bool beginObservingDirectory(const std::string& client, const std::string& path) override;
  void endObservingDirectory(const std::string& client, const std::string& path) override;
  bool requestBadges(const std::string& client, const std::string& folder,
                     const std::vector<std::string_view>& names,
                     const std::function<void(const std::string& badges)>& reply) override;
  void describeItems(const std::string& client, const std::string& folder,
                     const std::vector<std::string_view>& names,
                     const std::function<void(const WordsOfItems& items)>& reply) override;
  KeptMenu menuForItems(const std::string& client, std::uint32_t kind,
                        const std::vector<std::string>& items,
                        const std::atomic<bool>& cancelled) override;
  ChosenLine lineOfMenu(const std::string& client, std::uint32_t serial,
                        std::uint32_t index) override;
  void perform(const std::string& client, const ChosenLine& line,
               const std::string& activationToken) override;
  void clientGone(const std::string& client) override;
  bool isStarted() const override { return finderSync_.isStarted(); }
  Diagnostics diagnostics() const override;
  void withProjects(std::function<void(const ProjectsList& projects)> use) override {
    finderSync_.withProjects(std::move(use));
  }

 private:
  FinderSync& finderSync_;
  BadgeTable& badges_;
  DescriptionNews& descriptions_;
  const PasteboardOf pasteboardOf_;
  ObservationCounts observations_;
  KeptMenus menus_;
};

}  // namespace kelvo
