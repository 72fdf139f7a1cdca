#include "settings/properties.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <string>

#include "base/unique_fd.h"
#include "settings/property_list_binary.h"
#include "settings/property_list_xml.h"
#include "settings/property_reader.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

// While it lives no file of this process grows beyond `bytes`, as on a disk that is full.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : formerHandler_(::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &former_);
    const rlimit limit{bytes, former_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &former_);
    ::signal(SIGXFSZ, formerHandler_);
  }

 private:
  void (*formerHandler_)(int);
  rlimit former_{};
};

class PropertiesTest : public test::Fixture {
 protected:
  const std::string path_ = Home("Library/Preferences/x/settings.plist");
  static std::string Xml(const PropertyList& value) { return WriteXmlPropertyList(value).value(); }
};

TEST_F(PropertiesTest, LoadingAMissingFileLeavesAnEmptyPrivateOneAndNoComplaint) {
  EXPECT_FALSE(LoadPropertiesFromFile(path_));
  struct stat status;
  ASSERT_EQ(::stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  EXPECT_EQ(status.st_size, 0);
  EXPECT_EQ(LogCount("settings.plist"), 0);
}

TEST_F(PropertiesTest, LoadsEitherForm) {
  const PropertyList::Dictionary value{{"user", "me"}};
  WriteFile(path_, WriteBinaryPropertyList(value).value());
  EXPECT_EQ(LoadPropertiesFromFile(path_), value);
  WriteFile(path_, Xml(value));
  EXPECT_EQ(LoadPropertiesFromFile(path_), value);
  EXPECT_FALSE(LoadPropertiesFromFileToArrayOfDictionaries(path_));
  EXPECT_EQ(LogCount("another kind"), 1);
}

TEST_F(PropertiesTest, WhatDoesNotParseIsLoggedWithPathAndReason) {
  WriteFile(path_, "<plist><dict>\n<nonsense\n");
  EXPECT_FALSE(LoadPropertiesFromFile(path_));
  EXPECT_EQ(LogCount(path_ + " is not a property list: line"), 1);
  EXPECT_FALSE(LoadPropertiesFromFile(home_));
  EXPECT_EQ(LogCount("cannot open " + home_), 1);
}

TEST_F(PropertiesTest, StoringLessLeavesNoTail) {
  EXPECT_TRUE(StorePropertiesToFile(path_, {{"a", std::string(5000, 'x')}}));
  EXPECT_TRUE(StorePropertiesToFileA(path_, {1}));
  EXPECT_EQ(ReadFile(path_), Xml(PropertyList::Array{1}));
}

TEST_F(PropertiesTest, WhatHasNoXmlFormLeavesTheFileUntouched) {
  WriteFile(path_, "old");
  const UniqueFd fd(::open(path_.c_str(), O_RDWR));
  EXPECT_FALSE(WritePropertiesFile(fd.get(), PropertyList("\x01")));
  EXPECT_EQ(ReadFile(path_), "old");
  // The answer says that the file was opened.
  EXPECT_TRUE(StorePropertiesToFile(path_, {{"a", "\x01"}}));
  EXPECT_FALSE(ChangePropertiesInFile(Home("other.plist"), {{"a", "\x01"}}));
}

TEST_F(PropertiesTest, AFullDiskLeavesTheOldBytes) {
  const std::string old = Xml(PropertyList::Dictionary{{"a", std::string(100, 'o')}});
  WriteFile(path_, old);
  const PropertyList::Dictionary changes{{"b", std::string(8000, 'n')}};
  for (const rlim_t limit : {rlim_t{4096}, rlim_t{0}}) {  // half of the bytes, none of them
    bool stored = true;
    {
      const FileSizeLimit full(limit);
      stored = ChangePropertiesInFile(path_, changes);
    }
    EXPECT_FALSE(stored) << limit;
    EXPECT_EQ(ReadFile(path_), old) << limit;
  }
  EXPECT_TRUE(ChangePropertiesInFile(path_, changes));
  EXPECT_EQ(LoadPropertiesFromFile(path_)->size(), 2u);
}

TEST_F(PropertiesTest, ChangesKeepTheOtherKeys) {
  EXPECT_TRUE(ChangePropertiesInFile(path_, {{"a", 1}, {"b", "x"}}));
  EXPECT_TRUE(ChangePropertiesInFile(path_, {{"b", true}, {"c", PropertyList::Array{}}}));
  EXPECT_EQ(LoadPropertiesFromFile(path_),
            (PropertyList::Dictionary{{"a", 1}, {"b", true}, {"c", PropertyList::Array{}}}));
}

TEST_F(PropertiesTest, ChangingADamagedFileKeepsItsFirstBytesAside) {
  WriteFile(path_, "<plist><dict>half");
  EXPECT_TRUE(ChangePropertiesInFile(path_, {{"a", 1}}));
  EXPECT_EQ(LoadPropertiesFromFile(path_), (PropertyList::Dictionary{{"a", 1}}));
  EXPECT_EQ(ReadFile(path_ + ".damaged"), "<plist><dict>half");
  struct stat status;
  ASSERT_EQ(::stat((path_ + ".damaged").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);

  WriteFile(path_, "later");
  EXPECT_TRUE(ChangePropertiesInFile(path_, {{"b", 2}}));
  EXPECT_EQ(ReadFile(path_ + ".damaged"), "<plist><dict>half");
}

TEST_F(PropertiesTest, ValuesOfOtherKindsAreConvertedOrCountAsAbsent) {
  const PropertyList::Dictionary values{{"yes", true},
                                        {"text", "12 apples"},
                                        {"word", "apples"},
                                        {"large", std::int64_t{1} << 40},
                                        {"small", -(std::int64_t{1} << 40)},
                                        {"huge", std::uint64_t{1} << 63},
                                        {"real", 2.75},
                                        {"array", PropertyList::Array{1}},
                                        {"data", PropertyList::Data{"1"}}};
  const struct {
    const char* key;
    std::int64_t wide;
    std::optional<std::string> text;
    std::int32_t integer;
    bool boolean;  // with the default true
  } kRows[] = {
      {"yes", 1, "1", 1, true},
      {"text", 12, "12 apples", 12, true},
      {"word", 7, "apples", 7, false},
      {"large", std::int64_t{1} << 40, "1099511627776", INT32_MAX, true},
      {"small", -(std::int64_t{1} << 40), "-1099511627776", INT32_MIN, true},
      {"huge", INT64_MAX, "9223372036854775808", INT32_MAX, true},
      {"real", 2, "2.75", 2, true},
      {"array", 7, std::nullopt, 7, true},
      {"data", 7, std::nullopt, 7, true},
      {"absent", 7, std::nullopt, 7, true},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(GetIntPropertyWithDefault(values, row.key, 7), row.integer) << row.key;
    EXPECT_EQ(GetLongPropertyWithDefault(values, row.key, 7), row.wide) << row.key;
    EXPECT_EQ(GetBoolPropertyWithDefault(values, row.key, true), row.boolean) << row.key;
    EXPECT_EQ(GetStringProperty(values, row.key), row.text) << row.key;
  }
}

TEST_F(PropertiesTest, RowsThatAreNotThereGiveTheDefault) {
  const PropertyList::Array rows{PropertyList::Dictionary{}, "no row",
                                 PropertyList::Dictionary{{"on", true}, {"name", "x"}}};
  for (const std::size_t row : {0, 1, 3}) {
    EXPECT_FALSE(GetBoolPropertyWithDefaultForRowInArray(rows, row, "on", false)) << row;
    EXPECT_EQ(GetStringPropertyForRowInArray(rows, row, "name"), std::nullopt) << row;
  }
  EXPECT_TRUE(GetBoolPropertyWithDefaultForRowInArray(rows, 2, "on", false));
  EXPECT_EQ(GetStringPropertyForRowInArray(rows, 2, "name"), "x");
}

TEST_F(PropertiesTest, SettersRefuseWhatIsNotText) {
  PropertyList::Dictionary values;
  EXPECT_TRUE(SetStringProperty(values, "a", "\xC3\xA4"));
  EXPECT_FALSE(SetStringProperty(values, "a", "\xE4"));
  EXPECT_EQ(GetStringProperty(values, "a"), "\xC3\xA4");
  RemoveProperty(values, "a");
  RemoveProperty(values, "a");
  EXPECT_TRUE(values.empty());
}

TEST_F(PropertiesTest, ReaderTellsAbsentFromDefault) {
  config::CPropertyReader reader;
  EXPECT_FALSE(reader.Load(path_));
  WriteFile(path_, Xml(PropertyList::Dictionary{
                       {"name", ""}, {"level", "4"}, {"folder", "/a"}, {"on", 0}, {"bad", "x"}}));
  EXPECT_TRUE(reader.Load(path_));
  std::string text;
  EXPECT_TRUE(reader.Get("name", text, "default"));
  EXPECT_EQ(text, "");
  EXPECT_FALSE(reader.Get("absent", text, "default"));
  EXPECT_EQ(text, "default");
  int level = 3;
  EXPECT_FALSE(reader.Get<int>("bad", level));
  EXPECT_EQ(level, 3);
  EXPECT_TRUE(reader.Get<int>("level", level));
  EXPECT_EQ(level, 4);
  bool on = true;
  EXPECT_FALSE(reader.Get("absent", on));
  EXPECT_TRUE(on);
  EXPECT_TRUE(reader.Get("on", on, true));
  EXPECT_FALSE(on);
  EXPECT_TRUE(reader.GetFs("folder", text, ""));
  EXPECT_EQ(text, "/a");
  reader.Load(PropertyList::Dictionary{{"folder", std::string(5000, 'x')}});
  EXPECT_FALSE(reader.GetFs("folder", text, "/default"));
  EXPECT_EQ(text, "/default");
}

}  // namespace
}  // namespace kelvo
