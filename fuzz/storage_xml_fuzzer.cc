#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "fuzz/input.h"
#include "settings/storage_folders_info.h"
#include "settings/storage_quota_info.h"
#include "settings/xml_document.h"

namespace {

using kelvo::fuzz::Require;

// Bounds of ours, or bytes behind the root that are none of the declared encoding: the parser
// reports them, but its own reader of a text in memory takes what came before.
bool IsRefusedByUsAlone(std::string_view error) {
  return error.starts_with("too many ") || error.ends_with(" too long") ||
         error.find("input conversion failed") != std::string_view::npos;
}

// The root's text as the parser's own tree has it must be the text of ours.
void CompareWithPlainTree(std::string_view text, const kelvo::XmlDocument& document,
                          const std::string& error) {
  // What is declared is deliberately read in another way.
  if (text.find("<!") != std::string_view::npos) return;
  const kelvo::XmlDocument plain(
      xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
  if (document == nullptr) {
    Require(plain == nullptr || IsRefusedByUsAlone(error));
    return;
  }
  Require(plain != nullptr);
  const xmlNode* root = xmlDocGetRootElement(document.get());
  xmlNode* plainRoot = xmlDocGetRootElement(plain.get());
  Require(xmlStrEqual(root->name, plainRoot->name) != 0);
  const std::unique_ptr<xmlChar, void (*)(void*)> content(xmlNodeGetContent(plainRoot), xmlFree);
  Require(kelvo::NodeText(root) == reinterpret_cast<const char*>(content.get()));
}

}  // namespace

// A text is read as a whole, or changes nothing and leaves a reason; sums are those of the list.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kelvo::fuzz::kMaxInput) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string error;
  const kelvo::XmlDocument document = kelvo::ParseXmlDocument(text, &error);
  Require((document == nullptr) == !error.empty());
  CompareWithPlainTree(text, document, error);

  kelvo::kelvo_StorageFoldersInfo folders("");
  Require(
      folders.loadData("<stores><a><total>3</total><stored>2</stored><path>/p</path></a>"
                       "</stores>"));
  if (!folders.loadData(text)) {
    Require(folders.list().size() == 1 && folders.total() == 3 && folders.stored() == 2);
  }
  std::uint64_t total = 0;
  std::uint64_t stored = 0;
  for (const kelvo::kelvo_StorageFolderStatus& folder : folders.list()) {
    total += static_cast<std::uint64_t>(folder.total());
    stored += static_cast<std::uint64_t>(folder.stored());
    Require(folder.isEqual(folder));
  }
  Require(folders.total() == static_cast<std::int64_t>(total));
  Require(folders.stored() == static_cast<std::int64_t>(stored));
  if (!folders.list().empty()) {
    const kelvo::kelvo_StorageFolderStatus& last = folders.list().back();
    const auto* found = folders.findInfoForPath(last.path());
    Require(found != nullptr &&
            kelvo::kelvo_StorageFolderStatus(last.path(), found->total(), found->stored())
                .isEqual(*found));
  }

  kelvo::kelvo_StorageQuotaInfo quota("");
  const bool isQuota = quota.loadData(text);
  Require(document != nullptr || !isQuota);
  if (!isQuota) Require(!quota.haveQuota() && quota.storedThisComputer() == 0);
  Require(!quota.unlimitedQuota() || quota.inQuota());
  return 0;
}
