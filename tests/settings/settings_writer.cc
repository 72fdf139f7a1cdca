// Writes settings files for tests that need another process to do it:
//   settings_writer rounds PATH KEY COUNT     counts KEY up to COUNT in the file, a write each
//   settings_writer once OPERATION PATH SIZE  stops itself under its tracer, then writes once
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ptrace.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "settings/properties.h"
#include "settings/property_list_xml.h"
#include "settings/whole_file.h"

namespace {

using kelvo::PropertyList;

// 1 when a write fails or another process has undone it.
int Rounds(const std::string& path, const char* key, int count) {
  for (int round = 1; round <= count; ++round) {
    const PropertyList::Dictionary changes{
        {key, round}, {key + std::string("-text"), std::string(round * 37 % 900, *key)}};
    if (!kelvo::ChangePropertiesInFile(path, changes)) return 1;
    const auto now = kelvo::LoadPropertiesFromFile(path);
    if (!now) return 1;
    for (const auto& [name, value] : changes) {
      const PropertyList* found = kelvo::FindValue(*now, name);
      if (found == nullptr || *found != value) return 1;
    }
  }
  return 0;
}

int Once(std::string_view operation, const std::string& path, std::size_t size) {
  const PropertyList::Dictionary value{{"text", std::string(size, 'n')}};
  if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
    perror("settings_writer: ptrace");
    return 2;
  }
  ::raise(SIGSTOP);
  if (operation == "change") return kelvo::ChangePropertiesInFile(path, value) ? 0 : 1;
  if (operation == "store") return kelvo::StorePropertiesToFile(path, value) ? 0 : 1;
  if (operation == "replace") {
    return kelvo::ReplaceWholeFile(path, kelvo::WriteXmlPropertyList(value).value(), 0600);
  }
  return kelvo::StorePropertiesToFileA(path, {value}) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  const std::string_view mode = argv[1];
  // _exit: what runs at the end of a sanitized process refuses to run under a tracer.
  if (mode == "rounds") _exit(Rounds(argv[2], argv[3], atoi(argv[4])));
  _exit(Once(argv[2], argv[3], static_cast<std::size_t>(atoi(argv[4]))));
}
