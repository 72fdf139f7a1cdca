#include "tools/sample_agent/projects_text.h"

#include <string_view>

#include "platform/linux/glib_ptr.h"

namespace kelvo::sample_agent {
namespace {

// The peer reads "%41;" as "A", so a percent sign itself has to be written that way.
std::string EscapePercent(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    if (character == '%') {
      escaped += "%25;";
    } else {
      escaped += character;
    }
  }
  return escaped;
}

void AppendElement(std::string& xml, const std::string& name, const PropertyList& value) {
  const std::string text = EscapePercent(value.ToText().value_or(""));
  const GLibPtr<char> escaped(g_markup_escape_text(text.data(), static_cast<gssize>(text.size())));
  xml += '<' + name + '>' + escaped.get() + "</" + name + '>';
}

bool IsSubscribed(const PropertyList::Dictionary& project) {
  const PropertyList* subscribed = FindValue(project, "subscribed");
  return subscribed != nullptr && subscribed->ToBool().value_or(false);
}

}  // namespace

std::string WriteProjectList(const std::vector<PropertyList::Dictionary>& projects,
                             bool subscribed) {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><project-list>";
  for (const PropertyList::Dictionary& project : projects) {
    if (IsSubscribed(project) != subscribed) continue;
    xml += "<project>";
    for (const auto& [key, value] : project) AppendElement(xml, key, value);
    xml += "</project>";
  }
  return xml + "</project-list>";
}

}  // namespace kelvo::sample_agent
