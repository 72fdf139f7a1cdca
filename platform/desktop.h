#pragma once

#include <string>

namespace kelvo {

// The user's desktop.
class Desktop {
 public:
  virtual ~Desktop() = default;
  // Opens the URL in the default browser. `activationToken`: what the desktop gave the user's
  // choice, so that the browser may come to the front; empty for none. False, logged, when no
  // program could be started. Any thread, which it may block while a program starts.
  virtual bool openURL(const std::string& url, const std::string& activationToken) = 0;
};

// The clipboard of the program in which the user chose something. Any thread but the main loop's,
// which it may block for some seconds.
class Pasteboard {
 public:
  virtual ~Pasteboard() = default;
  virtual void clearContents() = 0;
  // `text`: UTF-8. False, logged, when it was not written.
  virtual bool writeObjects(const std::string& text) = 0;
};

}  // namespace kelvo
