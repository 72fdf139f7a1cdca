#include "settings/application_bundle.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/format_text.h"
#include "base/logger.h"
#include "base/mutex.h"
#include "base/string_utils.h"
#include "settings/property_list_xml.h"

namespace kelvo {
namespace {

constexpr std::string_view kBaseLanguage = "Base";
constexpr std::string_view kLanguageOfBase = "en";

// Languages come from the environment and become folder names.
bool IsLanguageName(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
  });
}

std::string_view WithoutRegion(std::string_view language) {
  return language.substr(0, language.find_first_of("_-"));
}

// The names under which the tables of a language may lie, best first.
std::vector<std::string> TableNames(const std::string& language) {
  std::string hyphenated = language;
  std::replace(hyphenated.begin(), hyphenated.end(), '_', '-');
  return {language, hyphenated, std::string(WithoutRegion(language))};
}

// nullopt when there is none or, logged, when it is broken.
std::optional<PropertyList::Dictionary> LoadTable(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  std::string error = "no dictionary";
  auto table = ReadPropertyList(bytes, &error);
  if (table && table->AsDictionary() != nullptr) return std::move(*table->AsDictionary());
  KELVO_LOG(kLogError,
            "cannot use the texts in " << EscapeControlCharacters(path) << ": " << error);
  return std::nullopt;
}

void AddUnique(std::vector<std::string>& names, std::string name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(std::move(name));
}

// The locale's name without encoding and modifier; empty for "C" and what names no language.
std::string LanguageOf(std::string_view locale) {
  const std::string_view language = locale.substr(0, locale.find_first_of(".@"));
  if (language == "C" || language == "POSIX" || !IsLanguageName(language)) return {};
  return std::string(language);
}

std::string_view Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string_view() : value;
}

// The locale of messages, as setlocale chooses it.
std::string_view MessageLocale() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const std::string_view value = Environment(name);
    if (!value.empty()) return value;
  }
  return {};
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
    : path_(std::move(path)) {
  std::vector<std::string> names;
  for (const std::string& language : languages) {
    if (!IsLanguageName(language)) continue;
    for (std::string& name : TableNames(language)) AddUnique(names, std::move(name));
    // The base table is in this language: nothing less wanted may come before it.
    if (WithoutRegion(language) == kLanguageOfBase) break;
  }
  AddUnique(names, std::string(kBaseLanguage));
  for (const std::string& name : names) {
    auto table = LoadTable(path_ + "/" + name + ".lproj/Localizable.strings");
    if (table) tables_.push_back(*std::move(table));
  }
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

std::vector<std::string> PreferredLanguages() {
  const std::string_view locale = MessageLocale();
  // Who asks for the C locale wants no translation, whatever LANGUAGE says.
  if (!locale.empty() && LanguageOf(locale).empty()) return {};
  std::string_view list = Environment("LANGUAGE");
  if (list.empty()) list = locale;
  std::vector<std::string> languages;
  while (!list.empty()) {
    const std::string_view entry = list.substr(0, list.find(':'));
    list.remove_prefix(std::min(entry.size() + 1, list.size()));
    const std::string language = LanguageOf(entry);
    if (language.empty()) continue;
    AddUnique(languages, language);
    AddUnique(languages, std::string(WithoutRegion(language)));
  }
  return languages;
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
