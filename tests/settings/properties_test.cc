#include "settings/properties.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "base/unique_fd.h"
#include "settings/property_list_binary.h"
#include "settings/property_list_xml.h"
#include "settings/property_reader.h"
#include "tests/support/fixture.h"
#include "tests/support/full_disk.h"

namespace kelvo {
namespace {

// While it lives modes bind this thread, even root's.
class BoundByModes {
 public:
  BoundByModes() {
    ::syscall(SYS_capget, &header_, former_);
    __user_cap_data_struct less[2] = {former_[0], former_[1]};
    less[0].effective &= ~(1u << CAP_DAC_OVERRIDE | 1u << CAP_DAC_READ_SEARCH);
    EXPECT_EQ(::syscall(SYS_capset, &header_, less), 0);
  }
  ~BoundByModes() { ::syscall(SYS_capset, &header_, former_); }

 private:
  __user_cap_header_struct header_{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct former_[2] = {};
};

class PropertiesTest : public test::Fixture {
 protected:
  static std::string Xml(const PropertyList& value) { return WriteXmlPropertyList(value).value(); }
  static unsigned Mode(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }

  const std::string path_ = Home("x/settings.plist");
  const std::string copy_ = path_ + ".damaged";
};

TEST_F(PropertiesTest, LoadsEitherFormAndSaysWhyNot) {
  EXPECT_FALSE(LoadPropertiesFromFile(path_));  // leaves an empty one behind, without complaint
  EXPECT_EQ(Mode(path_), 0600u);
  EXPECT_EQ(ReadFile(path_), "");
  EXPECT_EQ(LogCount("settings.plist"), 0);
  const PropertyList::Dictionary value{{"user", "me"}};
  for (const std::string& bytes : {Xml(value), WriteBinaryPropertyList(value).value()}) {
    WriteFile(path_, bytes);
    EXPECT_EQ(LoadPropertiesFromFile(path_), value);
  }
  EXPECT_FALSE(LoadPropertiesFromFileToArrayOfDictionaries(path_));
  EXPECT_EQ(LogCount("another kind"), 1);
  WriteFile(path_, "<plist><dict>\n<nonsense\n");
  EXPECT_FALSE(LoadPropertiesFromFile(path_));
  EXPECT_EQ(LogCount(path_ + " is not a property list: line"), 1);
  EXPECT_FALSE(LoadPropertiesFromFile(home_));
  EXPECT_EQ(LogCount("cannot open " + home_), 1);
}

TEST_F(PropertiesTest, WhatCannotBeWrittenLeavesTheOldBytes) {
  const std::string old = Xml(PropertyList::Dictionary{{"a", std::string(100, 'o')}});
  const std::string folder = Home("x");
  const PropertyList::Dictionary larger{{"b", std::string(8000, 'n')}};
  const PropertyList::Dictionary unwritable{{"b", "\x01"}};
  const struct {
    const char* name;
    std::string before;
    PropertyList::Dictionary changes;
    bool opens;
    rlim_t disk = RLIM_INFINITY;
    mode_t folder = 0700, file = 0600;
    std::string inTheWay = {};  // a folder
  } kRows[] = {
      {"disk full while copying aside", "damaged", larger, true, 3},
      {"disk full before copying aside", "damaged", larger, true, 0},
      {"no XML form", old, unwritable, true},
      {"read-only file", old, larger, false, RLIM_INFINITY, 0700, 0400},
      {"copy in a read-only folder", "damaged", larger, true, RLIM_INFINITY, 0500},
      {"copy where a folder lies", "damaged", larger, true, RLIM_INFINITY, 0700, 0600,
       copy_ + ".new"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.name);
    WriteFile(path_, row.before);
    if (!row.inTheWay.empty()) ::mkdir(row.inTheWay.c_str(), 0700);
    ::chmod(path_.c_str(), row.file);
    ::chmod(folder.c_str(), row.folder);
    bool changed = true;
    bool stored = !row.opens;
    {
      const BoundByModes bound;
      const test::FullDisk full(row.disk);
      changed = ChangePropertiesInFile(path_, row.changes);
      stored = StorePropertiesToFile(path_, row.changes);
    }
    ::chmod(folder.c_str(), 0700);
    ::chmod(path_.c_str(), 0600);
    EXPECT_FALSE(changed);
    EXPECT_EQ(stored, row.opens);  // says only that the file was opened
    EXPECT_EQ(ReadFile(path_), row.before);
    EXPECT_EQ(Mode(copy_), 0u);
  }
}

TEST_F(PropertiesTest, WhereNoFileCanBeMadeNothingIsLostEither) {
  WriteFile(Home("file"), "kept");
  ::mkdir(Home("sealed").c_str(), 0500);
  const BoundByModes bound;
  for (const std::string& path : {Home("file/a.plist"), Home("file/b/a.plist"),
                                  Home("sealed/a.plist"), Home("sealed/b/a.plist")}) {
    EXPECT_FALSE(LoadPropertiesFromFile(path)) << path;
    EXPECT_FALSE(ChangePropertiesInFile(path, {{"a", 1}})) << path;
    EXPECT_FALSE(StorePropertiesToFileA(path, {1})) << path;
    EXPECT_EQ(LogCount("cannot open " + path + ": "), 3) << path;
  }
  EXPECT_EQ(ReadFile(Home("file")), "kept");
  const UniqueFd full(::open("/dev/full", O_WRONLY));
  EXPECT_FALSE(WritePropertiesFile(full.get(), "a"));
  EXPECT_EQ(LogCount("No space left"), 1);
}

TEST_F(PropertiesTest, WhatDoesNotParseIsKeptOnceBeforeItIsWrittenOver) {
  const PropertyList::Dictionary value{{"a", 1}};
  const PropertyList::Array array{value};
  const std::pair<std::string, std::function<bool()>> kRows[] = {
      {Xml(value), [&] { return ChangePropertiesInFile(path_, value); }},
      {Xml(value), [&] { return StorePropertiesToFile(path_, value); }},
      {Xml(array), [&] { return StorePropertiesToFileA(path_, array); }},
  };
  for (const auto& [result, write] : kRows) {
    ::unlink(copy_.c_str());
    WriteFile(path_, "<plist><dict>half");
    EXPECT_TRUE(write());
    EXPECT_EQ(ReadFile(path_), result);
    WriteFile(path_, "later");
    EXPECT_TRUE(write());
    EXPECT_EQ(ReadFile(path_), result);
    EXPECT_EQ(ReadFile(copy_), "<plist><dict>half");
    EXPECT_EQ(Mode(copy_), 0600u);
  }
  ::unlink(copy_.c_str());
  EXPECT_TRUE(StorePropertiesToFile(path_, value)) << "over an array, which is no damage";
  EXPECT_EQ(Mode(copy_), 0u);
}

TEST_F(PropertiesTest, RowsThatAreNotThereGiveTheDefault) {
  const PropertyList::Array rows{PropertyList::Dictionary{}, "no row",
                                 PropertyList::Dictionary{{"on", true}, {"name", "x"}}};
  for (const std::size_t row : {0, 1, 2, 3}) {
    EXPECT_EQ(GetBoolPropertyWithDefaultForRowInArray(rows, row, "on", false), row == 2) << row;
    EXPECT_EQ(GetStringPropertyForRowInArray(rows, row, "name").value_or(""), row == 2 ? "x" : "");
  }
  PropertyList::Dictionary set{{"a", "kept"}};
  EXPECT_FALSE(SetStringProperty(set, "a", "\xE4"));
  EXPECT_EQ(GetStringProperty(set, "a"), "kept");
}

TEST_F(PropertiesTest, ReaderTellsAbsentFromDefault) {
  config::CPropertyReader reader;
  EXPECT_FALSE(reader.Load(path_));
  WriteFile(path_, Xml(PropertyList::Dictionary{{"name", ""}, {"level", "4"}, {"bad", "x"}}));
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
  reader.Load(PropertyList::Dictionary{{"folder", std::string(5000, 'x')}});
  EXPECT_FALSE(reader.GetFs("folder", text, "/default"));
  EXPECT_EQ(text, "/default");
}

}  // namespace
}  // namespace kelvo
