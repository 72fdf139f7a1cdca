#pragma once

#include <optional>
#include <string>

#include "settings/xml_document.h"

namespace kelvo {

// The text of the last node, in the document's order, that the XPath leads to from the document
// itself; nothing when it leads nowhere. Any thread, one at a time for a document.
std::optional<std::string> LastNodeText(xmlDoc* document, const char* path);

}  // namespace kelvo
