#pragma once

#include "platform/desktop.h"

namespace kelvo {

// The desktop by way of GIO: the default browser, in a sandbox the portal.
class GioDesktop : public Desktop {
 public:
  bool openURL(const std::string& url, const std::string& activationToken) override;
};

}  // namespace kelvo
