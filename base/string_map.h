#pragma once

#include <map>
#include <string>

#include "base/property_list.h"

namespace kelvo {

using StringMap = std::map<std::string, std::string>;

// Stores map[key] = value as UTF-8 text; for walking a dictionary. A later equal key overwrites.
void AddToStringMapApplyFunction(const std::string& key, const PropertyList& value, StringMap& map);

// All entries of a dictionary through AddToStringMapApplyFunction.
StringMap ToStringMap(const PropertyList::Dictionary& dictionary);

// Key, "=", value and the separator for each entry in key order; so it ends with the separator.
std::string MapJoin(const StringMap& map, char separator);

}  // namespace kelvo
