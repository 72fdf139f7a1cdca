#include "ui/var_branding.h"

#include <gtest/gtest.h>

namespace kelvo {
namespace {

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

TEST(VarBrandingTest, ValuesThatHoldTheirOwnVariableEnd) {
  const kelvo_VarBranding branding(BrandingValues{
      .strings = {{"$(A)", "<$(A)$(B)>"}, {"$(B)", "$(A)"}, {"", "never"}, {"$(C)", "$(C)"}}});
  EXPECT_EQ(branding.processString("$(A)$(C)"), "<$(A)$(A)>$(C)");
}

}  // namespace
}  // namespace kelvo
