#include "ui/var_branding.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "base/format_text.h"
#include "deployment.h"
#include "settings/application_bundle.h"

namespace kelvo {
namespace {

constexpr char kBrand[] = "Kelvo";
constexpr int kHeaderTextTag = 11;

BrandingValues ProductValues() {
  return {.strings =
              {
                  {"$(BRAND_PRODUCT_NAME)", "Kelvo Agent"},
                  {"$(BRAND_SHORT_NAME)", "Kelvo Agent"},
                  {"$(BRAND_LONG_NAME)", "Kelvo Desktop Agent"},
                  {"$(BRAND_COMPANY_NAME)", kBrand},
                  {"$(BRAND_MENU_NAME)", kBrand},
                  // Deliberate: " Online" twice, and the web name as the name of the workplace.
                  {"$(BRAND_MENU_NAME_WEB)", "Kelvo Agent Online Online"},
                  {"$(Menu.Workplace)", "Kelvo Agent Online"},
                  {"$(VERSION)", "5.2.83"},
                  {"$(BUILD_TYPE:-%s)", ""},
                  {"$(BUILD_DATE)", "Fri Sep 23 14:33:38 2016"},
                  {"$(PROTOCOL_VERSION)", "423"},
                  {"$(BUILD_TYPE:BUILD TYPE: %s)", ""},
                  {"$(COPYRIGHT_STRING)", deployment::kCopyright},
                  {"$(account-setup.default.shares)", "Documents"},
                  {"$(account-setup.default.filter)", "all"},
              },
          .generalUrl = deployment::kDefaultWebServer};
}

// One variable's places in a text, and what becomes of the text when the value takes its place.
class Replacement {
 public:
  Replacement(std::string_view text, std::string_view variable, std::string_view value)
      : text_(text), variableSize_(variable.size()), value_(value) {
    if (variable.empty()) return;
    for (std::size_t at = text.find(variable); at != std::string_view::npos;
         at = text.find(variable, at + variable.size())) {
      places_.push_back(at);
    }
  }

  bool isEmpty() const { return places_.empty(); }

  std::string replacedText() const {
    std::string replaced;
    std::size_t done = 0;
    for (const std::size_t place : places_) {
      replaced += text_.substr(done, place - done);
      replaced += value_;
      done = place + variableSize_;
    }
    replaced += text_.substr(done);
    return replaced;
  }

  // Where a run's border comes to lie: one within a variable behind the value, which thus belongs
  // to the run of the variable's first character.
  std::size_t moved(std::size_t border) const {
    const auto next = std::lower_bound(places_.begin(), places_.end(), border);
    const auto before = static_cast<std::size_t>(next - places_.begin());
    if (before == 0) return border;
    const std::size_t end = places_[before - 1] + variableSize_;
    return std::max(border, end) - before * variableSize_ + before * value_.size();
  }

 private:
  std::string_view text_;
  std::size_t variableSize_;
  std::string_view value_;
  std::vector<std::size_t> places_;
};

}  // namespace

kelvo_VarBranding::kelvo_VarBranding() : kelvo_VarBranding(ProductValues()) {}

kelvo_VarBranding::kelvo_VarBranding(BrandingValues values) : values_(std::move(values)) {}

const kelvo_VarBranding& kelvo_VarBranding::instance() {
  static const kelvo_VarBranding* const shared = [] {
    const auto* made = new kelvo_VarBranding;
    made->load();
    return made;
  }();
  return *shared;
}

// Both are for products whose values come from outside; this one's are built in.
void kelvo_VarBranding::storeParams(const PropertyList::Dictionary& /*params*/) {}
void kelvo_VarBranding::load() const {}

std::string kelvo_VarBranding::processString(const std::string& text) const {
  std::string processed = text;
  for (const auto& [variable, value] : values_.strings) {
    const Replacement replacement(processed, variable, value);
    if (!replacement.isEmpty()) processed = replacement.replacedText();
  }
  return processed;
}

void kelvo_VarBranding::processAttributedString(AttributedText& text) const {
  for (const auto& [variable, value] : values_.strings) {
    const Replacement replacement(text.text, variable, value);
    if (replacement.isEmpty()) continue;
    for (AttributedText::Run& run : text.runs) {
      run.begin = replacement.moved(run.begin);
      run.end = replacement.moved(run.end);
    }
    std::erase_if(text.runs, [](const AttributedText::Run& run) { return run.begin >= run.end; });
    text.text = replacement.replacedText();
  }
}

void kelvo_VarBranding::process(UiObject& object) const {
  VisitUiObjects(object, [this](UiObject& visited) { processOne(visited); });
}

void kelvo_VarBranding::processOne(UiObject& object) const {
  using enum UiObject::Kind;
  switch (object.kind) {
    case kTextField:
      if (values_.headerTextColor && object.tag == kHeaderTextTag) {
        object.textColor = values_.headerTextColor;
      }
      [[fallthrough]];
    case kButton:
    case kTabViewItem:
    case kMenuItem:
    case kButtonCell:
    case kWindow:
      object.text = processString(object.text);
      return;
    case kTextView:
      processAttributedString(object.attributedText);
      return;
    case kImageView: {
      const std::string name = object.image ? object.image->name : std::string();
      if (name.empty() && object.tag == 0) return;
      const auto image = name.empty() ? values_.images.find(object.tag) : values_.images.find(name);
      if (image != values_.images.end()) object.image = image->second;
      return;
    }
    default:
      return;
  }
}

std::string kelvo_VarBranding::createWorkplaceFolderString() {
  return FormatText(LocalizedString("ProjectSyncErrors.KelvoWorkplace", "%@ Workplace"),
                    {std::string(kBrand)});
}

}  // namespace kelvo
