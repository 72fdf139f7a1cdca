// convert_keyed_archive archive|list FILE: writes a property list's dictionary as the archive that
// the Agent's channel carries, or the dictionary of such an archive as a property list.
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "agent/keyed_archive.h"
#include "settings/property_list_xml.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::ifstream file(argv[2], std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  std::string error = "no dictionary";
  if (std::string(argv[1]) == "archive") {
    const auto value = kelvo::ReadPropertyList(bytes, &error);
    if (value && value->AsDictionary() != nullptr) {
      std::cout << kelvo::EncodeKeyedArchive(*value->AsDictionary());
      return 0;
    }
  } else if (const auto dictionary = kelvo::DecodeKeyedArchive(bytes, &error)) {
    std::cout << kelvo::WriteXmlPropertyList(kelvo::PropertyList(*dictionary)).value_or("");
    return 0;
  }
  std::cerr << error << "\n";
  return 1;
}
