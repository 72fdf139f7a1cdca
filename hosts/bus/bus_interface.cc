#include "hosts/bus/bus_interface.h"

namespace kelvo {
namespace {

constexpr char kIntrospection[] = R"xml(<node>
  <interface name="com.kelvo.FinderSync1">
    <method name="BeginObservingDirectory"><arg type="ay" name="path" direction="in"/></method>
    <method name="EndObservingDirectory"><arg type="ay" name="path" direction="in"/></method>
    <method name="RequestBadges">
      <arg type="ay" name="folder" direction="in"/>
      <arg type="ay" name="names" direction="in"/>
      <arg type="ay" name="badges" direction="out"/>
    </method>
    <method name="MenuForItems">
      <arg type="u" name="kind" direction="in"/>
      <arg type="aay" name="items" direction="in"/>
      <arg type="u" name="serial" direction="out"/>
      <arg type="a(ussbsb)" name="lines" direction="out"/>
    </method>
    <method name="ChooseMenuItem">
      <arg type="u" name="serial" direction="in"/>
      <arg type="u" name="index" direction="in"/>
      <arg type="a{sv}" name="platform_data" direction="in"/>
    </method>
    <method name="ListProjects">
      <arg type="aa{sv}" name="projects" direction="out"/>
      <arg type="a{sv}" name="totals" direction="out"/>
    </method>
    <method name="DescribeItems">
      <arg type="ay" name="folder" direction="in"/>
      <arg type="ay" name="names" direction="in"/>
      <arg type="a(sss)" name="descriptions" direction="out"/>
      <arg type="au" name="which" direction="out"/>
    </method>
    <method name="Diagnose"><arg type="a{sv}" name="facts" direction="out"/></method>
    <signal name="BadgesChanged">
      <arg type="ay" name="folder"/>
      <arg type="ay" name="entries"/>
    </signal>
    <signal name="DescriptionsChanged">
      <arg type="ay" name="folder"/>
      <arg type="ay" name="names"/>
    </signal>
    <signal name="MenusChanged"/>
    <property name="DirectoryURLs" type="aay" access="read"/>
    <property name="Badges" type="a(yss)" access="read">
      <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="const"/>
    </property>
    <property name="AgentConnected" type="b" access="read"/>
    <property name="Version" type="s" access="read">
      <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="const"/>
    </property>
  </interface>
</node>
)xml";

}  // namespace

GDBusInterfaceInfo* BusInterfaceInfo() {
  static GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(kIntrospection, nullptr);
  return node->interfaces[0];
}

}  // namespace kelvo
