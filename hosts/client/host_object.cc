#include "hosts/client/host_object.h"

#include <utility>

#include "hosts/client/bus_values.h"
#include "hosts/client/quietly.h"

namespace kelvo {

namespace {

constexpr char kHostPath[] = "/com/kelvo/FinderHost";
constexpr char kHostXml[] = R"xml(<node><interface name="com.kelvo.FinderHost1">
  <method name="SetClipboard">
    <arg type="s" name="text" direction="in"/><arg type="b" name="done" direction="out"/>
  </method>
</interface></node>)xml";

}  // namespace

HostObject::HostObject(SetClipboard setClipboard) : setClipboard_(std::move(setClipboard)) {}

HostObject::~HostObject() { Withdraw(); }

bool HostObject::Export(GDBusConnection* connection, const std::string& extension) {
  if (!setClipboard_) return true;
  static GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(kHostXml, nullptr);
  static const GDBusInterfaceVTable functions = {OnCall, nullptr, nullptr, {}};
  Withdraw();
  connection_.reset(static_cast<GDBusConnection*>(g_object_ref(connection)));
  extension_ = extension;
  registration_ = g_dbus_connection_register_object(connection, kHostPath, node->interfaces[0],
                                                    &functions, this, nullptr, nullptr);
  return registration_ != 0;
}

void HostObject::Withdraw() {
  if (registration_ != 0) g_dbus_connection_unregister_object(connection_.get(), registration_);
  registration_ = 0;
  connection_.reset();
}

void HostObject::OnCall(GDBusConnection*, const char* sender, const char*, const char*, const char*,
                        GVariant* parameters, GDBusMethodInvocation* invocation, gpointer self) {
  const auto* host = static_cast<HostObject*>(self);
  if (sender == nullptr || host->extension_ != sender) {
    g_dbus_method_invocation_return_error_literal(invocation, G_DBUS_ERROR,
                                                  G_DBUS_ERROR_ACCESS_DENIED,
                                                  "only the extension may write the clipboard");
    return;
  }
  bool done = false;
  Quietly([&] {
    const GLibPtr<GVariant> text = Child(parameters, 0);
    done = host->setClipboard_(g_variant_get_string(text.get(), nullptr));
  });
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(b)", done ? TRUE : FALSE));
}

}  // namespace kelvo
