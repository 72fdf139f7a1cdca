#include "hosts/bus/finder_calls.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "core/diagnostics.h"
#include "hosts/bus/bus_paths.h"
#include "ui/item_words.h"
#include "ui/menu_context.h"

namespace kelvo {

FinderCalls::FinderCalls(FinderSync& finderSync, BadgeTable& badges, DescriptionNews& descriptions,
                         const Clock& clock, PasteboardOf pasteboardOf)
    : finderSync_(finderSync),
      badges_(badges),
      descriptions_(descriptions),
      pasteboardOf_(std::move(pasteboardOf)),
      observations_([&](const std::string& path) { finderSync.beginObservingDirectoryAtURL(path); },
                    [&](const std::string& path) { finderSync.endObservingDirectoryAtURL(path); }),
      menus_(clock) {}

bool FinderCalls::beginObservingDirectory(const std::string& client, const std::string& path) {
  return observations_.Begin(client, path);
}

void FinderCalls::endObservingDirectory(const std::string& client, const std::string& path) {
  observations_.End(client, path);
}

// Asking the disk and the Agent comes first, without a lock; the answer is what is known then.
bool FinderCalls::requestBadges(const std::string& client, const std::string& folder,
                                const std::vector<std::string_view>& names,
                                const std::function<void(const std::string& badges)>& reply) {
  if (!badges_.Ask(client, folder, names)) return false;
  std::vector<std::string_view> items;
  items.reserve(names.size());
  std::copy_if(names.begin(), names.end(), std::back_inserter(items), IsItemName);
  finderSync_.requestBadgeIdentifiers(folder == "/" ? std::string() : folder, items);
  badges_.Answer(client, folder, names, reply);
  return true;
}

void FinderCalls::describeItems(const std::string& client, const std::string& folder,
                                const std::vector<std::string_view>& names,
                                const std::function<void(const WordsOfItems& items)>& reply) {
  std::vector<std::string_view> items = names;
  for (std::string_view& name : items) {
    if (!IsItemName(name)) name = {};
  }
  descriptions_.Ask(client, folder);
  descriptions_.Answer(client, folder, items, finderSync_.describeItems(folder, items), reply);
}

KeptMenu FinderCalls::menuForItems(const std::string& client, std::uint32_t kind,
                                   const std::vector<std::string>& items,
                                   const std::atomic<bool>& cancelled) {
  menus_.Begin(client, items);
  std::optional<FinderMenu> menu =
      finderSync_.menuForMenuKind(static_cast<int>(kind), items, cancelled);
  if (!menu) {
    menus_.KeepNothing(client);
    return {};
  }
  Menu lines = menu->menu;
  return {menus_.Keep(client, *std::move(menu)), std::move(lines)};
}

ChosenLine FinderCalls::lineOfMenu(const std::string& client, std::uint32_t serial,
                                   std::uint32_t index) {
  if (!isStarted()) return {ChosenLine::State::kNotStarted};
  return menus_.LineOf(client, serial, index);
}

void FinderCalls::perform(const std::string& client, const ChosenLine& line,
                          const std::string& activationToken) {
  const std::unique_ptr<Pasteboard> pasteboard = pasteboardOf_(client);
  finderSync_.performAction(line.action, line.context, *pasteboard, activationToken);
}

Diagnostics FinderCalls::diagnostics() const { return finderSync_.diagnostics(); }

void FinderCalls::clientGone(const std::string& client) {
  menus_.ClientGone(client);
  observations_.ClientGone(client);
  badges_.ClientGone(client);
  descriptions_.ClientGone(client);
}

}  // namespace kelvo
