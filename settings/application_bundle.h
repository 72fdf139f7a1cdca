#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/property_list.h"

namespace kelvo {

// The folder of the extension's own resources: badge images, dialog description, string tables
// (<language>.lproj/Localizable.strings as XML property lists; Base.lproj holds every key).
//
// Threads: constant after construction; any thread.
class Bundle {
 public:
  // The bytes of a file; nothing when there is none.
  using FileReader = std::function<std::optional<std::string>(const std::string& path)>;

  // `languages`: see PreferredLanguages; tables that are missing or broken are skipped (the latter
  // logged).
  Bundle(std::string path, const std::vector<std::string>& languages);
  Bundle(std::string path, const std::vector<std::string>& languages, const FileReader& read);

  const std::string& path() const { return path_; }
  // The file NAME.TYPE of the bundle, or nullopt when there is none.
  std::optional<std::string> pathForResource(const std::string& name,
                                             const std::string& type) const;
  // The translation, else the base text, else `defaultText`. A translation whose format specifiers
  // differ from those of `defaultText` is not used.
  std::string localizedString(const std::string& key, const std::string& defaultText) const;

 private:
  std::string path_;
  std::vector<PropertyList::Dictionary> tables_;  // most wanted first, the base table last
};

// The bundle of this process; null before the extension has set it. Set once at start, then read
// from any thread.
void SetApplicationBundle(std::shared_ptr<const Bundle> bundle);
std::shared_ptr<const Bundle> getBundle();

// A text's key and its default, for tables and parameters; only Localizable makes one.
class LocalizedText {
 public:
  constexpr const char* key() const { return key_; }
  constexpr const char* defaultText() const { return defaultText_; }

 private:
  constexpr LocalizedText(const char* key, const char* defaultText)
      : key_(key), defaultText_(defaultText) {}
  friend consteval LocalizedText Localizable(const char* key, const char* defaultText);

  const char* key_;
  const char* defaultText_;
};

// Takes two string literals, such as {40, Localizable("Permissions.Update", "Modify")} in a table.
consteval LocalizedText Localizable(const char* key, const char* defaultText) {
  return {key, defaultText};
}

// localizedString of the process's bundle; the default without one. Key and default are two string
// literals in the call itself, or were given to Localizable as such: the test localizable_strings
// finds them there and compares them with the base table, which must hold every pair.
std::string LocalizedString(const std::string& key, const std::string& defaultText);
std::string LocalizedString(const LocalizedText& text);

}  // namespace kelvo
