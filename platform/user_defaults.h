#pragma once

#include <string>

namespace kelvo {

// The extension's own preferences. Any thread.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  // False when the key is absent. Never blocks.
  virtual bool GetBool(const std::string& key) const = 0;
  // In force at once for this process. Never blocks: it is written later, in the order of the
  // calls; a failure is logged, and the value stays in force.
  virtual void SetBool(const std::string& key, bool value) = 0;
};

}  // namespace kelvo
