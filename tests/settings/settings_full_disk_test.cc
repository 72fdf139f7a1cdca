#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "projects/projects_file.h"
#include "settings/agent_settings.h"
#include "settings/filter_settings.h"
#include "settings/fingerprint_settings.h"
#include "settings/plist_user_defaults.h"
#include "settings/printers_settings.h"
#include "settings/properties.h"
#include "settings/secure_store.h"
#include "settings/update_settings.h"
#include "tests/support/fixture.h"
#include "tests/support/full_disk.h"

namespace kelvo {
namespace {

// Whose only printer has a name.
class FakePrinting : public Printing {
 public:
  explicit FakePrinting(std::string name) : name_(std::move(name)) {}
  std::optional<std::vector<Printer>> Printers() override { return {{{"a", name_, true}}}; }
  std::optional<int> State(const std::string&) override { return std::nullopt; }

 private:
  const std::string name_;
};

using SettingsFullDiskTest = test::Fixture;

TEST_F(SettingsFullDiskTest, NoWriterChangesTheFileOrLeavesAnotherWhateverFits) {
  const std::string folder = Home("x");
  const auto file = [&](const char* name) { return folder + "/" + name; };
  const struct {
    const char* name;
    std::string path;
    std::function<void(const std::string& text)> write;
  } kWriters[] = {
      {"one key", file("a"),
       [&](const auto& text) {
         (void)ChangePropertiesInFile(file("a"), {{"text", text}});
       }},
      {"user defaults", file("a"),
       [&](const auto& text) {
         PlistUserDefaults defaults(file("a"), fake_.settingsQueue);
         defaults.SetBool(text, true);
       }},
      {"dictionary", file("a"),
       [&](const auto& text) {
         (void)StorePropertiesToFile(file("a"), {{"text", text}});
       }},
      {"storage configuration", file("a"),
       [&](const auto& text) { (void)StoreStorageConfiguration(file("a"), {text}); }},
      {"agent", file("user_info.plist"),
       [&](const auto& text) {
         kelvoAgentSettings settings(folder);
         settings.setDesktopName(text);
         (void)settings.store();
       }},
      {"servers", file("a"),
       [&](const auto& text) {
         kelvoUpdateSettings settings;
         settings.setWebServerName(text);
         (void)settings.storeToSpecificPath(file("a"));
       }},
      {"filters", file("filter_info.plist"),
       [&](const auto& text) {
         kelvo_FilterSettings settings(folder);
         settings.addExcludeFilter(text);
         (void)settings.store();
       }},
      {"fingerprints", file("a"),
       [&](const auto& text) {
         kelvo_FingerprintSettings settings(folder);
         settings.setFingerprintsArray({text});
         (void)settings.storeToSpecificPath(file("a"));
       }},
      {"printers", kelvo_PrintersSettings::defaultFilename(),
       [&](const auto& text) {
         FakePrinting printing(text);
         (void)kelvo_PrintersSettings(printing, [](const auto&) {}).store();
       }},
      {"projects", file("a"),
       [&](const auto& text) {
         const PropertyList::Dictionary row{{"name", text}};
         (void)StoreProjectsFile(file("a"), PropertyList::Array{row});
       }},
  };
  const std::string shorter(9, 's');
  const std::string longer(40, 'l');
  for (const auto& writer : kWriters) {
    const auto beside = [&] {
      const auto parent = std::filesystem::path(writer.path).parent_path();
      return std::distance(std::filesystem::directory_iterator(parent), {});
    };
    for (const auto& [before, after] : {std::pair(shorter, longer), std::pair(longer, shorter)}) {
      SCOPED_TRACE(std::string(writer.name) + ", then " + after);
      std::filesystem::remove_all(folder);
      writer.write(before);
      const std::string old = ReadFile(writer.path);
      writer.write(after);
      const std::string written = ReadFile(writer.path);
      ASSERT_NE(written, old);
      const auto files = beside();
      WriteFile(writer.path, old);
      for (rlim_t size = 0; size <= written.size(); ++size) {
        {
          const test::FullDisk full(size);
          writer.write(after);
        }
        ASSERT_EQ(ReadFile(writer.path), size < written.size() ? old : written) << size;
        ASSERT_EQ(beside(), files) << size;
      }
    }
  }
}

}  // namespace
}  // namespace kelvo
