#include "hosts/bus/diagnostics_variant.h"

#include <string>

#include "core/diagnostics.h"
#include "ui/display_text.h"

namespace kelvo {

GVariant* DiagnosticsToVariant(const Diagnostics& facts) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
  const auto add = [&builder](const char* key, GVariant* value) {
    g_variant_builder_add(&builder, "{sv}", key, value);
  };
  const auto addPath = [&add](const char* key, const std::string& path) {
    if (path.empty()) return;
    add(key, g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, path.data(), path.size(), 1));
  };
  const auto addText = [&add](const char* key, const std::string& text) {
    if (!text.empty()) add(key, g_variant_new_string(DisplayText(text).c_str()));
  };
  addPath("agent-socket", facts.agentAddress);
  add("agent-connected", g_variant_new_boolean(facts.agent.connectedSince.has_value()));
  if (facts.agent.connectedSince) {
    add("connected-since", g_variant_new_int64(*facts.agent.connectedSince));
  }
  if (facts.agent.lastMessageTime) {
    add("last-message-time", g_variant_new_int64(*facts.agent.lastMessageTime));
  }
  addText("last-message", facts.agent.lastMessage);
  addPath("configuration-file", facts.configurationFile);
  addText("configuration-label", facts.configurationLabel);
  add("configuration-read", g_variant_new_boolean(facts.configurationRead));
  addPath("log-file", facts.logFile);
  add("started", g_variant_new_boolean(facts.started));
  return g_variant_new("(a{sv})", &builder);
}

}  // namespace kelvo
