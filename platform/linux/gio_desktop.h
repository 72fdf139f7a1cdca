#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/desktop.h"

namespace kelvo {

// The desktop by way of GIO: the default browser, in a sandbox the portal.
//
// A process that may gain no privileges, as the extension's unit wants it, would pass that on to
// the browser. There the user's service manager starts the browser, by way of a program of ours
// that runs OpenForAnother. When there is no such manager, or it does not answer in 3 seconds, the
// browser is started from here all the same; one that the manager starts is waited for 30 seconds.
class GioDesktop : public Desktop {
 public:
  // `opener`: the program that runs OpenForAnother, and its arguments.
  explicit GioDesktop(std::vector<std::string> opener) : opener_(std::move(opener)) {}

  bool openURL(const std::string& url, const std::string& activationToken) override;

 private:
  // Whether this was seen to; then `error` is empty when the browser was started.
  bool OpenByManager(const std::string& url, const std::string& activationToken,
                     std::string& error) const;

  const std::vector<std::string> opener_;
};

// The other end: opens what standard input, a socket, tells, and answers there. The exit code; 1
// with a line on standard error when that is no socket of the extension's. Main thread.
int OpenForAnother();

}  // namespace kelvo
