#include "hosts/bus/menu_variant.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "base/string_utils.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {
namespace {

constexpr std::size_t kMaxToken = 4096;

struct Icon {
  std::string_view image;
  const char* installed;
};
constexpr Icon kIcons[] = {{"App", "kelvo-finder-sync"},
                           {"locked", "emblem-kelvo-locked"},
                           {"permissionViolation", "emblem-kelvo-permission-violation"}};

const char* InstalledIcon(std::string_view image) {
  const auto* icon = std::find_if(std::begin(kIcons), std::end(kIcons),
                                  [image](const Icon& known) { return known.image == image; });
  return icon == std::end(kIcons) ? "" : icon->installed;
}

}  // namespace

GVariant* MenuToVariant(std::uint32_t serial, const Menu& menu) {
  GVariantBuilder lines;
  g_variant_builder_init(&lines, G_VARIANT_TYPE("a(ussbsb)"));
  std::uint32_t index = 0;
  for (const MenuItem& item : menu.items()) {
    g_variant_builder_add(&lines, "(ussbsb)", index++, ToValidUtf8(item.title).c_str(),
                          InstalledIcon(item.image), item.enabled ? TRUE : FALSE,
                          std::string(item.action.name).c_str(), item.separator ? TRUE : FALSE);
  }
  return g_variant_new("(ua(ussbsb))", serial, &lines);
}

std::string ActivationTokenIn(GVariant* platformData) {
  const GLibPtr<GVariant> token(
      g_variant_lookup_value(platformData, "activation-token", G_VARIANT_TYPE_STRING));
  const std::string text = token ? g_variant_get_string(token.get(), nullptr) : "";
  // It goes into the environment of programs, which is bounded.
  const bool isToken = text.size() <= kMaxToken && EscapeControlCharacters(text) == text;
  return isToken ? text : std::string();
}

}  // namespace kelvo
