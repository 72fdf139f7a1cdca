#include "settings/xml_path.h"

#include <libxml/xpath.h>

namespace kelvo {
namespace {

// Many times what a path of ours takes in the largest document.
constexpr unsigned long kMaxOperations = 50'000'000;

struct FreeContext {
  void operator()(xmlXPathContext* context) const { xmlXPathFreeContext(context); }
};
struct FreeObject {
  void operator()(xmlXPathObject* object) const { xmlXPathFreeObject(object); }
};

}  // namespace

std::optional<std::string> LastNodeText(xmlDoc* document, const char* path) {
  const std::unique_ptr<xmlXPathContext, FreeContext> context(xmlXPathNewContext(document));
  if (context == nullptr) return std::nullopt;
  context->opLimit = kMaxOperations;
  context->error = [](void*, auto*) {};  // the default prints
  context->node = reinterpret_cast<xmlNode*>(document);
  const std::unique_ptr<xmlXPathObject, FreeObject> found(
      xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(path), context.get()));
  if (found == nullptr || found->type != XPATH_NODESET || found->nodesetval == nullptr ||
      found->nodesetval->nodeNr == 0) {
    return std::nullopt;
  }
  return NodeText(found->nodesetval->nodeTab[found->nodesetval->nodeNr - 1]);
}

}  // namespace kelvo
