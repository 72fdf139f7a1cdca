#pragma once

#include <string>
#include <vector>

namespace kelvo {

// What a file manager calls a column, in the user's language.
struct ItemLabel {
  const char* title;
  const char* description;
};

// The labels of an ItemDescription's texts. They lie in the program itself: a file manager wants
// them when it starts, before there is an extension or even a bus.
struct ItemLabels {
  ItemLabel state;
  ItemLabel lockOwner;
  ItemLabel permission;
};

// `languages`: see PreferredLanguages, which the extension asks for the texts' language. The names
// that GLib gives would not do: it translates in the C locale, too.
const ItemLabels& ItemLabelsIn(const std::vector<std::string>& languages);

}  // namespace kelvo
