#pragma once

#include <string>

#include "base/property_list.h"

namespace kelvo::config {

// Typed reading of one property dictionary.
//
// Threads: one at a time.
class CPropertyReader {
 public:
  // Waits for the file's lock. False, and every key absent, when the file cannot be read.
  bool Load(const std::string& path);
  void Load(const PropertyList::Dictionary& properties);

  // Each answers whether the key was there with a usable value; `out` is the default otherwise, or
  // untouched where there is none.
  bool Get(const char* key, std::string& out, const std::string& defaultValue) const;
  bool Get(const char* key, bool& out) const;
  bool Get(const char* key, bool& out, bool defaultValue) const;
  template <typename T>
  bool Get(const char* key, T& out) const;
  // A path, in the file system's form.
  bool GetFs(const char* key, std::string& out, const std::string& defaultValue) const;

 private:
  PropertyList::Dictionary properties_;
};

template <>
bool CPropertyReader::Get<int>(const char* key, int& out) const;

}  // namespace kelvo::config
