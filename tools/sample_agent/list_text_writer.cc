#include "tools/sample_agent/list_text_writer.h"

#include <string_view>

namespace kelvo::sample_agent {
namespace {

constexpr int kFileType = 1;
constexpr int kFolderType = 2;

void AppendNumber(std::string& list, std::int64_t number) {
  list += std::to_string(number);
  list += ':';
}

void AppendText(std::string& list, std::string_view text) {
  AppendNumber(list, static_cast<std::int64_t>(text.size()));
  list += text;
}

void AppendRecord(std::string& list, const ListedItem& listed) {
  const Item& item = listed.item;
  AppendText(list, listed.name);
  AppendNumber(list, item.folder ? kFolderType : kFileType);
  AppendNumber(list, item.SyncStatus());
  AppendNumber(list, static_cast<int>(item.permissions));
  AppendNumber(list, static_cast<int>(item.denied));
  AppendText(list, item.modifiedBy);
  AppendText(list, item.fileId);
  AppendNumber(list, item.itemId);
  AppendNumber(list, static_cast<int>(item.lock));
  // The last two fields exist only for a locked item: the next record follows at once.
  if (item.lock == sync::ESyncItemLock::NO_SYNC_LOCK) return;
  AppendText(list, item.lockHolder);
  AppendNumber(list, item.lockTime);
}

}  // namespace

std::string WriteStatusList(const std::vector<ListedItem>& items) {
  std::string list;
  AppendNumber(list, static_cast<std::int64_t>(items.size()));
  for (const ListedItem& item : items) AppendRecord(list, item);
  return list;
}

std::string WritePublicLinks(const std::vector<std::string>& paths) {
  std::string list;
  for (const std::string& path : paths) {
    AppendText(list, path);
    AppendText(list, "");
    for (int i = 0; i < 3; ++i) AppendNumber(list, 0);
    for (int i = 0; i < 3; ++i) AppendText(list, "");
    AppendNumber(list, 0);
  }
  return list;
}

}  // namespace kelvo::sample_agent
