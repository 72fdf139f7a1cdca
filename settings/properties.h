// Property-list files shared with the Agent, and typed values in them.
//
// Paths are in the file system's form. Every call that takes a path waits for the file's lock, for
// as long as another process keeps it: on a worker only. Reasons for failure are logged here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/property_list.h"

namespace kelvo {

// nullopt when the file cannot be opened, does not parse (an empty file, too), or holds another
// kind at its top level. A missing file is left behind empty.
std::optional<PropertyList::Dictionary> LoadPropertiesFromFile(const std::string& path);
std::optional<PropertyList::Array> LoadPropertiesFromFileToArrayOfDictionaries(
    const std::string& path);
// From the descriptor's position to the end of the file, in 1024-byte chunks.
std::optional<PropertyList> ReadPropertiesFile(int fd);
PropertyList::Dictionary CreateEmptyProperties();

// What lies there and does not parse is first kept in the file `path` + ".damaged", unless an
// earlier such copy lies there; without a copy nothing is written.
// Deliberate: true once the file was opened, whatever the write did; callers rely on it to mean
// "there is such a file". A failed write is logged.
bool StorePropertiesToFile(const std::string& path, const PropertyList::Dictionary& properties);
bool StorePropertiesToFileA(const std::string& path, const PropertyList::Array& properties);
// One write from offset 0, then a cut at its end. When the value has no XML form, the disk is full
// or the write fails, the old bytes stay, or are put back where some were written over. True when
// the write did not fail.
[[nodiscard]] bool WritePropertiesFile(int fd, const PropertyList& properties);
// Merges `changes` into the file under one lock. Starts from nothing when the file is empty, does
// not parse or is no dictionary; what it held then is kept as above. False when the file cannot be
// opened, read, kept or written.
[[nodiscard]] bool ChangePropertiesInFile(const std::string& path,
                                          const PropertyList::Dictionary& changes);
void AddValueToDictionary(const std::string& key, const PropertyList& value,
                          PropertyList::Dictionary& dictionary);

// A value of another kind is converted where that makes sense (decimal text to number, number to
// boolean), else counts as absent. An integer beyond the range is cut to it.
std::int32_t GetIntPropertyWithDefault(const PropertyList::Dictionary& properties, const char* key,
                                       std::int32_t defaultValue);
std::int64_t GetLongPropertyWithDefault(const PropertyList::Dictionary& properties, const char* key,
                                        std::int64_t defaultValue);
bool GetBoolPropertyWithDefault(const PropertyList::Dictionary& properties, const char* key,
                                bool defaultValue);
std::optional<std::string> GetStringProperty(const PropertyList::Dictionary& properties,
                                             const char* key);
bool SetIntProperty(PropertyList::Dictionary& properties, const char* key, std::int32_t value);
bool SetLongProperty(PropertyList::Dictionary& properties, const char* key, std::int64_t value);
bool SetBoolProperty(PropertyList::Dictionary& properties, const char* key, bool value);
// False, with nothing changed, when the value is not valid UTF-8.
bool SetStringProperty(PropertyList::Dictionary& properties, const char* key,
                       const std::string& utf8);
void RemoveProperty(PropertyList::Dictionary& properties, const char* key);

// The default, or nullopt, for a row past the end, an empty one and one that is no dictionary.
bool GetBoolPropertyWithDefaultForRowInArray(const PropertyList::Array& rows, std::size_t row,
                                             const char* key, bool defaultValue);
std::optional<std::string> GetStringPropertyForRowInArray(const PropertyList::Array& rows,
                                                          std::size_t row, const char* key);

}  // namespace kelvo
