#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/property_list.h"
#include "settings/xml_document.h"

namespace kelvo {

// One project, a shared top-level folder of the account, as the Agent reports it: a typed view of
// one dictionary whose keys are the Agent's.
//
// Threads: a value.
class Project {
 public:
  std::string id() const;
  void setId(const std::string& id);
  std::string name() const;
  void setName(const std::string& name);
  std::string owner() const;
  void setOwner(const std::string& owner);
  // "local-path": empty when the project has no folder here.
  std::string path() const;
  void setPath(const std::string& path);
  std::optional<std::string> projectLoaderSourcePath() const;
  void setProjectLoaderSourcePath(const std::optional<std::string>& path);

  std::int64_t totalSize() const;
  std::int64_t totalFiles() const;
  std::int64_t totalFolders() const;
  std::int64_t syncedSize() const;
  std::int64_t syncedFiles() const;
  bool readOnly() const;
  bool subscribed() const;
  bool known() const;
  bool outOfQuota() const;
  bool external() const;
  bool partial() const;

  // The selection of a partial subscription. Kept as XML text, so that it outlives the disk copy;
  // null when there is none or the text is no element.
  XmlDocument partialsubscribeXML() const;
  // `element`: null takes it away.
  void setPartialSubscribeXML(xmlNode* element);
  // The element as the Agent takes it: indented, empty elements in short form.
  std::optional<std::string> partialSubscribePayload() const;
  bool isPartialSubscribe() const;
  bool shouldUseProjectLoader() const;

  void setObject(PropertyList value, const std::string& key);
  std::optional<PropertyList> objectForKey(std::string_view key) const;
  const PropertyList::Dictionary& dictionary() const { return project_; }
  void setDictionary(PropertyList::Dictionary dictionary);

 private:
  PropertyList::Dictionary project_;
};

}  // namespace kelvo
