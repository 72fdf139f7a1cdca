#pragma once

#include <gio/gio.h>

#include <chrono>
#include <memory>
#include <string>

#include "base/mutex.h"
#include "platform/dialogs.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {

// Dialogs drawn by the program kelvo-finder-dialog, one process for each window, so that neither
// its toolkit nor its end is the extension's.
//
// A helper that dies, or hangs when it is spoken to, after its window was shown loses the window.
// Threads: as Dialogs. Lifetime: outlives its windows.
class HelperDialogs : public Dialogs {
 public:
  struct Options {
    std::string program;        // of the helper; an absolute path
    std::string interfaceFile;  // the dialogs' description
    // A window that is not there by then counts as one that cannot be shown.
    std::chrono::milliseconds patience = std::chrono::seconds(30);
    // A window that has not come to the front by then is lost.
    std::chrono::milliseconds frontPatience = std::chrono::seconds(10);
  };

  // `bus`: where notifications go; outlives this, may be null for none.
  HelperDialogs(GMainContext* context, GDBusConnection* bus, Options options);
  ~HelperDialogs() override;
  HelperDialogs(const HelperDialogs&) = delete;
  HelperDialogs& operator=(const HelperDialogs&) = delete;

  std::unique_ptr<DialogWindow> open(const DialogContents& contents, Closed closed) override;
  void setActivationToken(const std::string& token) override;

 private:
  class Window;

  std::string takeActivationToken();

  const GLibPtr<GMainContext> context_;
  GDBusConnection* const bus_;
  const Options options_;
  CMutex mutex_{kMutexNormal};
  std::string activationToken_ KELVO_GUARDED_BY(mutex_);
};

}  // namespace kelvo
