#include "tools/sample_agent/projects_text.h"

#include <string_view>

#include "platform/linux/glib_ptr.h"

namespace kelvo::sample_agent {
namespace {

// The two characters beyond the control characters that XML cannot hold.
constexpr std::string_view kNoncharacters[] = {"\xEF\xBF\xBE", "\xEF\xBF\xBF"};

// The peer reads "%41;" as "A". Written that way are the percent sign itself, control characters,
// which XML cannot hold or changes, and what else has no place in XML.
std::string EscapeUnits(std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string escaped;
  while (!text.empty()) {
    const auto character = static_cast<unsigned char>(text.front());
    std::size_t length = 1;
    if (character == '%' || character < 0x20 || character == 0x7f) {
      escaped += {'%', kDigits[character >> 4], kDigits[character & 0xf], ';'};
    } else if (text.starts_with(kNoncharacters[0]) || text.starts_with(kNoncharacters[1])) {
      length = kNoncharacters[0].size();
      escaped += text.starts_with(kNoncharacters[0]) ? "%fffe;" : "%ffff;";
    } else {
      escaped += text.front();
    }
    text.remove_prefix(length);
  }
  return escaped;
}

void AppendElement(std::string& xml, const std::string& name, const PropertyList& value) {
  const std::string text = EscapeUnits(value.ToText().value_or(""));
  const GLibPtr<char> escaped(g_markup_escape_text(text.data(), static_cast<gssize>(text.size())));
  xml += '<' + name + '>' + escaped.get() + "</" + name + '>';
}

}  // namespace

std::string WriteProjectList(const std::vector<PropertyList::Dictionary>& projects) {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><project-list>";
  for (const PropertyList::Dictionary& project : projects) {
    xml += "<project>";
    for (const auto& [key, value] : project) AppendElement(xml, key, value);
    xml += "</project>";
  }
  return xml + "</project-list>";
}

}  // namespace kelvo::sample_agent
