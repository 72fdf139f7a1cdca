// convert_property_list xml|binary FILE: writes the property list in that form to standard output.
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "settings/property_list_binary.h"
#include "settings/property_list_xml.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::ifstream file(argv[2], std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  std::string error;
  const auto value = kelvo::ReadPropertyList(bytes, &error);
  if (!value) {
    std::cerr << error << "\n";
    return 1;
  }
  const auto text = std::string(argv[1]) == "xml" ? kelvo::WriteXmlPropertyList(*value)
                                                  : kelvo::WriteBinaryPropertyList(*value);
  if (!text) return 1;
  std::cout << *text;
  return 0;
}
