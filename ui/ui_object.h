#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ui/attributed_text.h"

namespace kelvo {

using Color = std::uint32_t;  // 0xRRGGBBAA

// A picture by the name it was loaded under, "" for none, and its file.
struct UiImage {
  std::string name = {};
  std::string file = {};
  bool operator==(const UiImage&) const = default;
};

// One object of a dialog or a menu with everything below it, as a value: what holds texts and
// pictures, and nothing of how it is drawn. Example:
//   UiObject menu{.kind = UiObject::Kind::kMenu,
//                 .parts = {{.kind = UiObject::Kind::kMenuItem, .text = "$(BRAND_MENU_NAME)"}}};
struct UiObject {
  enum class Kind : std::uint8_t {
    kOther,        // nothing that is known here
    kArray,        // parts: its elements
    kView,         // a view with nothing but subviews; the views below have them as well
    kButton,       // text: its title
    kTextField,    // text: its value
    kTabView,      // parts: its tab view items
    kTextView,     // attributedText
    kScrollView,   // parts: its document view
    kImageView,    // image
    kMatrix,       // parts: its cells
    kTabViewItem,  // text: its label; parts: its view
    kMenu,         // parts: its items
    kMenuItem,     // text: its title
    kButtonCell,   // text: its title
    kWindow,       // text: its title; parts: its content view
  };

  Kind kind = Kind::kOther;
  std::string text = {};
  int tag = 0;
  std::optional<Color> textColor = {};
  AttributedText attributedText = {};
  std::optional<UiImage> image = {};
  std::vector<UiObject> parts = {};
  std::vector<UiObject> subviews = {};
};

// Visits `root` and all below it: an object, then its parts, then, of a view, its subviews, each
// with all of its own. What the kind does not have is passed over. `visit` must not add or remove
// objects. Any depth: it does not recurse.
void VisitUiObjects(UiObject& root, const std::function<void(UiObject&)>& visit);

}  // namespace kelvo
