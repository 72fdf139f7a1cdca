// Which texts a user reads: one rule for the extension's string tables and for the words that lie
// in plug-ins, next to each other on the screen. Header-only, as plug-ins load no core.
// Threads: any, as long as nobody changes the environment.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvo {

inline constexpr std::string_view kBaseLanguage = "Base";  // the table that every text is in
inline constexpr std::string_view kLanguageOfBase = "en";

namespace user_languages {

// Languages come from the environment and become folder names.
inline bool IsLanguageName(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
  });
}

inline std::string_view WithoutRegion(std::string_view language) {
  return language.substr(0, language.find_first_of("_-"));
}

// Chinese is written in two ways. Who reads the simplified one is not served by just any "zh".
inline bool IsSimplifiedChinese(std::string_view hyphenated) {
  return hyphenated.starts_with("zh-Hans") || hyphenated == "zh-SG" || hyphenated == "zh-MY";
}

inline void AddUnique(std::vector<std::string>& names, std::string name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(std::move(name));
}

// The locale's name without encoding and modifier; empty for "C" and what names no language.
inline std::string LanguageOf(std::string_view locale) {
  const std::string_view language = locale.substr(0, locale.find_first_of(".@"));
  if (language == "C" || language == "POSIX" || !IsLanguageName(language)) return {};
  return std::string(language);
}

inline std::string_view Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string_view() : value;
}

// The locale of messages, as setlocale chooses it.
inline std::string_view MessageLocale() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const std::string_view value = Environment(name);
    if (!value.empty()) return value;
  }
  return {};
}

}  // namespace user_languages

// The user's languages as the environment names them (LANGUAGE, LC_ALL, LC_MESSAGES, LANG), most
// wanted first, such as {"de_CH", "de"}.
inline std::vector<std::string> PreferredLanguages() {
  using namespace user_languages;
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

// The names under which the tables of these languages may lie, best first; the base table, which
// follows them, is not among them.
inline std::vector<std::string> TableNames(const std::vector<std::string>& languages) {
  using namespace user_languages;
  std::vector<std::string> names;
  for (const std::string& language : languages) {
    if (!IsLanguageName(language)) continue;
    std::string hyphenated = language;
    std::replace(hyphenated.begin(), hyphenated.end(), '_', '-');
    AddUnique(names, language);
    AddUnique(names, hyphenated);
    if (IsSimplifiedChinese(hyphenated)) AddUnique(names, "zh_CN");
    AddUnique(names, std::string(WithoutRegion(language)));
    // The base table is in this language: nothing less wanted may come before it.
    if (WithoutRegion(language) == kLanguageOfBase) break;
  }
  std::erase(names, kBaseLanguage);
  return names;
}

}  // namespace kelvo
