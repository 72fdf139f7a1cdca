#include "tools/sample_agent/account_data.h"

#include <algorithm>
#include <string_view>

#include "tools/terminal_text.h"

namespace kelvo::sample_agent {
namespace {

constexpr std::string_view kQuotaElements[] = {"stored-other-computers", "stored-this-computer",
                                               "total-other-computers", "total-quota",
                                               "total-this-computer"};

// The readers of one key's value. Each answers whether it understood it.

// The identifier becomes part of a folder's name.
bool ReadAgentId(const PropertyList& value, AccountData* account) {
  const std::string* id = value.AsString();
  if (id == nullptr || id->empty() || id->find_first_of("/ .") != std::string::npos) return false;
  account->agentId = *id;
  return true;
}

template <PropertyList::Dictionary AccountData::*kField>
bool ReadDictionary(const PropertyList& value, AccountData* account) {
  if (value.AsDictionary() == nullptr) return false;
  account->*kField = *value.AsDictionary();
  return true;
}

bool ReadFingerprints(const PropertyList& value, AccountData* account) {
  if (value.AsArray() == nullptr) return false;
  account->fingerprints = *value.AsArray();
  return true;
}

bool ReadStorage(const PropertyList& value, AccountData* account) {
  if (value.AsArray() == nullptr) return false;
  for (const PropertyList& row : *value.AsArray()) {
    const PropertyList::Array* cells = row.AsArray();
    const bool fits = cells != nullptr && cells->size() == 2 &&
                      cells->front().AsString() != nullptr && cells->back().AsBool() != nullptr;
    if (!fits) return false;
    account->storage.push_back(row);
  }
  return true;
}

bool ReadFolders(const PropertyList& value, AccountData* account) {
  if (value.AsArray() == nullptr) return false;
  for (const PropertyList& element : *value.AsArray()) {
    const PropertyList::Dictionary* fields = element.AsDictionary();
    if (fields == nullptr || fields->size() != 3) return false;
    const PropertyList* path = FindValue(*fields, "path");
    const PropertyList* total = FindValue(*fields, "total");
    const PropertyList* stored = FindValue(*fields, "stored");
    if (path == nullptr || total == nullptr || stored == nullptr) return false;
    if (path->AsString() == nullptr || total->AsInteger() == nullptr ||
        stored->AsInteger() == nullptr) {
      return false;
    }
    account->folders.push_back({*path->AsString(), *total->AsInteger(), *stored->AsInteger()});
  }
  return true;
}

bool ReadQuota(const PropertyList& value, AccountData* account) {
  if (value.AsDictionary() == nullptr) return false;
  for (const auto& [name, number] : *value.AsDictionary()) {
    const bool known = std::find(std::begin(kQuotaElements), std::end(kQuotaElements), name) !=
                       std::end(kQuotaElements);
    if (!known || number.AsInteger() == nullptr) return false;
    account->quota.emplace(name, *number.AsInteger());
  }
  return true;
}

constexpr struct {
  std::string_view key;
  bool (*read)(const PropertyList& value, AccountData* account);
} kKeys[] = {
    {"agentID", ReadAgentId},
    {"settings", ReadDictionary<&AccountData::settings>},
    {"storage", ReadStorage},
    {"folders", ReadFolders},
    {"quota", ReadQuota},
    {"filter", ReadDictionary<&AccountData::filter>},
    {"fingerprints", ReadFingerprints},
    {"servers", ReadDictionary<&AccountData::servers>},
};

}  // namespace

bool ReadAccountData(const PropertyList& value, AccountData* account, std::string* error) {
  const PropertyList::Dictionary* fields = value.AsDictionary();
  if (fields == nullptr) {
    *error = "is not a dictionary";
    return false;
  }
  for (const auto& [key, field] : *fields) {
    const auto* const known =
        std::find_if(std::begin(kKeys), std::end(kKeys),
                     [&key = key](const auto& candidate) { return candidate.key == key; });
    if (known == std::end(kKeys)) {
      *error = "unknown key " + tools::QuotedText(key, 100);
      return false;
    }
    if (!known->read(field, account)) {
      *error = tools::QuotedText(key, 100) + " is not as it should be";
      return false;
    }
  }
  if (account->agentId.empty()) {
    *error = "\"agentID\" is missing";
    return false;
  }
  return true;
}

}  // namespace kelvo::sample_agent
