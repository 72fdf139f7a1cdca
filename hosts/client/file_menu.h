#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo {

// One line of a context menu. Texts are UTF-8 and come from foreign hands.
struct FileMenuLine {
  std::uint32_t index = 0;
  std::string title = {};
  std::string icon = {};  // the full name of an installed icon; empty for none
  bool enabled = false;
  std::string action = {};  // empty for a line that only tells something
  bool separator = false;
  bool operator==(const FileMenuLine&) const = default;
};

// The extension's lines for one selection, with what it takes to choose one of them. The lines
// never change; the serial follows when the extension has made the same menu anew.
struct FileMenu {
  std::string extension;  // the process that made it, by its unique name
  std::uint32_t serial = 0;
  std::shared_ptr<const std::vector<std::string>> items = {};  // the selection's paths
  std::vector<FileMenuLine> lines;
};
using FileMenuPtr = std::shared_ptr<const FileMenu>;

// Names for the menu's lines, in order, each once, and the same for the same line of a later menu.
std::vector<std::string> UniqueNames(const FileMenu& menu);

// The title as a menu can show it: on one line, in the order it is written in, and of bearable
// length. `mnemonics`: whether the menu takes an underscore for the mark of a key.
std::string ShownTitle(std::string_view title, bool mnemonics);

}  // namespace kelvo
