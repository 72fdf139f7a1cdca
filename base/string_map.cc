#include "base/string_map.h"

#include "base/string_utils.h"

namespace kelvo {

void AddToStringMapApplyFunction(const std::string& key, const PropertyList& value,
                                 StringMap& map) {
  map.insert_or_assign(key, ConvertCfStringToString(&value, StringEncoding::kUtf8));
}

StringMap ToStringMap(const PropertyList::Dictionary& dictionary) {
  StringMap map;
  for (const auto& [key, value] : dictionary) AddToStringMapApplyFunction(key, value, map);
  return map;
}

std::string MapJoin(const StringMap& map, char separator) {
  std::string joined;
  for (const auto& [key, value] : map) {
    joined += key;
    joined += '=';
    joined += value;
    joined += separator;
  }
  return joined;
}

}  // namespace kelvo
