// Values of the extension's bus interface.
#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/glib_ptr.h"

namespace kelvo {

inline constexpr char kExtensionPath[] = "/com/kelvo/FinderSync";
inline constexpr char kExtensionInterface[] = "com.kelvo.FinderSync1";

inline GVariant* Bytes(std::string_view bytes) {
  return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1);
}

// Valid as long as the value is.
inline std::string_view BytesOf(GVariant* value) {
  gsize count = 0;
  const void* bytes = g_variant_get_fixed_array(value, &count, 1);
  return bytes == nullptr ? std::string_view()
                          : std::string_view(static_cast<const char*>(bytes), count);
}

// Valid as long as the value is.
inline std::span<const std::uint32_t> NumbersOf(GVariant* value) {
  gsize count = 0;
  const void* numbers = g_variant_get_fixed_array(value, &count, sizeof(std::uint32_t));
  return {static_cast<const std::uint32_t*>(numbers), count};
}

inline GLibPtr<GVariant> Child(GVariant* container, gsize index) {
  return GLibPtr<GVariant>(g_variant_get_child_value(container, index));
}

inline GVariant* Paths(const std::vector<std::string>& paths) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("aay"));
  for (const std::string& path : paths) g_variant_builder_add_value(&builder, Bytes(path));
  return g_variant_builder_end(&builder);
}

inline std::vector<std::string> PathsOf(GVariant* array) {
  std::vector<std::string> paths;
  for (gsize i = 0; i < g_variant_n_children(array); ++i) {
    paths.emplace_back(BytesOf(Child(array, i).get()));
  }
  return paths;
}

}  // namespace kelvo
