#include "tools/sample_agent/scenario.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include "settings/property_list_xml.h"
#include "tools/terminal_text.h"

namespace kelvo::sample_agent {
namespace {

constexpr std::size_t kMaxFileSize = std::size_t{16} << 20;

std::string Quote(std::string_view text) { return tools::QuotedText(text, 100); }

bool IsElementName(std::string_view name) {
  const auto isLetter = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
  };
  if (name.empty() || !isLetter(name.front())) return false;
  return std::all_of(name.begin(), name.end(), [&](char c) {
    return isLetter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
  });
}

// Reads one scenario. Every operation answers whether it understood what it was given; the first
// that did not says why in Error().
class ScenarioReader {
 public:
  ScenarioReader(const FolderModel& model, std::int64_t now) : model_(model), now_(now) {}

  const std::string& Error() const { return error_; }
  bool ReadWhole(const PropertyList& list, Scenario* scenario);

 private:
  bool Fail(std::string reason) {
    error_ = std::move(reason);
    return false;
  }
  bool ReadText(std::string_view key, const PropertyList& value, std::string* text);
  template <typename Number>
  bool ReadNumber(std::string_view key, const PropertyList& value, Number* number);
  bool ReadPath(std::string_view key, const PropertyList& value, std::string* path);
  bool ReadField(std::string_view key, const PropertyList& value, Scenario::Entry* entry);
  bool ReadItem(const PropertyList& value, std::vector<Scenario::Entry>* items);
  bool ReadProject(const PropertyList& value, std::vector<PropertyList::Dictionary>* projects);
  void ServeAll(const std::vector<PropertyList::Dictionary>& projects);
  bool ReadPart(std::string_view key, const PropertyList& value, Scenario* scenario);
  // Calls `read` for each element; what it says of one is told with the element's place.
  template <typename Read>
  bool ReadEach(std::string_view key, const PropertyList& value, Read read);

  FolderModel model_;  // serves every project's folder
  const std::int64_t now_;
  std::string error_;
};

bool ScenarioReader::ReadText(std::string_view key, const PropertyList& value, std::string* text) {
  if (value.AsString() == nullptr) return Fail(Quote(key) + " is not a string");
  *text = *value.AsString();
  return true;
}

template <typename Number>
bool ScenarioReader::ReadNumber(std::string_view key, const PropertyList& value, Number* number) {
  const std::int64_t* integer = value.AsInteger();
  if (integer == nullptr) return Fail(Quote(key) + " is not an integer");
  // An enumeration takes any value of its underlying type: an Agent may say more than is known.
  *number = static_cast<Number>(*integer);
  if (static_cast<std::int64_t>(*number) != *integer) return Fail(Quote(key) + " is out of range");
  return true;
}

bool ScenarioReader::ReadPath(std::string_view key, const PropertyList& value, std::string* path) {
  std::string text;
  if (!ReadText(key, value, &text)) return false;
  std::optional<std::string> resolved = model_.Resolve(text);
  if (!resolved.has_value()) return Fail(Quote(text) + " is not a path in the served folder");
  *path = std::move(*resolved);
  return true;
}

bool ScenarioReader::ReadField(std::string_view key, const PropertyList& value,
                               Scenario::Entry* entry) {
  Item& item = entry->item;
  if (key == "path") return ReadPath(key, value, &entry->path);
  if (key == "status") return ReadNumber(key, value, &item.status);
  if (key == "lock") return ReadNumber(key, value, &item.lock);
  if (key == "owner") return ReadText(key, value, &item.lockHolder);
  if (key == "lockTime") return ReadNumber(key, value, &item.lockTime);
  if (key == "modifiedBy") return ReadText(key, value, &item.modifiedBy);
  if (key == "permissions") return ReadNumber(key, value, &item.permissions);
  if (key == "denied") return ReadNumber(key, value, &item.denied);
  if (key == "fileId") return ReadText(key, value, &item.fileId);
  if (key == "itemId") return ReadNumber(key, value, &item.itemId);
  return Fail("unknown key " + Quote(key));
}

bool ScenarioReader::ReadItem(const PropertyList& value, std::vector<Scenario::Entry>* items) {
  const PropertyList::Dictionary* fields = value.AsDictionary();
  if (fields == nullptr) return Fail("is not a dictionary");
  Scenario::Entry entry;
  for (const auto& [key, field] : *fields) {
    if (!ReadField(key, field, &entry)) return false;
  }
  if (entry.path.empty()) return Fail("\"path\" is missing");
  const bool locked = entry.item.lock != sync::ESyncItemLock::NO_SYNC_LOCK;
  if (locked && FindValue(*fields, "lockTime") == nullptr) entry.item.lockTime = now_;
  items->push_back(std::move(entry));
  return true;
}

bool ScenarioReader::ReadProject(const PropertyList& value,
                                 std::vector<PropertyList::Dictionary>* projects) {
  const PropertyList::Dictionary* fields = value.AsDictionary();
  if (fields == nullptr) return Fail("is not a dictionary");
  for (const auto& [key, field] : *fields) {
    if (!IsElementName(key)) return Fail(Quote(key) + " is not the name of an XML element");
    if (!field.ToText().has_value()) return Fail(Quote(key) + " is neither a text nor a number");
  }
  projects->push_back(*fields);
  return true;
}

void ScenarioReader::ServeAll(const std::vector<PropertyList::Dictionary>& projects) {
  std::vector<std::string> folders;
  for (const PropertyList::Dictionary& project : projects) {
    const PropertyList* folder = FindValue(project, "local-path");
    if (folder != nullptr) folders.push_back(folder->ToText().value_or(""));
  }
  model_.SetExternalFolders(folders);
}

template <typename Read>
bool ScenarioReader::ReadEach(std::string_view key, const PropertyList& value, Read read) {
  const PropertyList::Array* array = value.AsArray();
  if (array == nullptr) return Fail(Quote(key) + " is not an array");
  std::size_t place = 0;
  for (const PropertyList& element : *array) {
    ++place;
    if (read(element)) continue;
    return Fail(std::string(key) + ' ' + std::to_string(place) + ": " + error_);
  }
  return true;
}

bool ScenarioReader::ReadPart(std::string_view key, const PropertyList& value, Scenario* scenario) {
  if (key == "items") {
    return ReadEach(key, value,
                    [&](const PropertyList& item) { return ReadItem(item, &scenario->items); });
  }
  if (key == "projects") {
    return ReadEach(key, value, [&](const PropertyList& project) {
      return ReadProject(project, &scenario->projects);
    });
  }
  if (key == "accounts") {
    return ReadEach(key, value, [&](const PropertyList& account) {
      return ReadAccountData(account, &scenario->accounts.emplace_back(), &error_);
    });
  }
  if (key == "publicLinks") {
    return ReadEach(key, value, [&](const PropertyList& link) {
      return ReadPath(key, link, &scenario->publicLinks.emplace_back());
    });
  }
  return Fail("unknown key " + Quote(key));
}

bool ScenarioReader::ReadWhole(const PropertyList& list, Scenario* scenario) {
  if (list.AsArray() != nullptr) return ReadPart("items", list, scenario);
  const PropertyList::Dictionary* parts = list.AsDictionary();
  if (parts == nullptr) return Fail("is neither an array nor a dictionary");
  // Projects first: items and links may lie in their folders.
  if (const PropertyList* projects = FindValue(*parts, "projects")) {
    if (!ReadPart("projects", *projects, scenario)) return false;
    ServeAll(scenario->projects);
  }
  for (const auto& [key, value] : *parts) {
    if (key != "projects" && !ReadPart(key, value, scenario)) return false;
  }
  return true;
}

}  // namespace

std::optional<Scenario> ReadScenario(std::string_view text, const FolderModel& model,
                                     std::int64_t now, std::string* error) {
  const std::optional<PropertyList> list = ReadPropertyList(text, error);
  if (!list.has_value()) return std::nullopt;
  ScenarioReader reader(model, now);
  Scenario scenario;
  if (reader.ReadWhole(*list, &scenario)) return scenario;
  *error = reader.Error();
  return std::nullopt;
}

std::optional<Scenario> ReadScenarioFile(const std::string& path, const FolderModel& model,
                                         std::int64_t now, std::string* error) {
  std::ifstream file(path, std::ios::binary);
  std::string text;
  text.resize(kMaxFileSize + 1);
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (!file.is_open() || file.bad()) {
    *error = "cannot be read";
    return std::nullopt;
  }
  text.resize(static_cast<std::size_t>(file.gcount()));
  if (text.size() > kMaxFileSize) {
    *error = "is larger than 16 MiB";
    return std::nullopt;
  }
  return ReadScenario(text, model, now, error);
}

}  // namespace kelvo::sample_agent
