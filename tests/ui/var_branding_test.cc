#include "ui/var_branding.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kelvo {
namespace {

using Kind = UiObject::Kind;

TEST(VarBrandingTest, ReplacesTheVariablesOfTheTableOnly) {
  const struct {
    const char* text;
    const char* processed;
  } kRows[] = {
      {"", ""},
      {"About $(BRAND_PRODUCT_NAME) $(VERSION)$(BUILD_TYPE:-%s)", "About Kelvo Agent 5.2.83"},
      {"no variable, $ ( )", "no variable, $ ( )"},
      {"$(UNKNOWN) $(version) $(VERSION", "$(UNKNOWN) $(version) $(VERSION"},
      {"$($(VERSION))", "$(5.2.83)"},
      {"$(BRAND_MENU_NAME)$(BRAND_MENU_NAME)/$(BRAND_MENU_NAME_WEB)",
       "KelvoKelvo/Kelvo Agent Online Online"},
      {"$(BUILD_TYPE:BUILD TYPE: %s)$(Menu.Workplace)", "Kelvo Agent Online"},
      // A variable that comes to be when another is taken out is replaced if its turn is still due.
      {"$(BUILD_$(BUILD_TYPE:-%s)DATE) $(VER$(BUILD_TYPE:-%s)SION)",
       "Fri Sep 23 14:33:38 2016 $(VERSION)"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(kelvo_VarBranding::instance().processString(row.text), row.processed);
  }
}

TEST(VarBrandingTest, NamesTheWorkplaceFolder) {
  EXPECT_EQ(kelvo_VarBranding::createWorkplaceFolderString(), "Kelvo Workplace");
}

TEST(VarBrandingTest, ValuesThatHoldTheirOwnVariableEnd) {
  const kelvo_VarBranding branding(BrandingValues{
      .strings = {{"$(A)", "<$(A)$(B)>"}, {"$(B)", "$(A)"}, {"", "never"}, {"$(C)", "$(C)"}}});
  EXPECT_EQ(branding.processString("$(A)$(C)"), "<$(A)$(A)>$(C)");
  AttributedText text{.text = "$(A)$(C)", .runs = {{0, 8, {{"weight", "bold"}}}}};
  branding.processAttributedString(text);
  EXPECT_EQ(text, (AttributedText{"<$(A)$(A)>$(C)", {{0, 14, {{"weight", "bold"}}}}}));
}

TEST(VarBrandingTest, InsertedTextTakesTheAttributesOfTheFirstReplacedCharacter) {
  const kelvo_VarBranding branding(
      BrandingValues{.strings = {{"$(V)", "value"}, {"$(NONE)", ""}, {"value!", "v"}}});
  const auto runs = [](std::vector<std::vector<std::size_t>> borders) {
    std::vector<AttributedText::Run> made;
    for (const auto& row : borders)
      made.push_back({row[0], row[1], {{"id", std::to_string(row[2])}}});
    return made;
  };
  const struct {
    const char* description;
    const char* text;
    std::vector<std::vector<std::size_t>> runs;  // begin, end, id
    const char* processed;
    std::vector<std::vector<std::size_t>> processedRuns;
  } kRows[] = {
      {"runs that touch",
       "ab$(V)cd",
       {{0, 2, 1}, {2, 6, 2}, {6, 8, 3}},
       "abvaluecd",
       {{0, 2, 1}, {2, 7, 2}, {7, 9, 3}}},
      {"the variable is of several runs",
       "ab$(V)cd",
       {{0, 4, 1}, {4, 5, 2}, {5, 8, 3}},
       "abvaluecd",
       {{0, 7, 1}, {7, 9, 3}}},
      {"the first character has none", "$(V)cd", {{1, 6, 1}}, "valuecd", {{5, 7, 1}}},
      {"only the first character has some", "a$(V)b", {{1, 2, 1}}, "avalueb", {{1, 6, 1}}},
      {"two in a row", "$(V)$(V)", {{0, 3, 1}, {4, 5, 2}}, "valuevalue", {{0, 5, 1}, {5, 10, 2}}},
      {"nothing is left of a run",
       "\u00e4$(NONE)b",
       {{0, 2, 1}, {2, 9, 2}, {9, 10, 3}},
       "\u00e4b",
       {{0, 2, 1}, {2, 3, 3}}},
      {"a later variable lies across a value's end",
       "$(V)!x",
       {{0, 4, 1}, {4, 6, 2}},
       "vx",
       {{0, 1, 1}, {1, 2, 2}}},
      {"no variable", "abc", {{1, 2, 1}}, "abc", {{1, 2, 1}}},
      {"a run beyond the text", "$(V)", {{0, 20, 1}}, "value", {{0, 21, 1}}},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.description);
    AttributedText text{row.text, runs(row.runs)};
    branding.processAttributedString(text);
    EXPECT_EQ(text, (AttributedText{row.processed, runs(row.processedRuns)}));
    EXPECT_EQ(branding.processString(row.text), row.processed);
  }
}

UiObject Object(Kind kind, const std::string& id, std::vector<UiObject> parts = {},
                std::vector<UiObject> subviews = {}) {
  return {.kind = kind,
          .text = id + "$(V)",
          .attributedText = {.text = id + "$(V)"},
          .parts = std::move(parts),
          .subviews = std::move(subviews)};
}

UiObject EveryKind() {
  // The objects that have neither parts nor subviews are given some: nobody may look at them.
  const std::vector<UiObject> foreign = {Object(Kind::kButton, "never")};
  return Object(
      Kind::kArray, "array",
      {Object(
           Kind::kWindow, "window ",
           {Object(Kind::kView, "view", foreign,
                   {Object(Kind::kTabView, "tabs",
                           {Object(Kind::kTabViewItem, "label ",
                                   {Object(Kind::kButton, "button ", foreign,
                                           {Object(Kind::kTextField, "field ", foreign)})},
                                   foreign)},
                           {Object(Kind::kTextField, "beside ")}),
                    Object(Kind::kScrollView, "scroll", {Object(Kind::kTextView, "text ", foreign)},
                           {Object(Kind::kImageView, "image", foreign)}),
                    Object(Kind::kMatrix, "matrix",
                           {Object(Kind::kButtonCell, "cell ", foreign, foreign),
                            Object(Kind::kOther, "other", foreign, foreign)},
                           {Object(Kind::kTextField, "last ")})})},
           foreign),
       Object(Kind::kMenu, "menu", {Object(Kind::kMenuItem, "item ", foreign, foreign)}, foreign)},
      foreign);
}

TEST(VarBrandingTest, WalksEveryKindInOrder) {
  const kelvo_VarBranding branding(BrandingValues{.strings = {{"$(V)", "1"}, {"never1", "FAULT"}}});
  UiObject tree = EveryKind();
  branding.process(tree);
  std::vector<std::string> texts;
  VisitUiObjects(tree, [&](const UiObject& object) {
    texts.push_back(object.kind == Kind::kTextView ? object.attributedText.text : object.text);
  });
  EXPECT_EQ(texts, (std::vector<std::string>{
                       "array$(V)", "window 1", "view$(V)", "tabs$(V)", "label 1", "button 1",
                       "field 1", "beside 1", "scroll$(V)", "text 1", "image$(V)", "matrix$(V)",
                       "cell 1", "other$(V)", "last 1", "menu$(V)", "item 1"}));
  const UiObject& other = tree.parts[0].parts[0].subviews[2].parts[1];
  EXPECT_EQ(other.parts[0].text, "never$(V)");
  EXPECT_EQ(tree.parts[1].parts[0].parts[0].text, "never$(V)")
      << "a menu below an item is not told";
}

TEST(VarBrandingTest, ReplacesImagesByNameElseByTag) {
  const kelvo_VarBranding branding(BrandingValues{
      .images = {{"Logo", {"Logo", "brand"}}, {7, {"", "seven"}}, {0, {"", "zero"}}}});
  const struct {
    std::optional<UiImage> image;
    int tag;
    std::optional<UiImage> processed;
  } kRows[] = {
      {UiImage{"Logo", "old"}, 7, UiImage{"Logo", "brand"}},
      {UiImage{"Photo", "old"}, 7,
       UiImage{"Photo", "old"}},  // the tag is for images without a name
      {UiImage{"", "old"}, 7, UiImage{"", "seven"}},
      {std::nullopt, 7, UiImage{"", "seven"}},
      {UiImage{"", "old"}, 8, UiImage{"", "old"}},
      {std::nullopt, 0, std::nullopt},
  };
  for (const auto& row : kRows) {
    UiObject view{.kind = Kind::kImageView, .tag = row.tag, .image = row.image};
    branding.process(view);
    EXPECT_EQ(view.image, row.processed);
  }
}

TEST(VarBrandingTest, ColoursHeaderTextFieldsOnlyWhenThereIsAColour) {
  const kelvo_VarBranding branding(BrandingValues{.headerTextColor = 0x112233FF});
  UiObject fields{.kind = Kind::kArray,
                  .parts = {{.kind = Kind::kTextField, .tag = 11},
                            {.kind = Kind::kTextField, .tag = 12, .textColor = 5},
                            {.kind = Kind::kButton, .tag = 11}}};
  kelvo_VarBranding::instance().process(fields);
  EXPECT_EQ(fields.parts[0].textColor, std::nullopt);
  branding.process(fields);
  EXPECT_EQ(fields.parts[0].textColor, 0x112233FFu);
  EXPECT_EQ(fields.parts[1].textColor, 5u);
  EXPECT_EQ(fields.parts[2].textColor, std::nullopt);
}

}  // namespace
}  // namespace kelvo
