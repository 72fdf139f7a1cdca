#include "platform/linux/user_unit.h"

#include <gio/gunixfdlist.h>

#include "platform/linux/glib_ptr.h"

namespace kelvo {
namespace {

constexpr char kManager[] = "org.freedesktop.systemd1";
constexpr char kManagerPath[] = "/org/freedesktop/systemd1";
constexpr char kManagerInterface[] = "org.freedesktop.systemd1.Manager";
constexpr int kAnswerMilliseconds = 3000;

void AddProperty(GVariantBuilder& properties, const char* name, GVariant* value) {
  g_variant_builder_add(&properties, "(sv)", name, value);
}

GVariant* NewCommand(const std::vector<std::string>& command) {
  GVariantBuilder arguments;
  g_variant_builder_init(&arguments, G_VARIANT_TYPE_STRING_ARRAY);
  for (const std::string& argument : command) {
    g_variant_builder_add(&arguments, "s", argument.c_str());
  }
  GVariantBuilder commands;
  g_variant_builder_init(&commands, G_VARIANT_TYPE("a(sasb)"));
  g_variant_builder_add(&commands, "(sasb)", command.front().c_str(), &arguments, FALSE);
  return g_variant_builder_end(&commands);
}

// `channel`: its place in the list of descriptors.
GVariant* NewProperties(const std::string& description, const std::vector<std::string>& command,
                        int channel) {
  GVariantBuilder properties;
  g_variant_builder_init(&properties, G_VARIANT_TYPE("a(sv)"));
  AddProperty(properties, "Description", g_variant_new_string(description.c_str()));
  AddProperty(properties, "CollectMode", g_variant_new_string("inactive-or-failed"));
  AddProperty(properties, "KillMode", g_variant_new_string("process"));
  AddProperty(properties, "StandardInputFileDescriptor", g_variant_new_handle(channel));
  AddProperty(properties, "StandardOutputFileDescriptor", g_variant_new_handle(channel));
  AddProperty(properties, "ExecStart", NewCommand(command));
  return g_variant_builder_end(&properties);
}

std::string NewUnitName() {
  const GLibPtr<char> id(g_uuid_string_random());
  return std::string("kelvo-open-") + id.get() + ".service";
}

}  // namespace

bool StartInUserUnit(const std::string& description, const std::vector<std::string>& command,
                     int channel, std::string& error) {
  GErrorSlot slot;
  const auto fail = [&] {
    error = slot.text();
    return false;
  };
  const GObjectPtr<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, slot.out()));
  if (bus == nullptr) return fail();
  const GObjectPtr<GUnixFDList> descriptors(g_unix_fd_list_new());
  const int place = g_unix_fd_list_append(descriptors.get(), channel, slot.out());
  if (place < 0) return fail();
  const GLibPtr<GVariant> job(g_dbus_connection_call_with_unix_fd_list_sync(
      bus.get(), kManager, kManagerPath, kManagerInterface, "StartTransientUnit",
      g_variant_new("(ss@a(sv)a(sa(sv)))", NewUnitName().c_str(), "fail",
                    NewProperties(description, command, place), nullptr),
      G_VARIANT_TYPE("(o)"), G_DBUS_CALL_FLAGS_NO_AUTO_START, kAnswerMilliseconds,
      descriptors.get(), nullptr, nullptr, slot.out()));
  return job != nullptr || fail();
}

}  // namespace kelvo
