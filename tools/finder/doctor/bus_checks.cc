#include "tools/finder/doctor/bus_checks.h"

#include "deployment.h"
#include "hosts/bus/bus_interface.h"
#include "hosts/client/bus_values.h"
#include "platform/linux/session_bus_address.h"
#include "tools/finder/doctor/limits.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

// Starting a program takes longer than an answer; the bus itself waits for 25 seconds.
constexpr std::chrono::seconds kStartPatience{10};

GLibPtr<GVariant> AskBus(GDBusConnection* connection, const char* member, GVariant* parameters,
                         const char* replyType, std::string* error,
                         std::chrono::milliseconds limit = kPatience) {
  return CallBus(connection,
                 {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", member,
                  parameters, replyType},
                 limit, error);
}

std::string ProcessOf(GDBusConnection* connection) {
  std::string error;
  const GLibPtr<GVariant> reply = AskBus(connection, "GetConnectionUnixProcessID",
                                         g_variant_new("(s)", kBusName), "(u)", &error);
  guint32 process = 0;
  if (reply != nullptr) g_variant_get(reply.get(), "(u)", &process);
  return process == 0 ? "PROCESS" : std::to_string(process);
}

// False when it does not run and cannot be made to.
bool StartIfNeeded(GDBusConnection* connection, Check* check) {
  if (HasOwner(connection, kBusName)) return true;
  if (!IsActivatable(connection, kBusName)) {
    check->Fail("It does not run, and the session bus knows no program to start for it.",
                "Install the package kelvo-finder-sync. If it is installed, log out and in again: "
                "the bus may not have noticed it yet.");
    return false;
  }
  std::string error;
  if (AskBus(connection, "StartServiceByName", g_variant_new("(su)", kBusName, 0U), "(u)", &error,
             kStartPatience) == nullptr) {
    check->Fail("It does not run, and the bus could not start it: " + error,
                "Run kelvo-finder-sync in a terminal and read what it says.");
    check->Advise("See what it said before: journalctl --user -u kelvo-finder-sync -n 20");
    return false;
  }
  check->Pass("It did not run; the bus has just started it, as it does for a file manager.");
  return true;
}

void CompareVersions(const std::string& running, const std::string& process, Check* check) {
  if (running == deployment::kVersion) {
    check->Pass("Version " + Shown(running) + " runs (process " + process + ") and answers.");
    return;
  }
  check->Warn("Version " + Shown(running) + " runs (process " + process + "), but version " +
                  deployment::kVersion + " is installed.",
              "End the old one: kill " + process +
                  " . The bus starts the new one for the next file manager that asks.");
}

}  // namespace

GLibPtr<GVariant> CallBus(GDBusConnection* connection, const BusCall& call,
                          std::chrono::milliseconds limit, std::string* error) {
  GErrorSlot failure;
  GLibPtr<GVariant> reply(g_dbus_connection_call_sync(
      connection, call.destination, call.path, call.interface, call.member, call.parameters,
      G_VARIANT_TYPE(call.replyType), G_DBUS_CALL_FLAGS_NONE, static_cast<int>(limit.count()),
      nullptr, failure.out()));
  if (reply != nullptr) return reply;
  const GLibPtr<GError> plain(g_error_copy(failure.get()));
  g_dbus_error_strip_remote_error(plain.get());
  *error = tools::PrintableText(plain->message);
  return nullptr;
}

bool HasOwner(GDBusConnection* connection, const char* name) {
  std::string error;
  const GLibPtr<GVariant> reply =
      AskBus(connection, "NameHasOwner", g_variant_new("(s)", name), "(b)", &error);
  return reply != nullptr && g_variant_get_boolean(Child(reply.get(), 0).get()) == TRUE;
}

bool IsActivatable(GDBusConnection* connection, const char* name) {
  std::string error;
  const GLibPtr<GVariant> reply =
      AskBus(connection, "ListActivatableNames", nullptr, "(as)", &error);
  if (reply == nullptr) return false;
  const GLibPtr<GVariant> names = Child(reply.get(), 0);
  for (gsize i = 0; i < g_variant_n_children(names.get()); ++i) {
    if (std::string_view(g_variant_get_string(Child(names.get(), i).get(), nullptr)) == name) {
      return true;
    }
  }
  return false;
}

Check CheckSessionBus(bool threads, std::unique_ptr<ExtensionClient>* client) {
  Check check{"session-bus", "Session bus"};
  if (!threads) {
    client->reset();
    check.Fail("Not examined: the system gives this program no threads.",
               "End programs that you do not need, or let more of them run: see ulimit -u");
    return check;
  }
  std::string error;
  *client = ExtensionClient::Connect(&error, kPatience);
  if (*client != nullptr) {
    const std::string address = SessionBusAddress();
    check.Pass("It answers at " + tools::PrintableText(address.substr(0, address.find(','))) + ".");
    return check;
  }
  error.front() = g_ascii_toupper(error.front());
  check.Fail(tools::PrintableText(error) + ".",
             "Call the doctor in a terminal of the desktop that the file manager is on, not "
             "through ssh, su or sudo.");
  check.Advise("If this is that terminal, log out and in again: the session's bus is gone.");
  return check;
}

Check CheckExtension(ExtensionClient* client, ExtensionFacts* facts) {
  Check check{"extension", "Extension"};
  if (client == nullptr) {
    check.Note("Not examined: there is no session bus.");
    return check;
  }
  if (!StartIfNeeded(client->Connection(), &check)) return check;
  const std::string process = ProcessOf(client->Connection());
  std::string error;
  facts->properties = client->ReadProperties(&error);
  if (!facts->properties) {
    check.Fail("It runs (process " + process + "), but: " + error,
               "End it: kill " + process + " , or kill -KILL " + process +
                   " if that does not help. The bus starts it anew when a file manager asks.");
    return check;
  }
  CompareVersions(facts->properties->version, process, &check);
  facts->diagnosis = client->Diagnose(&error);
  if (!facts->diagnosis) {
    check.Warn(
        "It tells nothing of the Agent and its configuration, as older versions do: " + error,
        "Update the package kelvo-finder-sync.");
  }
  return check;
}

}  // namespace kelvo::finder
