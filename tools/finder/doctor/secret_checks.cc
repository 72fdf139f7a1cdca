#include "tools/finder/doctor/secret_checks.h"

#include "hosts/client/bus_values.h"
#include "tools/finder/doctor/bus_checks.h"
#include "tools/finder/doctor/limits.h"

namespace kelvo::finder {
namespace {

constexpr char kSecrets[] = "org.freedesktop.secrets";
constexpr char kService[] = "org.freedesktop.Secret.Service";
constexpr char kCollection[] = "org.freedesktop.Secret.Collection";
constexpr char kWithout[] = " Badges work without it; links to files in the web do not.";

void CheckLock(GDBusConnection* connection, const std::string& collection, Check* check) {
  std::string error;
  const GLibPtr<GVariant> reply =
      CallBus(connection,
              {kSecrets, collection.c_str(), "org.freedesktop.DBus.Properties", "Get",
               g_variant_new("(ss)", kCollection, "Locked"), "(v)"},
              kPatience, &error);
  if (reply == nullptr) {
    check->Warn("Whether the default keyring is locked cannot be told: " + error);
    return;
  }
  const GLibPtr<GVariant> boxed = Child(reply.get(), 0);
  const GLibPtr<GVariant> locked = Child(boxed.get(), 0);
  if (g_variant_is_of_type(locked.get(), G_VARIANT_TYPE_BOOLEAN) == FALSE) {
    check->Warn("Whether the default keyring is locked cannot be told.");
  } else if (g_variant_get_boolean(locked.get()) == TRUE) {
    check->Warn(std::string("The default keyring is locked.") + kWithout,
                "Unlock it in the desktop's program for passwords and keys; it is unlocked at "
                "login when its password is your login password.");
  } else {
    check->Pass("The secret service answers, and the default keyring is unlocked.");
  }
}

}  // namespace

Check CheckSecretService(ExtensionClient* client) {
  Check check{"secret-service", "Secret service"};
  if (client == nullptr) {
    check.Note("Not examined: there is no session bus.");
    return check;
  }
  GDBusConnection* const connection = client->Connection();
  if (!HasOwner(connection, kSecrets) && !IsActivatable(connection, kSecrets)) {
    check.Warn(std::string("There is none on this desktop.") + kWithout,
               "Install the package gnome-keyring (or use KWallet's), then log out and in again.");
    return check;
  }
  std::string error;
  const GLibPtr<GVariant> reply = CallBus(connection,
                                          {kSecrets, "/org/freedesktop/secrets", kService,
                                           "ReadAlias", g_variant_new("(s)", "default"), "(o)"},
                                          kPatience, &error);
  if (reply == nullptr) {
    check.Warn("It does not answer within 2 seconds, or with an error: " + error + kWithout,
               "Log out and in again.");
    return check;
  }
  const std::string collection = g_variant_get_string(Child(reply.get(), 0).get(), nullptr);
  if (collection == "/") {
    check.Warn(std::string("It has no default keyring.") + kWithout,
               "Make one in the desktop's program for passwords and keys.");
    return check;
  }
  CheckLock(connection, collection, &check);
  return check;
}

}  // namespace kelvo::finder
