// XML property lists, version 1.0, over libxml2: no entities, no network, bounded depth and size.
// Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/property_list.h"

namespace kelvo {

// The value in `text`, or nullopt with the reason in `error` (may be null). Text after the closing
// tag of the property list is ignored. Nesting beyond PropertyList::kMaxDepth is an error.
std::optional<PropertyList> ReadXmlPropertyList(std::string_view text, std::string* error);

// The XML form, indented with tabs, ending with a line feed; nullopt when a text has no XML form
// (not UTF-8, or a control character that XML cannot hold).
std::optional<std::string> WriteXmlPropertyList(const PropertyList& value);

// Either form, told apart by the first bytes.
std::optional<PropertyList> ReadPropertyList(std::string_view bytes, std::string* error);

}  // namespace kelvo
