// The Agent's XML texts as element trees. Stateless: any thread.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string>
#include <string_view>

namespace kelvo {

struct XmlDocumentDelete {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using XmlDocument = std::unique_ptr<xmlDoc, XmlDocumentDelete>;

// Nesting and size are bounded, nothing is loaded from elsewhere, entities of the document's own
// are not expanded. Null, with the parser's reason in `error` (may be null), when it does not
// parse.
XmlDocument ParseXmlDocument(std::string_view text, std::string* error);

// The text of the node and everything below it, without what stands for an entity of the
// document's own. Empty for null.
std::string NodeText(const xmlNode* node);

}  // namespace kelvo
