// Settings of desktops and file managers, read without changing or asking anything. nullopt or
// empty when the desktop that they belong to is not installed.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kelvo::finder {

std::optional<std::string> TextSetting(const char* schema, const char* key);
std::vector<std::string> ListSetting(const char* schema, const char* key);

// A file of the user's in ~/.config or what stands for it, written as KDE's programs do.
std::optional<std::string> ValueInKdeFile(const char* file, const char* group, const char* key);

}  // namespace kelvo::finder
