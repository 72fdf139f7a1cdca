#pragma once

#include <string>

namespace kelvo {

// The extension's own preferences. Any thread.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  // False when the key is absent. Never blocks.
  virtual bool GetBool(const std::string& key) const = 0;
  // In force at once for this process, also when the write fails; false then, and logged. May wait
  // for a file lock: call it on the settings worker.
  virtual bool SetBool(const std::string& key, bool value) = 0;
};

}  // namespace kelvo
