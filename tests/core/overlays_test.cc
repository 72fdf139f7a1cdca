#include "core/overlays.h"

#include <gtest/gtest.h>

#include "core/finder_configuration.h"
#include "tests/support/fixture.h"

namespace kelvo::test {
namespace {

class OverlaysTest : public Fixture {
 protected:
  void ShowGreenCheckmarks(bool show) {
    configuration_ = std::make_unique<CFinderConfiguration>(
        PropertyList::Dictionary{{"show_green_checkmarks", PropertyList(show)}});
    configuration_->Load();
    CFinderConfiguration::m_Instance = configuration_.get();
  }
  std::unique_ptr<CFinderConfiguration> configuration_;
};

TEST_F(OverlaysTest, OnlyFilesInSyncLoseTheirBadge) {
  ShowGreenCheckmarks(false);
  EXPECT_EQ(Overlays::getIdentifierForStatus(1, false), "");
  EXPECT_EQ(Overlays::getIdentifierForStatus(1, true), "1");
  for (int status = 2; status <= 6; ++status) {
    EXPECT_EQ(Overlays::getIdentifierForStatus(status, false), std::to_string(status));
  }
  EXPECT_EQ(Overlays::getIdentifierForStatus(0, true), "");
  ShowGreenCheckmarks(true);
  EXPECT_EQ(Overlays::getIdentifierForStatus(1, false), "1");
}

TEST_F(OverlaysTest, PicturesCrossAsMeantAndMissingOnesStayEmpty) {
  for (const char* name : {"in-sync", "syncing", "locked", "permissionViolation"}) {
    WriteFile(Home("bundle/") + name + ".icns", "x");
  }
  Overlays::loadOverlaysForBundle(Bundle(Home("bundle"), {}));
  EXPECT_FALSE(Overlays::getImageForStatus(0));
  EXPECT_FALSE(Overlays::getImageForStatus(3)) << "locked_red is not there";
  ASSERT_TRUE(Overlays::getImageForStatus(4));
  EXPECT_EQ(Overlays::getImageForStatus(4)->path, Home("bundle/locked.icns"));
  EXPECT_EQ(Overlays::getImageForStatus(5)->name, Overlays::getImageForStatus(2)->name);
}

}  // namespace
}  // namespace kelvo::test
