// convert_property_list xml|binary|archive|list FILE: writes the property list in that form, or as
// the archive that the Agent's channel carries, or the dictionary of such an archive as a property
// list.
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>

#include "agent/keyed_archive.h"
#include "settings/property_list_binary.h"
#include "settings/property_list_xml.h"

namespace {

std::optional<std::string> Convert(const std::string& form, const std::string& bytes,
                                   std::string* error) {
  if (form == "list") {
    const auto dictionary = kelvo::DecodeKeyedArchive(bytes, error);
    if (!dictionary) return std::nullopt;
    return kelvo::WriteXmlPropertyList(*dictionary);
  }
  const auto value = kelvo::ReadPropertyList(bytes, error);
  if (!value) return std::nullopt;
  if (form == "xml") return kelvo::WriteXmlPropertyList(*value);
  if (form == "binary") return kelvo::WriteBinaryPropertyList(*value);
  if (value->AsDictionary() == nullptr) return std::nullopt;
  return kelvo::EncodeKeyedArchive(*value->AsDictionary());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::ifstream file(argv[2], std::ios::binary);
  std::string error;
  const auto text = Convert(argv[1], {std::istreambuf_iterator<char>(file), {}}, &error);
  std::cerr << error;
  if (text) std::cout << *text;
  return text ? 0 : 1;
}
