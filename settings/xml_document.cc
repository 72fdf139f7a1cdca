#include "settings/xml_document.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include "base/string_utils.h"
#include "settings/property_list_scalars.h"

namespace kelvo {
namespace {

// The Agent's longest texts list some ten thousand projects in a few megabytes.
constexpr std::size_t kMaxBytes = std::size_t{64} << 20;
// A node takes some 120 bytes of memory, its shortest text four.
constexpr std::size_t kMaxNodes = 2'000'000;
constexpr std::size_t kMaxAttributes = 1'000'000;
// The parser compares each attribute of a tag with all others before it tells of the tag, and each
// prefix with all namespaces that are open.
constexpr std::size_t kMaxMarkup = std::size_t{256} << 10;
constexpr int kMaxAttributesOfTag = 1000;
constexpr int kMaxOpenNamespaces = 64;

// Has libxml2 build its tree, but counts what goes into it, and empties what a text declares.
class Builder {
 public:
  XmlDocument Build(std::string_view text, std::string* error);

 private:
  struct FreeContext {
    void operator()(xmlParserCtxt* context) const {
      if (context->myDoc != nullptr) xmlFreeDoc(context->myDoc);
      context->myDoc = nullptr;
      xmlFreeParserCtxt(context);
    }
  };

  // libxml2's own handlers take the context, so that is what every handler is given.
  static Builder& Of(void* context) {
    return *static_cast<Builder*>(static_cast<xmlParserCtxt*>(context)->_private);
  }
  static int Feed(void* self, char* buffer, int size);
  static xmlSAXHandler Handlers();
  static void StartElement(void* context, const xmlChar* name, const xmlChar* prefix,
                           const xmlChar* uri, int namespaceCount, const xmlChar** namespaces,
                           int attributeCount, int defaulted, const xmlChar** attributes);
  static void Characters(void* context, const xmlChar* text, int length);
  static void DeclareEntity(void* context, const xmlChar* name, int type, const xmlChar* publicId,
                            const xmlChar* systemId, xmlChar* content);
  void Parse();
  bool MayAdd();
  void Fail(const char* reason);
  void ParserError(int level, const char* message);

  std::unique_ptr<xmlParserCtxt, FreeContext> context_;
  std::string_view text_;       // what the parser has not been given yet
  std::size_t sinceEvent_ = 0;  // bytes given since the parser last told of something
  std::size_t nodes_ = 0;
  std::size_t attributes_ = 0;
  std::string failure_;
};

XmlDocument Builder::Build(std::string_view text, std::string* error) {
  text_ = text;
  if (text.size() > kMaxBytes) {
    failure_ = "larger than " + std::to_string(kMaxBytes >> 20) + " MiB";
  } else {
    Parse();
  }
  if (failure_.empty() && context_->wellFormed != 0 && context_->myDoc != nullptr) {
    return XmlDocument(std::exchange(context_->myDoc, nullptr));
  }
  if (error != nullptr) *error = failure_.empty() ? "not XML" : failure_;
  return nullptr;
}

void Builder::Parse() {
  xmlInitParser();
  xmlSAXHandler handlers = Handlers();
  context_.reset(
      xmlCreateIOParserCtxt(&handlers, nullptr, Feed, nullptr, this, XML_CHAR_ENCODING_NONE));
  if (context_ == nullptr) {
    failure_ = "no memory for the XML parser";
    return;
  }
  context_->_private = this;
  xmlCtxtUseOptions(context_.get(), XML_PARSE_NONET);
  // Some errors (of character conversion) reach only the thread's handler, whose default prints.
  const xmlStructuredErrorFunc formerHandler = xmlStructuredError;
  void* const formerContext = xmlStructuredErrorContext;
  xmlSetStructuredErrorFunc(context_.get(), handlers.serror);
  xmlParseDocument(context_.get());
  xmlSetStructuredErrorFunc(formerContext, formerHandler);
}

int Builder::Feed(void* self, char* buffer, int size) {
  auto& builder = *static_cast<Builder*>(self);
  if (!builder.failure_.empty()) return 0;
  if (builder.sinceEvent_ > kMaxMarkup) {
    builder.failure_ = "a tag or comment is too long";
    return 0;
  }
  const std::string_view part = builder.text_.substr(0, static_cast<std::size_t>(size));
  std::copy(part.begin(), part.end(), buffer);
  builder.text_.remove_prefix(part.size());
  builder.sinceEvent_ += part.size();
  return static_cast<int>(part.size());
}

xmlSAXHandler Builder::Handlers() {
  xmlSAXHandler sax{};
  xmlSAXVersion(&sax, 2);
  sax.startElementNs = StartElement;
  sax.endElementNs = [](void* context, const xmlChar* name, const xmlChar* prefix,
                        const xmlChar* uri) {
    Of(context).sinceEvent_ = 0;
    xmlSAX2EndElementNs(context, name, prefix, uri);
  };
  sax.characters = Characters;
  sax.ignorableWhitespace = Characters;
  // As text: libxml2 joins adjoining sections by copying all of them for each.
  sax.cdataBlock = Characters;
  sax.comment = [](void* context, const xmlChar* text) {
    if (Of(context).MayAdd()) xmlSAX2Comment(context, text);
  };
  sax.processingInstruction = [](void* context, const xmlChar* target, const xmlChar* data) {
    if (Of(context).MayAdd()) xmlSAX2ProcessingInstruction(context, target, data);
  };
  sax.reference = [](void* context, const xmlChar* name) {
    if (Of(context).MayAdd()) xmlSAX2Reference(context, name);
  };
  sax.entityDecl = DeclareEntity;
  sax.unparsedEntityDecl = nullptr;
  sax.notationDecl = nullptr;
  sax.elementDecl = nullptr;
  sax.attributeDecl = [](void*, const xmlChar*, const xmlChar*, int, int, const xmlChar*,
                         xmlEnumeration* values) { xmlFreeEnumeration(values); };
  sax.externalSubset = nullptr;
  sax.resolveEntity = nullptr;
  sax.warning = nullptr;
  sax.error = nullptr;
  sax.fatalError = nullptr;
  sax.serror = [](void* context, auto* error) {
    Of(context).ParserError(error->level, error->message);
  };
  return sax;
}

void Builder::StartElement(void* context, const xmlChar* name, const xmlChar* prefix,
                           const xmlChar* uri, int namespaceCount, const xmlChar** namespaces,
                           int attributeCount, int defaulted, const xmlChar** attributes) {
  Builder& builder = Of(context);
  if (!builder.MayAdd()) return;
  // Defaults cost a text nothing and each tag their time and memory: counted, and left out.
  builder.attributes_ += static_cast<std::size_t>(attributeCount);
  if (attributeCount > kMaxAttributesOfTag || builder.attributes_ > kMaxAttributes) {
    return builder.Fail("too many attributes");
  }
  constexpr int kEntriesOfNamespace = 2;
  if (static_cast<xmlParserCtxt*>(context)->nsNr > kMaxOpenNamespaces * kEntriesOfNamespace) {
    return builder.Fail("too many namespaces");
  }
  xmlSAX2StartElementNs(context, name, prefix, uri, namespaceCount, namespaces,
                        attributeCount - defaulted, 0, attributes);
}

void Builder::Characters(void* context, const xmlChar* text, int length) {
  Builder& builder = Of(context);
  builder.sinceEvent_ = 0;
  if (builder.failure_.empty()) xmlSAX2Characters(context, text, length);
}

// An entity becomes known, so that references to it are no errors, but stands for nothing: neither
// a file nor a text that grows with each entity it is made of.
void Builder::DeclareEntity(void* context, const xmlChar* name, int type, const xmlChar*,
                            const xmlChar*, xmlChar*) {
  if (!Of(context).MayAdd()) return;
  const bool isParameter =
      type == XML_INTERNAL_PARAMETER_ENTITY || type == XML_EXTERNAL_PARAMETER_ENTITY;
  std::string nothing;
  xmlSAX2EntityDecl(context, name,
                    isParameter ? XML_INTERNAL_PARAMETER_ENTITY : XML_INTERNAL_GENERAL_ENTITY,
                    nullptr, nullptr, reinterpret_cast<xmlChar*>(nothing.data()));
}

// One more node.
bool Builder::MayAdd() {
  sinceEvent_ = 0;
  if (++nodes_ > kMaxNodes) Fail("too many elements");
  return failure_.empty();
}

void Builder::Fail(const char* reason) {
  if (failure_.empty()) failure_ = reason;
  xmlStopParser(context_.get());
}

void Builder::ParserError(int level, const char* message) {
  if (level != XML_ERR_FATAL || !failure_.empty()) return;
  const std::string_view reason = TrimWhiteSpace(message == nullptr ? "not XML" : message);
  failure_ = "line " + std::to_string(xmlSAX2GetLineNumber(context_.get())) + ": " +
             EscapeControlCharacters(ToValidUtf8(reason));
}

}  // namespace

XmlDocument ParseXmlDocument(std::string_view text, std::string* error) {
  return Builder().Build(text, error);
}

std::string NodeText(const xmlNode* node) {
  std::string text;
  const xmlNode* current = node;
  while (current != nullptr) {
    const bool isText = current->type == XML_TEXT_NODE || current->type == XML_CDATA_SECTION_NODE;
    if (isText && current->content != nullptr) {
      text += reinterpret_cast<const char*>(current->content);
    }
    // The children of other kinds are not their own: a reference's child is the entity.
    const bool hasChildren = current->type == XML_ELEMENT_NODE ||
                             current->type == XML_ATTRIBUTE_NODE ||
                             current->type == XML_DOCUMENT_NODE;
    if (hasChildren && current->children != nullptr) {
      current = current->children;
      continue;
    }
    while (current != node && current->next == nullptr) current = current->parent;
    current = current == node ? nullptr : current->next;
  }
  return text;
}

}  // namespace kelvo
