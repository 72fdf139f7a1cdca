#include "projects/project.h"

#include <libxml/xmlsave.h>

#include <memory>
#include <utility>

#include "base/logger.h"

namespace kelvo {
namespace {

constexpr char kPartialSubscription[] = "partialSubscriptionXML";
constexpr char kLoaderPath[] = "project-loader-path";

struct XmlBufferDelete {
  void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
};

std::optional<std::string> Text(const PropertyList::Dictionary& project, std::string_view key) {
  const PropertyList* value = FindValue(project, key);
  return value == nullptr ? std::nullopt : value->ToText();
}

std::int64_t Number(const PropertyList::Dictionary& project, std::string_view key) {
  const PropertyList* value = FindValue(project, key);
  return value == nullptr ? 0 : value->ToInteger().value_or(0);
}

bool Flag(const PropertyList::Dictionary& project, std::string_view key) {
  const PropertyList* value = FindValue(project, key);
  return value != nullptr && value->ToBool().value_or(false);
}

// The node that follows in document order, up to `root` and what lies below it.
xmlNode* NextNode(xmlNode* node, const xmlNode* root) {
  if (node->type == XML_ELEMENT_NODE && node->children != nullptr) return node->children;
  while (node != root && node->next == nullptr) node = node->parent;
  return node == root ? nullptr : node->next;
}

// The white space directly below the node, if there are elements, too.
void RemoveBlankChildren(xmlNode* node) {
  if (xmlFirstElementChild(node) == nullptr) return;
  xmlNode* next = nullptr;
  for (xmlNode* child = node->children; child != nullptr; child = next) {
    next = child->next;
    if (xmlIsBlankNode(child) == 0) continue;
    xmlUnlinkNode(child);
    xmlFreeNode(child);
  }
}

// White space between elements would keep the serialiser from indenting them.
void RemoveBlanks(xmlNode* root) {
  for (xmlNode* node = root; node != nullptr; node = NextNode(node, root)) {
    if (node->type == XML_ELEMENT_NODE) RemoveBlankChildren(node);
  }
}

std::optional<std::string> Serialise(xmlNode* element, int options) {
  const std::unique_ptr<xmlBuffer, XmlBufferDelete> buffer(xmlBufferCreate());
  xmlSaveCtxt* save = buffer == nullptr ? nullptr : xmlSaveToBuffer(buffer.get(), "UTF-8", options);
  if (save == nullptr) return std::nullopt;
  const bool written = xmlSaveTree(save, element) >= 0;
  if (xmlSaveClose(save) < 0 || !written) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(xmlBufferContent(buffer.get())),
                     static_cast<std::size_t>(xmlBufferLength(buffer.get())));
}

}  // namespace

std::string Project::id() const { return Text(project_, "id").value_or(""); }
void Project::setId(const std::string& id) { setObject(id, "id"); }
std::string Project::name() const { return Text(project_, "name").value_or(""); }
void Project::setName(const std::string& name) { setObject(name, "name"); }
std::string Project::owner() const { return Text(project_, "owner").value_or(""); }
void Project::setOwner(const std::string& owner) { setObject(owner, "owner"); }
std::string Project::path() const { return Text(project_, "local-path").value_or(""); }
void Project::setPath(const std::string& path) { setObject(path, "local-path"); }

std::optional<std::string> Project::projectLoaderSourcePath() const {
  return Text(project_, kLoaderPath);
}

void Project::setProjectLoaderSourcePath(const std::optional<std::string>& path) {
  if (path) {
    setObject(*path, kLoaderPath);
  } else {
    project_.erase(kLoaderPath);
  }
}

std::int64_t Project::totalSize() const { return Number(project_, "total-size"); }
std::int64_t Project::totalFiles() const { return Number(project_, "total-files"); }
std::int64_t Project::totalFolders() const { return Number(project_, "total-folders"); }
std::int64_t Project::syncedSize() const { return Number(project_, "synced-size"); }
std::int64_t Project::syncedFiles() const { return Number(project_, "synced-files"); }
bool Project::readOnly() const { return Flag(project_, "read-only"); }
bool Project::subscribed() const { return Flag(project_, "subscribed"); }
bool Project::known() const { return Flag(project_, "known"); }
bool Project::outOfQuota() const { return Flag(project_, "outOfQuota"); }
bool Project::external() const { return Flag(project_, "external"); }
bool Project::partial() const { return Flag(project_, "partial"); }

XmlDocument Project::partialsubscribeXML() const {
  const auto text = Text(project_, kPartialSubscription);
  if (!text || text->empty()) return nullptr;
  std::string error;
  XmlDocument document = ParseXmlDocument(*text, &error);
  if (document == nullptr) {
    KELVO_LOG(kLogWarning, "the selection of a project's folders is no XML element: " << error);
  }
  return document;
}

void Project::setPartialSubscribeXML(xmlNode* element) {
  project_.erase(kPartialSubscription);
  if (element == nullptr) return;
  // A copy, since the element may use namespaces that the elements above it declare.
  const XmlDocument document(xmlNewDoc(nullptr));
  xmlNode* copy = document == nullptr ? nullptr : xmlDocCopyNode(element, document.get(), 1);
  if (copy == nullptr) return;
  xmlDocSetRootElement(document.get(), copy);
  const auto text = Serialise(copy, XML_SAVE_NO_DECL | XML_SAVE_AS_XML);
  if (text) setObject(*text, kPartialSubscription);
}

std::optional<std::string> Project::partialSubscribePayload() const {
  const XmlDocument document = partialsubscribeXML();
  xmlNode* element = xmlDocGetRootElement(document.get());
  if (element == nullptr) return std::nullopt;
  RemoveBlanks(element);
  return Serialise(element, XML_SAVE_FORMAT | XML_SAVE_NO_DECL | XML_SAVE_AS_XML);
}

bool Project::isPartialSubscribe() const { return partialsubscribeXML() != nullptr; }
bool Project::shouldUseProjectLoader() const { return projectLoaderSourcePath().has_value(); }

void Project::setObject(PropertyList value, const std::string& key) {
  project_.insert_or_assign(key, std::move(value));
}

std::optional<PropertyList> Project::objectForKey(std::string_view key) const {
  const PropertyList* value = FindValue(project_, key);
  return value == nullptr ? std::nullopt : std::optional(*value);
}

void Project::setDictionary(PropertyList::Dictionary dictionary) {
  project_ = std::move(dictionary);
}

}  // namespace kelvo
