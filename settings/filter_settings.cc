#include "settings/filter_settings.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/logger.h"
#include "base/string_utils.h"
#include "settings/filter_categories.h"
#include "settings/properties.h"
#include "settings/property_list_xml.h"

namespace kelvo {
namespace {

constexpr char kAll[] = "all";
constexpr char kInclude[] = "include";
constexpr char kExclude[] = "exclude";
constexpr char kMaxFileSize[] = "max_file_size";
constexpr char kMinFileSize[] = "min_file_size";
constexpr char kFileSizeFiltering[] = "file_size_filtering";

// The texts of an array; values of other kinds are no patterns.
std::vector<std::string> Patterns(const PropertyList::Dictionary& settings, const char* key) {
  std::vector<std::string> patterns;
  const PropertyList* const value = FindValue(settings, key);
  const PropertyList::Array* const array = value == nullptr ? nullptr : value->AsArray();
  if (array == nullptr) return patterns;
  for (const PropertyList& element : *array) {
    if (const std::string* pattern = element.AsString()) patterns.push_back(*pattern);
  }
  return patterns;
}

void AddPatterns(const std::vector<std::string>& patterns, std::uint32_t filterType,
                 kelvo_FilterList* list) {
  for (const std::string& pattern : patterns) list->addFilter(pattern, filterType);
}

}  // namespace

kelvo_FilterSettings::kelvo_FilterSettings(const std::string& path)
    : path_(path.empty() ? path : path + "/filter_info.plist") {}

bool kelvo_FilterSettings::load() { return path_.empty() || loadFromSpecificPath(path_); }

bool kelvo_FilterSettings::loadFromSpecificPath(const std::string& path) {
  auto settings = LoadPropertiesFromFile(path);
  if (settings) settings_ = *std::move(settings);
  return true;
}

bool kelvo_FilterSettings::store() const { return !path_.empty() && storeToSpecificPath(path_); }

bool kelvo_FilterSettings::storeToSpecificPath(const std::string& path) const {
  return StorePropertiesToFile(path, settings_);
}

bool kelvo_FilterSettings::isEqualToAgentSettings(const kelvo_FilterSettings& other) const {
  return settings_ == other.settings_;
}

bool kelvo_FilterSettings::includeAllFiles() const {
  return GetBoolPropertyWithDefault(settings_, kAll, true);
}

void kelvo_FilterSettings::setIncludeAllFiles(bool value) {
  SetBoolProperty(settings_, kAll, value);
}

bool kelvo_FilterSettings::predefIncludeFilterValue(std::string_view name) const {
  const auto categories = FilterCategories();
  const auto category =
      std::find_if(categories.begin(), categories.end(),
                   [&](const FilterCategory& candidate) { return candidate.name == name; });
  return category != categories.end() &&
         GetBoolPropertyWithDefault(settings_, category->name, false);
}

void kelvo_FilterSettings::setPredefIncludeFilter(const std::string& name, bool value) {
  SetBoolProperty(settings_, name.c_str(), value);
}

std::int32_t kelvo_FilterSettings::maxFileSize() const {
  return GetIntPropertyWithDefault(settings_, kMaxFileSize, 0);
}

void kelvo_FilterSettings::setMaxFileSize(std::int32_t value) {
  SetIntProperty(settings_, kMaxFileSize, value);
}

std::int32_t kelvo_FilterSettings::minFileSize() const {
  constexpr std::int32_t kDefault = 50;
  return GetIntPropertyWithDefault(settings_, kMinFileSize, kDefault);
}

void kelvo_FilterSettings::setMinFileSize(std::int32_t value) {
  SetIntProperty(settings_, kMinFileSize, value);
}

bool kelvo_FilterSettings::fileSizeFiltering() const {
  return GetBoolPropertyWithDefault(settings_, kFileSizeFiltering, true);
}

void kelvo_FilterSettings::setFileSizeFiltering(bool value) {
  SetBoolProperty(settings_, kFileSizeFiltering, value);
}

std::vector<std::string> kelvo_FilterSettings::excludeFilters() const {
  return Patterns(settings_, kExclude);
}

void kelvo_FilterSettings::addExcludeFilter(const std::string& pattern) {
  // One such pattern would keep the whole record from being stored.
  if (!WriteXmlPropertyList(PropertyList(pattern))) {
    KELVO_LOG(kLogError, "no exclude pattern: " << EscapeControlCharacters(ToValidUtf8(pattern)));
    return;
  }
  PropertyList& value = settings_[kExclude];
  if (value.AsArray() == nullptr) value = PropertyList::Array{};
  value.AsArray()->emplace_back(pattern);
}

void kelvo_FilterSettings::removeExcludeFilter(std::string_view pattern) {
  const auto found = settings_.find(std::string_view(kExclude));
  PropertyList::Array* const array = found == settings_.end() ? nullptr : found->second.AsArray();
  if (array == nullptr) return;
  std::erase_if(*array, [pattern](const PropertyList& element) {
    const std::string* const text = element.AsString();
    return text != nullptr && *text == pattern;
  });
}

kelvo_FilterList kelvo_FilterSettings::includeFilterList() const {
  kelvo_FilterList list(true);
  if (includeAllFiles()) return list;
  for (const FilterCategory& category : FilterCategories()) {
    if (predefIncludeFilterValue(category.name)) {
      list.addFilters(category.type, category.patterns);
    }
  }
  AddPatterns(Patterns(settings_, kInclude), kIncludeFilterType, &list);
  return list;
}

kelvo_FilterList kelvo_FilterSettings::excludeFilterList() const {
  kelvo_FilterList list(false);
  AddPatterns(Patterns(settings_, kExclude), kExcludeFilterType, &list);
  return list;
}

}  // namespace kelvo
