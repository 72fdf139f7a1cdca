#pragma once

#include "platform/user_defaults.h"

namespace kelvo {

// The platform's user defaults of this process's bundle. Any thread.
class MacUserDefaults : public UserDefaults {
 public:
  bool GetBool(const std::string& key) const override;
  void SetBool(const std::string& key, bool value) override;
};

}  // namespace kelvo
