#pragma once

#include <gio/gio.h>

#include <string>

namespace kelvo {

struct DesktopNotification {
  std::string applicationName;
  std::string icon;  // a name of the icon theme
  std::string summary;
  std::string body;  // plain text
};

// Hands the notification to the desktop's service for them (org.freedesktop.Notifications), where
// there is one; a failure is logged. Returns at once. `bus` may be null. Any thread.
void SendDesktopNotification(GDBusConnection* bus, const DesktopNotification& notification);

}  // namespace kelvo
