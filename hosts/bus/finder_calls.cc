#include "hosts/bus/finder_calls.h"

#include "hosts/bus/bus_paths.h"

namespace kelvo {

FinderCalls::FinderCalls(FinderSync& finderSync, BadgeTable& badges)
    : finderSync_(finderSync),
      badges_(badges),
      observations_([&](const std::string& path) { finderSync.beginObservingDirectoryAtURL(path); },
                    [&](const std::string& path) { finderSync.endObservingDirectoryAtURL(path); }) {
}

void FinderCalls::beginObservingDirectory(const std::string& client, const std::string& path) {
  observations_.Begin(client, path);
}

void FinderCalls::endObservingDirectory(const std::string& client, const std::string& path) {
  observations_.End(client, path);
}

// Asking the disk and the Agent comes first, without a lock; the answer is what is known then.
void FinderCalls::requestBadges(const std::string& client, const std::string& folder,
                                const std::vector<std::string_view>& names,
                                const std::function<void(const std::string& badges)>& reply) {
  badges_.Ask(client, folder, names);
  for (std::string_view name : names) {
    if (IsItemName(name)) finderSync_.requestBadgeIdentifierForURL(ItemPath(folder, name));
  }
  badges_.Answer(client, folder, names, reply);
}

void FinderCalls::clientGone(const std::string& client) {
  observations_.ClientGone(client);
  badges_.ClientGone(client);
}

}  // namespace kelvo
