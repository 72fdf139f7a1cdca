#pragma once

#include "platform/desktop.h"

namespace kelvo {

// The user's desktop by way of the workspace, which knows no activation tokens.
class MacDesktop : public Desktop {
 public:
  bool openURL(const std::string& url, const std::string& activationToken) override;
};

// The general pasteboard.
class MacPasteboard : public Pasteboard {
 public:
  void clearContents() override;
  bool writeObjects(const std::string& text) override;
};

}  // namespace kelvo
