#include "settings/storage_quota_info.h"

#include "base/logger.h"
#include "settings/value_utilities.h"
#include "settings/whole_file.h"
#include "settings/xml_document.h"

namespace kelvo {
namespace {

constexpr char kFile[] = "/storage_quota.xml";

bool Fail(const std::string& error) {
  KELVO_LOG(kLogError, "Cannot load storage_quota info: " << error);
  return false;
}

}  // namespace

kelvo_StorageQuotaInfo::kelvo_StorageQuotaInfo(const std::string& path)
    : settingsPath_(path.empty() ? "" : path + kFile) {}

bool kelvo_StorageQuotaInfo::load() { return !settingsPath_.empty() && loadAtPath(settingsPath_); }

bool kelvo_StorageQuotaInfo::loadAtPath(const std::string& /*file*/) {
  const auto data = ReadWholeFile(settingsPath_);
  return data && loadData(*data);
}

bool kelvo_StorageQuotaInfo::loadData(std::string_view data) {
  std::string error;
  const XmlDocument document = ParseXmlDocument(data, &error);
  if (document == nullptr) return Fail(error);
  xmlNode* request = FindChildNode(reinterpret_cast<xmlNode*>(document.get()), "request");
  xmlNode* parameters = FindChildNode(request, "parameters");
  if (parameters == nullptr) return Fail("parameters not recognized");
  const auto number = [parameters](std::string_view name) {
    const std::string text = NodeText(FindChildNode(parameters, name));
    return LongLongValue(&text);
  };
  totalOtherComputers_ = number("total-other-computers");
  storedOtherComputers_ = number("stored-other-computers");
  totalThisComputer_ = number("total-this-computer");
  storedThisComputer_ = number("stored-this-computer");
  quota_ = number("total-quota");
  return true;
}

bool kelvo_StorageQuotaInfo::inQuota() const {
  if (unlimitedQuota()) return true;
  // Foreign numbers: a difference beyond the range wraps around.
  const auto left = static_cast<std::int64_t>(static_cast<std::uint64_t>(quota_) -
                                              static_cast<std::uint64_t>(totalThisComputer_));
  return left >= totalOtherComputers_;
}

}  // namespace kelvo
