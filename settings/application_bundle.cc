#include "settings/application_bundle.h"

#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/format_text.h"
#include "base/logger.h"
#include "base/mutex.h"
#include "base/string_utils.h"
#include "base/user_languages.h"
#include "settings/property_list_xml.h"
#include "settings/whole_file.h"

namespace kelvo {
namespace {

std::string TablePath(const std::string& bundle, std::string_view name) {
  return bundle + "/" + std::string(name) + ".lproj/Localizable.strings";
}

// nullopt when there is none or, logged, when it is broken.
std::optional<PropertyList::Dictionary> LoadTable(const std::string& path,
                                                  const Bundle::FileReader& read) {
  const auto bytes = read(path);
  if (!bytes) return std::nullopt;
  std::string error = "no dictionary";
  auto table = ReadPropertyList(*bytes, &error);
  if (table && table->AsDictionary() != nullptr) return std::move(*table->AsDictionary());
  KELVO_LOG(kLogError,
            "cannot use the texts in " << EscapeControlCharacters(path) << ": " << error);
  return std::nullopt;
}

// Drops what cannot stand for the base text of its key; one line tells of all.
void DropUnfitTexts(const PropertyList::Dictionary& base, const std::string& path,
                    PropertyList::Dictionary& table) {
  std::string dropped;
  std::erase_if(table, [&](const auto& entry) {
    const PropertyList* baseValue = FindValue(base, entry.first);
    const std::string* baseText = baseValue == nullptr ? nullptr : baseValue->AsString();
    if (baseText == nullptr) return false;
    const std::string* text = entry.second.AsString();
    if (text != nullptr && FormatSpecifiers(*text) == FormatSpecifiers(*baseText)) return false;
    dropped += " " + entry.first;
    return true;
  });
  if (dropped.empty()) return;
  KELVO_LOG(kLogError, "not used from " << EscapeControlCharacters(path)
                                        << ", being no texts with the values of the base table's:"
                                        << EscapeControlCharacters(dropped));
}

struct ProcessBundle {
  CMutex mutex{kMutexNormal};
  std::shared_ptr<const Bundle> bundle KELVO_GUARDED_BY(mutex);
};

ProcessBundle& TheBundle() {
  static ProcessBundle* const bundle = new ProcessBundle;  // never destroyed
  return *bundle;
}

}  // namespace

Bundle::Bundle(std::string path, const std::vector<std::string>& languages)
    : Bundle(std::move(path), languages,
             [](const std::string& file) { return ReadWholeFile(file); }) {}

Bundle::Bundle(std::string path, const std::vector<std::string>& languages, const FileReader& read)
    : path_(std::move(path)) {
  auto base = LoadTable(TablePath(path_, kBaseLanguage), read).value_or(PropertyList::Dictionary());
  for (const std::string& name : TableNames(languages)) {
    const std::string path = TablePath(path_, name);
    auto table = LoadTable(path, read);
    if (!table) continue;
    DropUnfitTexts(base, path, *table);
    tables_.push_back(*std::move(table));
  }
  tables_.push_back(std::move(base));
}

std::optional<std::string> Bundle::pathForResource(const std::string& name,
                                                   const std::string& type) const {
  std::string path = path_ + "/" + name;
  if (!type.empty()) path += "." + type;
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) return std::nullopt;
  return path;
}

std::string Bundle::localizedString(const std::string& key, const std::string& defaultText) const {
  for (const PropertyList::Dictionary& table : tables_) {
    const PropertyList* value = FindValue(table, key);
    const std::string* text = value == nullptr ? nullptr : value->AsString();
    if (text == nullptr) continue;
    if (FormatSpecifiers(*text) == FormatSpecifiers(defaultText)) return *text;
    KELVO_LOG(kLogDebug, "the translation of " << EscapeControlCharacters(key)
                                               << " takes other values than the text");
  }
  return defaultText;
}

void SetApplicationBundle(std::shared_ptr<const Bundle> bundle) {
  CMutexLock lock(TheBundle().mutex);
  TheBundle().bundle = std::move(bundle);
}

std::shared_ptr<const Bundle> getBundle() {
  CMutexLock lock(TheBundle().mutex);
  return TheBundle().bundle;
}

std::string LocalizedString(const std::string& key, const std::string& defaultText) {
  const std::shared_ptr<const Bundle> bundle = getBundle();
  return bundle == nullptr ? defaultText : bundle->localizedString(key, defaultText);
}

std::string LocalizedString(const LocalizedText& text) {
  return LocalizedString(text.key(), text.defaultText());
}

}  // namespace kelvo
