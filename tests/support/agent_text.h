// The Agent's side of the list text.
#pragma once

#include <string>
#include <vector>

namespace kelvo::test {

struct ListRecord {
  std::string name = {};
  int type = 1;  // 2 is a folder
  int status = 0;
  int permissions = 1064;
  int denied = 0;
  std::string modifiedBy = {};
  std::string fileId = {};
  long long itemId = 0;
  int lock = 0;
  std::string lockHolder = {};
  long lockTime = 0;
};

inline std::string NumberText(long long value) { return std::to_string(value) + ":"; }
inline std::string StringText(const std::string& text) {
  return NumberText(static_cast<long long>(text.size())) + text;
}

inline std::string RecordText(const ListRecord& r) {
  std::string text = StringText(r.name) + NumberText(r.type) + NumberText(r.status) +
                     NumberText(r.permissions) + NumberText(r.denied) + StringText(r.modifiedBy) +
                     StringText(r.fileId) + NumberText(r.itemId) + NumberText(r.lock);
  if (r.lock != 0) text += StringText(r.lockHolder) + NumberText(r.lockTime);
  return text;
}

inline std::string ListText(const std::vector<ListRecord>& records) {
  std::string text = NumberText(static_cast<long long>(records.size()));
  for (const ListRecord& record : records) text += RecordText(record);
  return text;
}

}  // namespace kelvo::test
