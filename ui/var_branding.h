#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "base/property_list.h"
#include "ui/attributed_text.h"
#include "ui/ui_object.h"

namespace kelvo {

// What stands for the branding variables, such as $(BRAND_PRODUCT_NAME), of user-interface texts.
struct BrandingValues {
  // Variable and value; replaced in this order, one pair after the other.
  std::vector<std::pair<std::string, std::string>> strings = {};
  // Replacement by the image's name, or by the tag of an image view whose image has none.
  std::map<std::variant<std::string, int>, UiImage> images = {};
  std::string generalUrl = {};
  std::optional<Color> headerTextColor = {};
};

// Replaces the branding variables in texts and in whole dialogs and menus.
//
// Threads: constant after construction; any thread.
// Lifetime: the shared one is made on first use and never destroyed.
class kelvo_VarBranding {
 public:
  kelvo_VarBranding();  // with the product's values
  explicit kelvo_VarBranding(BrandingValues values);

  static const kelvo_VarBranding& instance();
  static void storeParams(const PropertyList::Dictionary& params);
  void load() const;

  // The text with every variable of the table replaced. A variable within an inserted value is
  // replaced only if it comes later in the table.
  std::string processString(const std::string& text) const;
  // The same in place. An inserted value takes the attributes that the variable's first character
  // had. Runs of which nothing is left are removed.
  void processAttributedString(AttributedText& text) const;
  // The same for all texts of the object and of what lies below it, with the images and the colour
  // of header texts.
  void process(UiObject& object) const;

  // The service's web address: the host of the default web server.
  const std::string& generalUrl() const { return values_.generalUrl; }
  // The display name of the workplace folder, localised.
  static std::string createWorkplaceFolderString();

 private:
  void processOne(UiObject& object) const;

  BrandingValues values_;
};

}  // namespace kelvo
