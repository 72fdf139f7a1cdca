// Small conversions that the settings classes share. Stateless: any thread.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelvo {

// 0 for null and for a text that does not begin with a number; white space before it is skipped.
// Beyond the range: the nearest value.
std::int32_t IntValue(const std::string* text);
std::int64_t LongValue(const std::string* text);
std::int64_t LongLongValue(const std::string* text);

// "999 B", "1.0 KB" and so on in powers of 1000 up to GB, localised; "---" for a negative size.
std::string FileSizeString(std::int64_t bytes);

// Two lower-case hex digits per byte.
std::string HexEncodeBytes(const void* bytes, std::size_t length);

// Replaces "%" hex-digits ";" by the UTF-16 code unit of that value (cut to 16 bits); what has no
// ";" within 10 characters stays as it is. nullopt for nullopt. Two units that form a surrogate
// pair give their character; an unpaired one gives U+FFFD.
std::optional<std::string> UnescapeString(const std::optional<std::string>& text);

// The first child, in document order, with exactly this name, or null. Not owned.
xmlNode* FindChildNode(xmlNode* node, std::string_view name);

// Whether `path` is `prefix` or lies below it, ignoring case (of all letters, not only of ASCII).
bool StartsWithPath(std::string_view path, std::string_view prefix);

}  // namespace kelvo
