#pragma once

#include <gio/gio.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/glib_ptr.h"
#include "platform/linux/session_bus.h"
#include "tests/hosts/scripted_menus.h"
#include "tests/support/main_context.h"

namespace kelvo {

inline constexpr char kName[] = "com.kelvo.FinderSync";
inline constexpr char kPath[] = "/com/kelvo/FinderSync";
inline constexpr char kInterface[] = "com.kelvo.FinderSync1";
inline constexpr char kXml[] = R"xml(<node><interface name="com.kelvo.FinderSync1">
  <method name="BeginObservingDirectory"><arg type="ay" direction="in"/></method>
  <method name="EndObservingDirectory"><arg type="ay" direction="in"/></method>
  <method name="RequestBadges"><arg type="ay" direction="in"/><arg type="ay" direction="in"/>
    <arg type="ay" direction="out"/></method>
  <!-- DescribeItems -->
  <property name="DirectoryURLs" type="aay" access="read"/>
  <property name="Badges" type="a(yss)" access="read"/>
  <property name="AgentConnected" type="b" access="read"/>
</interface></node>)xml";

inline constexpr char kDescribeItemsXml[] =
    R"xml(<method name="DescribeItems"><arg type="ay" direction="in"/><arg type="ay" direction="in"/>
    <arg type="a(sss)" direction="out"/><arg type="au" direction="out"/></method>)xml";

using test::TurnUntil;

inline GVariant* Bytes(const std::string& text) {
  return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, text.data(), text.size(), 1);
}

inline std::string Text(GVariant* tuple, gsize index) {
  const GLibPtr<GVariant> child(g_variant_get_child_value(tuple, index));
  gsize size = 0;
  const void* bytes = g_variant_get_fixed_array(child.get(), &size, 1);
  return {static_cast<const char*>(bytes), size};
}

// A bus of the test's own at a fixed address.
class Bus {
 public:
  explicit Bus(const std::string& folder) : address_("unix:path=" + folder + "/bus") {
    const std::string configuration = folder + "/bus.conf";
    const std::string text =
        "<busconfig><type>session</type><listen>" + address_ + "</listen><auth>EXTERNAL</auth>" +
        "<servicedir>" + folder + "</servicedir><policy context=\"default\">" +
        "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>" +
        "<allow own=\"*\"/></policy></busconfig>";
    g_file_set_contents(configuration.c_str(), text.data(), static_cast<gssize>(text.size()),
                        nullptr);
    const std::string option = "--config-file=" + configuration;
    daemon_.reset(g_subprocess_new(static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_PIPE |
                                                                 G_SUBPROCESS_FLAGS_STDERR_SILENCE),
                                   nullptr, "dbus-daemon", "--nofork", "--nopidfile",
                                   "--print-address", option.c_str(), nullptr));
    char first = 0;  // the address is printed once the bus listens
    listens_ = daemon_ && g_input_stream_read(g_subprocess_get_stdout_pipe(daemon_.get()), &first,
                                              1, nullptr, nullptr) == 1;
  }
  ~Bus() {
    if (!daemon_) return;
    g_subprocess_force_exit(daemon_.get());
    g_subprocess_wait(daemon_.get(), nullptr, nullptr);
  }

  bool Listens() const { return listens_; }

 private:
  const std::string address_;
  GObjectPtr<GSubprocess> daemon_;
  bool listens_ = false;
};

// An extension in the test's process with a connection of its own.
class ScriptedExtension {
 public:
  // `describes`: whether it is new enough for that.
  explicit ScriptedExtension(std::map<std::string, char> badges, bool agentConnected = true,
                             bool describes = false)
      : badges(std::move(badges)), agentConnected(agentConnected) {
    std::string xml = kXml;
    const std::string mark = "<!-- DescribeItems -->";
    if (describes) xml.replace(xml.find(mark), mark.size(), kDescribeItemsXml);
    node_.reset(g_dbus_node_info_new_for_xml(xml.c_str(), nullptr));
    static const GDBusInterfaceVTable functions = {OnCall, OnGet, nullptr, {}};
    registration_ = g_dbus_connection_register_object(
        connection_.get(), kPath, node_->interfaces[0], &functions, this, nullptr, nullptr);
    g_bus_own_name_on_connection(connection_.get(), kName, G_BUS_NAME_OWNER_FLAGS_NONE, nullptr,
                                 nullptr, nullptr, nullptr);
  }
  // Without a word, as a process that was killed.
  ~ScriptedExtension() {
    g_dbus_connection_unregister_object(connection_.get(), registration_);
    g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
  }

  void SignalBadges(const std::string& folder, const std::string& entries) {
    Emit(kInterface, "BadgesChanged", g_variant_new("(@ay@ay)", Bytes(folder), Bytes(entries)));
  }
  void SignalDescriptions(const std::string& folder, const std::string& names) {
    Emit(kInterface, "DescriptionsChanged", g_variant_new("(@ay@ay)", Bytes(folder), Bytes(names)));
  }
  void SignalAgentConnected() {
    agentConnected = true;
    SignalProperty("AgentConnected", g_variant_new_boolean(TRUE));
  }
  void SignalDirectory(const std::string& path) {
    directory = path;
    SignalProperty("DirectoryURLs", Directories());
  }
  void SignalMenus() { Emit(kInterface, "MenusChanged", nullptr); }
  GDBusConnection* Connection() const { return connection_.get(); }
  std::ptrdiff_t Count(const std::string& call) const {
    return std::count(calls.begin(), calls.end(), call);
  }

  Strings calls;  // method and folder
  std::vector<std::size_t> askedNames;
  std::map<std::string, char> badges;  // by name
  bool agentConnected;
  std::string directory = "/w";
  std::function<void()>
      whileRead;  // called once, between the reading of the folders and the answer
  std::map<std::string, std::string> owners;  // of locks, by name
  std::size_t spareDescriptions = 0;          // sent besides those of the items

 private:
  static void OnCall(GDBusConnection*, const char*, const char*, const char*, const char* method,
                     GVariant* parameters, GDBusMethodInvocation* invocation, gpointer self) {
    auto* extension = static_cast<ScriptedExtension*>(self);
    extension->calls.push_back(std::string(method) + " " + Text(parameters, 0));
    if (std::string(method) == "DescribeItems") {
      g_dbus_method_invocation_return_value(invocation, extension->Describe(Text(parameters, 1)));
      return;
    }
    if (std::string(method) != "RequestBadges") {
      g_dbus_method_invocation_return_value(invocation, nullptr);
      return;
    }
    const std::string names = Text(parameters, 1);
    std::string answer;
    for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
      const auto found = extension->badges.find(names.c_str() + at);
      answer += found == extension->badges.end() ? '0' : found->second;
    }
    extension->askedNames.push_back(answer.size());
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(@ay)", Bytes(answer)));
  }
  GVariant* Describe(const std::string& names) {
    GVariantBuilder descriptions, which;
    g_variant_builder_init(&descriptions, G_VARIANT_TYPE("a(sss)"));
    g_variant_builder_init(&which, G_VARIANT_TYPE("au"));
    guint32 place = 0;
    for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
      g_variant_builder_add(&descriptions, "(sss)", "", owners[names.c_str() + at].c_str(), "");
      g_variant_builder_add(&which, "u", place++);
    }
    for (std::size_t i = 0; i < spareDescriptions; ++i) {
      g_variant_builder_add(&descriptions, "(sss)", "", "", "");
    }
    return g_variant_new("(a(sss)au)", &descriptions, &which);
  }
  static GVariant* OnGet(GDBusConnection*, const char*, const char*, const char*,
                         const char* property, GError**, gpointer self) {
    const std::string name = property;
    if (name == "AgentConnected") {
      return g_variant_new_boolean(static_cast<ScriptedExtension*>(self)->agentConnected);
    }
    if (name == "Badges") {
      return g_variant_new_parsed(
          "[(byte 0x31, 'in-sync', 'emblem-one'),"
          " (byte 0x32, 'dirty', 'emblem-two')]");
    }
    auto* extension = static_cast<ScriptedExtension*>(self);
    GVariant* const directories = extension->Directories();
    if (const auto call = std::exchange(extension->whileRead, nullptr)) call();
    return directories;
  }
  GVariant* Directories() const {
    GVariant* path = Bytes(directory);
    return g_variant_new_array(G_VARIANT_TYPE("ay"), &path, 1);
  }
  void SignalProperty(const char* name, GVariant* value) {
    GVariantBuilder changed;
    g_variant_builder_init(&changed, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&changed, "{sv}", name, value);
    Emit("org.freedesktop.DBus.Properties", "PropertiesChanged",
         g_variant_new("(sa{sv}as)", kInterface, &changed, nullptr));
  }
  void Emit(const char* interface, const char* signal, GVariant* parameters) {
    g_dbus_connection_emit_signal(connection_.get(), nullptr, kPath, interface, signal, parameters,
                                  nullptr);
  }

  std::string error_;
  guint registration_ = 0;
  GLibPtr<GDBusNodeInfo> node_;
  const GObjectPtr<GDBusConnection> connection_ = OpenSessionBus(&error_);

 public:
  ScriptedMenus menus{connection_.get()};
};

}  // namespace kelvo
