#include "hosts/bus/client_pasteboard.h"

#include <chrono>
#include <utility>

#include "base/logger.h"
#include "base/string_utils.h"
#include "hosts/bus/bus_interface.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {
namespace {

constexpr std::chrono::milliseconds kPatience{2000};

// The client has no such object, or is not on the bus any more; it may have left with the call.
bool IsNobodyThere(const GError* error) {
  for (const GDBusError code :
       {G_DBUS_ERROR_UNKNOWN_OBJECT, G_DBUS_ERROR_UNKNOWN_INTERFACE, G_DBUS_ERROR_UNKNOWN_METHOD,
        G_DBUS_ERROR_SERVICE_UNKNOWN, G_DBUS_ERROR_NAME_HAS_NO_OWNER, G_DBUS_ERROR_NO_REPLY}) {
    if (g_error_matches(error, G_DBUS_ERROR, code)) return true;
  }
  return false;
}

}  // namespace

ClientPasteboard::ClientPasteboard(GDBusConnection* connection, std::string client, Pasteboard& own)
    : connection_(connection), client_(std::move(client)), own_(own) {}

bool ClientPasteboard::writeObjects(const std::string& text) {
  GErrorSlot error;
  const GLibPtr<GVariant> answer(g_dbus_connection_call_sync(
      connection_, client_.c_str(), kHostPath, kHostInterface, "SetClipboard",
      g_variant_new("(s)", ToValidUtf8(text).c_str()), G_VARIANT_TYPE("(b)"),
      G_DBUS_CALL_FLAGS_NO_AUTO_START, static_cast<gint>(kPatience.count()), nullptr, error.out()));
  if (!answer) {
    if (IsNobodyThere(error.get())) return own_.writeObjects(text);
    KELVO_LOG(kLogError, "cannot write the clipboard through " << client_ << ": " << error.text());
    return false;
  }
  gboolean written = FALSE;
  g_variant_get(answer.get(), "(b)", &written);
  if (!written) KELVO_LOG(kLogError, "the clipboard was not written by " << client_);
  return written;
}

}  // namespace kelvo
