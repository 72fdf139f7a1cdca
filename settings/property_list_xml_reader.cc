#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/string_utils.h"
#include "settings/property_list_binary.h"
#include "settings/property_list_limits.h"
#include "settings/property_list_scalars.h"
#include "settings/property_list_xml.h"

namespace kelvo {
namespace {

// A property list's longest tag names a version. The parser compares each attribute of a tag with
// all others before it tells of them, which takes hours for a file full of them.
constexpr std::size_t kMaxMarkup = std::size_t{256} << 10;
constexpr int kMaxAttributes = 32;

enum class Element : std::uint8_t {
  kPlist,
  kArray,
  kDict,
  kKey,
  kString,
  kInteger,
  kReal,
  kTrue,
  kFalse,
  kDate,
  kData
};

constexpr std::string_view kElementNames[] = {
    "plist", "array", "dict", "key", "string", "integer", "real", "true", "false", "date", "data"};

std::optional<Element> ElementNamed(std::string_view name) {
  for (std::size_t i = 0; i < std::size(kElementNames); ++i) {
    if (kElementNames[i] == name) return static_cast<Element>(i);
  }
  return std::nullopt;
}

std::string Tag(std::string_view name) {
  constexpr std::size_t kLongest = 60;
  return "<" + EscapeControlCharacters(ToValidUtf8(name.substr(0, kLongest))) + ">";
}
std::string Tag(Element element) { return Tag(kElementNames[static_cast<std::size_t>(element)]); }

std::string_view View(const xmlChar* text) {
  return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

// Builds the value from the parser's events; the events of deep nesting cost no stack.
class Reader {
 public:
  std::optional<PropertyList> Read(std::string_view text, std::string* error);

 private:
  struct Open {
    Element element;
    PropertyList::Array array;
    PropertyList::Dictionary dictionary;
    std::optional<std::string> key;  // waits for its value
  };
  struct FreeContext {
    void operator()(xmlParserCtxt* context) const {
      // In libxml2's compatibility mode a declaration makes a document, which a stop leaves behind.
      if (context->myDoc != nullptr) xmlFreeDoc(context->myDoc);
      context->myDoc = nullptr;
      xmlFreeParserCtxt(context);
    }
  };

  static int Feed(void* self, char* buffer, int size);
  static xmlSAXHandler Handlers();
  void Parse();
  void Declares(const char* kind, const xmlChar* name);
  void StartElement(std::string_view name, int attributes);
  void EndElement();
  void Characters(std::string_view text);
  bool MayStart(Element element);
  void EndLeaf(Element element);
  void EndContainer();
  std::optional<PropertyList> LeafValue(Element element) const;
  void Attach(PropertyList value);
  void Fail(const std::string& reason);
  void ParserError(int code, int level, const char* message);
  std::string Where() const;

  std::unique_ptr<xmlParserCtxt, FreeContext> context_;
  std::string_view text_;       // what the parser has not been given yet
  std::size_t sinceEvent_ = 0;  // bytes given since the parser last told of something
  bool started_ = false;
  bool done_ = false;
  std::vector<Open> open_;
  std::optional<Element> leaf_;
  std::string leafText_;  // of the leaf or key being read
  std::optional<PropertyList> value_;
  std::uint64_t values_ = 0;
  std::string failure_;
};

std::optional<PropertyList> Reader::Read(std::string_view text, std::string* error) {
  text_ = text;
  if (text.size() > kMaxPropertyListBytes) {
    failure_ = "larger than " + std::to_string(kMaxPropertyListBytes >> 20) + " MiB";
  } else {
    Parse();
  }
  if (done_ && failure_.empty()) return std::move(value_);
  if (error != nullptr) *error = failure_.empty() ? "ends before </plist>" : failure_;
  return std::nullopt;
}

void Reader::Parse() {
  xmlInitParser();
  xmlSAXHandler handlers = Handlers();
  context_.reset(
      xmlCreateIOParserCtxt(&handlers, this, Feed, nullptr, this, XML_CHAR_ENCODING_NONE));
  if (context_ == nullptr) {
    failure_ = "no memory for the XML parser";
    return;
  }
  xmlCtxtUseOptions(context_.get(), XML_PARSE_NONET);
  // Some errors (of character conversion) reach only the thread's handler, whose default prints.
  const xmlStructuredErrorFunc formerHandler = xmlStructuredError;
  void* const formerContext = xmlStructuredErrorContext;
  xmlSetStructuredErrorFunc(this, handlers.serror);
  xmlParseDocument(context_.get());
  xmlSetStructuredErrorFunc(formerContext, formerHandler);
}

// Gives the parser its next bytes, none once the result stands: it would go through all the rest.
int Reader::Feed(void* self, char* buffer, int size) {
  auto& reader = *static_cast<Reader*>(self);
  if (reader.done_ || !reader.failure_.empty()) return 0;
  if (reader.sinceEvent_ > kMaxMarkup) {
    reader.failure_ = reader.Where() + "a tag or comment is too long";
    return 0;
  }
  const std::string_view part = reader.text_.substr(0, static_cast<std::size_t>(size));
  std::copy(part.begin(), part.end(), buffer);
  reader.text_.remove_prefix(part.size());
  reader.sinceEvent_ += part.size();
  return static_cast<int>(part.size());
}

xmlSAXHandler Reader::Handlers() {
  xmlSAXHandler sax{};
  sax.initialized = XML_SAX2_MAGIC;
  sax.startElementNs = [](void* reader, const xmlChar* name, const xmlChar* prefix, const xmlChar*,
                          int, const xmlChar**, int attributes, int, const xmlChar**) {
    const std::string qualified = prefix == nullptr ? "" : std::string(View(prefix)) + ":";
    static_cast<Reader*>(reader)->StartElement(qualified + std::string(View(name)), attributes);
  };
  sax.endElementNs = [](void* reader, const xmlChar*, const xmlChar*, const xmlChar*) {
    static_cast<Reader*>(reader)->EndElement();
  };
  sax.characters = [](void* reader, const xmlChar* text, int length) {
    static_cast<Reader*>(reader)->Characters(
        {reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)});
  };
  sax.ignorableWhitespace = sax.characters;
  sax.cdataBlock = sax.characters;
  sax.comment = [](void* reader, const xmlChar*) { static_cast<Reader*>(reader)->sinceEvent_ = 0; };
  sax.entityDecl = [](void* reader, const xmlChar* name, int, const xmlChar*, const xmlChar*,
                      xmlChar*) { static_cast<Reader*>(reader)->Declares("entity", name); };
  sax.elementDecl = [](void* reader, const xmlChar* name, int, xmlElementContent*) {
    static_cast<Reader*>(reader)->Declares("element", name);
  };
  sax.attributeDecl = [](void* reader, const xmlChar*, const xmlChar* name, int, int,
                         const xmlChar*, xmlEnumeration* values) {
    xmlFreeEnumeration(values);
    static_cast<Reader*>(reader)->Declares("attribute", name);
  };
  sax.reference = [](void* reader, const xmlChar* name) {
    static_cast<Reader*>(reader)->Fail("uses the unknown entity " + Tag(View(name)));
  };
  sax.serror = [](void* reader, auto* error) {
    static_cast<Reader*>(reader)->ParserError(error->code, error->level, error->message);
  };
  return sax;
}

void Reader::Declares(const char* kind, const xmlChar* name) {
  Fail(std::string("declares the ") + kind + " " + Tag(View(name)));
}

void Reader::StartElement(std::string_view name, int attributes) {
  sinceEvent_ = 0;
  if (done_ || !failure_.empty()) return;
  if (attributes > kMaxAttributes) return Fail("too many attributes in " + Tag(name));
  const std::optional<Element> element = ElementNamed(name);
  if (!element) return Fail("unknown element " + Tag(name));
  if (!started_) {
    if (*element != Element::kPlist) return Fail("the root is " + Tag(name) + ", not <plist>");
    started_ = true;
    return;
  }
  if (!MayStart(*element)) return;
  leafText_.clear();
  if (*element == Element::kArray || *element == Element::kDict) {
    open_.push_back({*element, {}, {}, std::nullopt});
  } else {
    leaf_ = element;
  }
}

bool Reader::MayStart(Element element) {
  Open* parent = open_.empty() ? nullptr : &open_.back();
  const bool inDictionary = parent != nullptr && parent->element == Element::kDict;
  std::string reason;
  if (element == Element::kPlist) {
    reason = "<plist> inside <plist>";
  } else if (leaf_) {
    reason = Tag(element) + " inside " + Tag(*leaf_);
  } else if (element == Element::kKey) {
    if (!inDictionary) reason = "<key> outside of <dict>";
    if (inDictionary && parent->key) reason = "no value for the key " + Tag(*parent->key);
  } else if (inDictionary && !parent->key) {
    reason = Tag(element) + " without a key";
  } else if (parent == nullptr && value_) {
    reason = "more than one value in <plist>";
  } else if (open_.size() >= static_cast<std::size_t>(PropertyList::kMaxDepth)) {
    reason = "nested deeper than " + std::to_string(PropertyList::kMaxDepth) + " levels";
  } else if (++values_ > kMaxPropertyListValues) {
    reason = "more than " + std::to_string(kMaxPropertyListValues) + " values";
  }
  if (reason.empty()) return true;
  Fail(reason);
  return false;
}

void Reader::Characters(std::string_view text) {
  sinceEvent_ = 0;
  if (done_ || !failure_.empty()) return;
  if (leaf_) {
    leafText_ += text;
  } else if (!TrimWhiteSpace(text).empty()) {
    Fail("text outside of a value");
  }
}

void Reader::EndElement() {
  sinceEvent_ = 0;
  if (done_ || !failure_.empty()) return;
  if (leaf_) {
    EndLeaf(*std::exchange(leaf_, std::nullopt));
  } else if (!open_.empty()) {
    EndContainer();
  } else if (!value_) {
    Fail("no value in <plist>");
  } else {
    done_ = true;
    // What follows may be the rest of a longer file that is just being written over.
    xmlStopParser(context_.get());
  }
}

void Reader::EndLeaf(Element element) {
  if (element == Element::kKey) {
    open_.back().key = std::exchange(leafText_, {});
    return;
  }
  if (element == Element::kString) return Attach(PropertyList(std::exchange(leafText_, {})));
  std::optional<PropertyList> value = LeafValue(element);
  if (!value) return Fail("not a value of " + Tag(element) + ": " + Tag(leafText_));
  Attach(*std::move(value));
}

std::optional<PropertyList> Reader::LeafValue(Element element) const {
  switch (element) {
    case Element::kInteger:
      return ParseIntegerText(leafText_);
    case Element::kReal:
      if (const auto real = ParseRealText(leafText_)) return PropertyList(*real);
      return std::nullopt;
    case Element::kDate:
      if (const auto date = ParseDateText(leafText_)) return PropertyList(*date);
      return std::nullopt;
    case Element::kData:
      if (auto bytes = DecodeBase64(leafText_)) {
        return PropertyList(PropertyList::Data{*std::move(bytes)});
      }
      return std::nullopt;
    case Element::kTrue:
    case Element::kFalse:
      if (!TrimWhiteSpace(leafText_).empty()) return std::nullopt;
      return PropertyList(element == Element::kTrue);
    default:
      return std::nullopt;
  }
}

void Reader::EndContainer() {
  Open ended = std::move(open_.back());
  if (ended.key) return Fail("no value for the key " + Tag(*ended.key));
  open_.pop_back();
  if (ended.element == Element::kArray) {
    Attach(PropertyList(std::move(ended.array)));
  } else {
    Attach(PropertyList(std::move(ended.dictionary)));
  }
}

void Reader::Attach(PropertyList value) {
  if (open_.empty()) {
    value_ = std::move(value);
  } else if (open_.back().element == Element::kArray) {
    open_.back().array.push_back(std::move(value));
  } else {
    Open& parent = open_.back();
    parent.dictionary.insert_or_assign(*std::move(parent.key), std::move(value));
    parent.key.reset();
  }
}

std::string Reader::Where() const {
  return "line " + std::to_string(xmlSAX2GetLineNumber(context_.get())) + ": ";
}

void Reader::Fail(const std::string& reason) {
  if (failure_.empty() && !done_) failure_ = Where() + reason;
  xmlStopParser(context_.get());
}

void Reader::ParserError(int code, int level, const char* message) {
  if (level != XML_ERR_FATAL || done_ || !failure_.empty()) return;
  // libxml2 has a limit of its own that may be reached one level earlier.
  const bool tooDeep = open_.size() >= static_cast<std::size_t>(PropertyList::kMaxDepth) &&
                       code == XML_ERR_INTERNAL_ERROR;
  const std::string reason =
      tooDeep ? "nested deeper than " + std::to_string(PropertyList::kMaxDepth) + " levels"
              : std::string(TrimWhiteSpace(message == nullptr ? "not XML" : message));
  failure_ = Where() + EscapeControlCharacters(ToValidUtf8(reason));
}

}  // namespace

std::optional<PropertyList> ReadXmlPropertyList(std::string_view text, std::string* error) {
  return Reader().Read(text, error);
}

std::optional<PropertyList> ReadPropertyList(std::string_view bytes, std::string* error) {
  return bytes.starts_with("bplist") ? ReadBinaryPropertyList(bytes, error)
                                     : ReadXmlPropertyList(bytes, error);
}

}  // namespace kelvo
