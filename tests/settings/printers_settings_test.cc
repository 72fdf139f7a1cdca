#include "settings/printers_settings.h"

#include <errno.h>

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "settings/configuration_path.h"
#include "settings/property_list_xml.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

class FakePrinting : public Printing {
 public:
  std::optional<std::vector<Printer>> Printers() override { return printers; }
  std::optional<int> State(const std::string& identifier) override {
    const auto found = states.find(identifier);
    return found == states.end() ? std::nullopt : std::optional(found->second);
  }

  std::optional<std::vector<Printer>> printers{
      {{"a", "Printer A", false}, {"b", "Printer B", true}}};
  std::map<std::string, int> states;
};

class PrintersSettingsTest : public test::Fixture {
 protected:
  kelvo_PrintersSettings Make() {
    return kelvo_PrintersSettings(
        printing_,
        [this](const kelvo_PrintersSettings::FileError& error) { errors_.push_back(error.code); });
  }
  std::vector<bool> Checks(const kelvo_PrintersSettings& settings) {
    std::vector<bool> checks;
    for (std::size_t i = 0; i < settings.count(); ++i)
      checks.push_back(settings.userCheckAtIndex(i));
    return checks;
  }
  std::string Path() { return kelvo_PrintersSettings::defaultFilename(); }

  FakePrinting printing_;
  std::vector<int> errors_;
};

TEST_F(PrintersSettingsTest, SelectionIsTheDefaultPrinterUntilOneIsStored) {
  kelvo_PrintersSettings settings = Make();
  EXPECT_EQ(Checks(settings), (std::vector<bool>{false, true}));
  EXPECT_FALSE(settings.isThisPrinterCheckedInPropertyList("a"));
  const PropertyList::Array rows{
      PropertyList::Dictionary{{"printer_id", "a"}, {"user_check", true}},
      PropertyList::Dictionary{{"printer_id", "b"}, {"user_check", false}}};
  WriteFile(Path(), WriteXmlPropertyList(rows).value());
  printing_.printers->push_back({"c", "Printer C", true});
  kelvo_PrintersSettings again = Make();
  EXPECT_EQ(Checks(again), (std::vector<bool>{true, false, false}));
  EXPECT_EQ(again.count2(), 2u);
  EXPECT_EQ(again.printersNameAtIndex(2), "Printer C");
  EXPECT_EQ(again.printersNameAtIndex(3), std::nullopt);
  EXPECT_TRUE(again.isThisPrinterCheckedInPropertyList("a"));
  EXPECT_FALSE(again.isThisPrinterCheckedInPropertyList("c"));

  printing_.printers->pop_back();
  again.createListOfPrinters(false);
  EXPECT_EQ(again.count(), 3u);
  again.createListOfPrinters(true);
  EXPECT_EQ(again.count(), 2u);
}

TEST_F(PrintersSettingsTest, SelectionSurvivesAPrintingSystemThatIsAway) {
  EXPECT_TRUE(Make().store());
  const std::string stored = ReadFile(Path());
  const auto printers = std::exchange(printing_.printers, std::nullopt);
  kelvo_PrintersSettings settings = Make();
  EXPECT_EQ(settings.count(), 0u);
  EXPECT_FALSE(settings.store());
  EXPECT_EQ(LogCount("Printers Settings getData failed with no list of printers"), 1);
  EXPECT_EQ(ReadFile(Path()), stored);
  printing_.printers = printers;
  settings.createListOfPrinters(false);
  EXPECT_EQ(settings.count(), 2u);
}

TEST_F(PrintersSettingsTest, StatesHaveNames) {
  printing_.printers->push_back({"c", "Printer C", false});
  printing_.printers->push_back({"d", "Printer D", false});
  printing_.states = {{"a", 3}, {"b", 4}, {"c", 5}, {"d", 6}};
  kelvo_PrintersSettings settings = Make();
  printing_.states.erase("b");
  const char* const kNames[] = {"ready", "unknown", "stopped", "unknown", "unknown"};
  for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(settings.printersStatusAtIndex(i), kNames[i]) << i;
  printing_.states["b"] = 4;
  EXPECT_EQ(settings.printersStatusAtIndex(1), "processing");
}

TEST_F(PrintersSettingsTest, DamagedFilesSelectNothing) {
  const std::string dictionary = WriteXmlPropertyList(PropertyList::Dictionary{}).value();
  for (const std::string& bytes : {std::string("<plist><array>"), dictionary}) {
    WriteFile(Path(), bytes);
    EXPECT_EQ(Checks(Make()), (std::vector<bool>{false, false}));
  }
  EXPECT_EQ(LogCount("Shared Folders Settings load: failed with"), 2);

  const PropertyList::Array rows{"b", PropertyList::Dictionary{{"printer_id", "b"}},
                                 PropertyList::Dictionary{{"user_check", true}},
                                 PropertyList::Dictionary{{"printer_id", "a"}, {"user_check", 1}}};
  WriteFile(Path(), WriteXmlPropertyList(rows).value());
  EXPECT_EQ(Checks(Make()), (std::vector<bool>{true, false}));
}

TEST_F(PrintersSettingsTest, FailuresAreShownAndLeaveTheFile) {
  kelvo_PrintersSettings settings = Make();
  EXPECT_EQ(settings.readDataFromFile(Home("absent"), true), std::nullopt);
  WriteFile(Home("file"), "x");
  EXPECT_EQ(settings.readDataFromFile(Home("file/below"), true), std::nullopt);
  EXPECT_EQ(settings.readDataFromFile(home_, false), std::nullopt);
  EXPECT_EQ(errors_, std::vector<int>{});
  EXPECT_EQ(settings.readDataFromFile(home_, true), std::nullopt);
  EXPECT_FALSE(settings.storeData("x", Home("file/below"), 0600));
  std::filesystem::create_directories(Home("folder/below"));
  EXPECT_FALSE(settings.storeData("x", Home("folder"), 0600));
  EXPECT_EQ(errors_, (std::vector<int>{EISDIR, ENOTDIR, EISDIR}));
  // Nothing half-written lies about.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home_), {}), 3);

  kelvo_PrintersSettings::LogError({ENOSPC, "/a\nb"});
  EXPECT_EQ(LogCount("printer settings: /a\\nb: No space left"), 1);
}

}  // namespace
}  // namespace kelvo
