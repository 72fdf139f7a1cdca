#include "tools/sample_agent/storage_xml.h"

#include <libxml/tree.h>

#include "settings/value_utilities.h"
#include "settings/xml_document.h"

namespace kelvo::sample_agent {
namespace {

const xmlChar* Xml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

// The child of this name, made when there is none.
xmlNode* EnsureChild(xmlNode* parent, const std::string& name) {
  xmlNode* child = FindChildNode(parent, name);
  return child != nullptr ? child : xmlNewChild(parent, nullptr, Xml(name.c_str()), nullptr);
}

void SetText(xmlNode* parent, const std::string& name, const std::string& text) {
  xmlNode* child = EnsureChild(parent, name);
  xmlNodeSetContent(child, nullptr);
  xmlNodeAddContent(child, Xml(text.c_str()));  // this one needs no escaping
}

// The document, with a root element of this name; null when `existing` is something else.
XmlDocument OpenDocument(const std::string& existing, const char* root) {
  if (existing.empty()) {
    XmlDocument fresh(xmlNewDoc(Xml("1.0")));
    xmlDocSetRootElement(fresh.get(), xmlNewNode(nullptr, Xml(root)));
    return fresh;
  }
  XmlDocument document = ParseXmlDocument(existing, nullptr);
  if (document == nullptr) return nullptr;
  if (FindChildNode(reinterpret_cast<xmlNode*>(document.get()), root) == nullptr) return nullptr;
  return document;
}

std::string TextOf(xmlDoc* document) {
  xmlChar* bytes = nullptr;
  int length = 0;
  xmlDocDumpMemoryEnc(document, &bytes, &length, "UTF-8");
  std::string text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
  xmlFree(bytes);
  return text;
}

// The element of the folder with this path, or null.
xmlNode* FindFolder(xmlNode* stores, const std::string& path) {
  for (xmlNode* child = stores->children; child != nullptr; child = child->next) {
    if (NodeText(FindChildNode(child, "path")) == path) return child;
  }
  return nullptr;
}

}  // namespace

std::optional<std::string> MergeStorageFolders(const std::string& existing,
                                               const AccountData& account) {
  const XmlDocument document = OpenDocument(existing, "stores");
  if (document == nullptr) return std::nullopt;
  xmlNode* stores = xmlDocGetRootElement(document.get());
  for (const AccountData::StoredFolder& folder : account.folders) {
    xmlNode* store = FindFolder(stores, folder.path);
    if (store == nullptr) store = xmlNewChild(stores, nullptr, Xml("store"), nullptr);
    SetText(store, "path", folder.path);
    SetText(store, "total", std::to_string(folder.total));
    SetText(store, "stored", std::to_string(folder.stored));
  }
  return TextOf(document.get());
}

std::optional<std::string> MergeStorageQuota(const std::string& existing,
                                             const AccountData& account) {
  const XmlDocument document = OpenDocument(existing, "request");
  if (document == nullptr) return std::nullopt;
  xmlNode* parameters = EnsureChild(xmlDocGetRootElement(document.get()), "parameters");
  for (const auto& [name, number] : account.quota) {
    SetText(parameters, name, std::to_string(number));
  }
  return TextOf(document.get());
}

}  // namespace kelvo::sample_agent
