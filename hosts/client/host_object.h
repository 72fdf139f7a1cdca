#pragma once

#include <gio/gio.h>

#include <functional>
#include <string>

#include "platform/linux/glib_ptr.h"

namespace kelvo {

// What a file manager's process does for the extension, as an object on its connection.
//
// Threads: the main thread with the default main context.
class HostObject {
 public:
  // Whether the text is in the clipboard now.
  using SetClipboard = std::function<bool(const std::string& text)>;

  // Without a function there is no object, and the extension helps itself.
  explicit HostObject(SetClipboard setClipboard);
  ~HostObject();
  HostObject(const HostObject&) = delete;
  HostObject& operator=(const HostObject&) = delete;

  // `extension`: the unique name of the only process that may call. False when the connection does
  // not take the object: it has such a one already.
  [[nodiscard]] bool Export(GDBusConnection* connection, const std::string& extension);
  void Withdraw();

 private:
  static void OnCall(GDBusConnection* connection, const char* sender, const char* path,
                     const char* interface, const char* method, GVariant* parameters,
                     GDBusMethodInvocation* invocation, gpointer self);

  const SetClipboard setClipboard_;
  GObjectPtr<GDBusConnection> connection_;
  std::string extension_;
  guint registration_ = 0;
};

}  // namespace kelvo
