#pragma once

#include <string>

namespace kelvo {

// What there is to say of an item in words for the user, in the extension's language; a text is
// empty where there is nothing to say.
struct ItemDescription {
  std::string state;
  std::string lockOwner;
  std::string permission;

  bool operator==(const ItemDescription&) const = default;
};

// Of an item of which nothing is known.
inline const ItemDescription& NoDescription() {
  static const auto* const none = new ItemDescription;  // never destroyed
  return *none;
}

}  // namespace kelvo
