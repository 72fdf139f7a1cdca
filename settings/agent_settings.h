#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "base/property_list.h"

namespace kelvo {

enum class SettingKind : std::uint8_t { kText, kBoolean, kInteger32, kInteger64 };
// Such as "64-bit integer".
const char* SettingKindName(SettingKind kind);

// One setting as a reader sees it. Texts come from a file that others write: escape them before
// they go to a terminal.
struct SettingLine {
  std::string key;
  SettingKind kind = SettingKind::kText;
  // nullopt: null.
  std::optional<std::string> defaultValue;
  std::optional<std::string> value;
  bool isStored = false;  // the record holds the key, usable or not
};

// The account's main settings record: the dictionary that the Agent keeps in user_info.plist, and
// two secrets that are held in memory and in the secret store only.
//
// A value of another kind is read as settings/properties.h says. A setter changes the record in
// memory until it is stored; one whose text is not valid UTF-8 changes nothing and is logged.
//
// Threads: one at a time; what reads or stores secrets, one in the process. Loading and storing
// wait for the file's lock and for the secret store: on a worker only.
class kelvoAgentSettings {
 public:
  // Without a path: defaults only.
  kelvoAgentSettings() = default;
  // The record of the configuration folder; without a path when that is empty. Nothing is read yet.
  explicit kelvoAgentSettings(const std::string& folder);

  // False without a path, else as loadFromSpecificPath.
  bool load();
  // Reads file and secrets, and keeps the path. Always true: where there is nothing to be read,
  // what the record held stays.
  bool loadFromSpecificPath(const std::string& path);
  // False when the file does not read; the record stays as it was.
  bool loadSettingsWithoutPassword();
  bool loadOnlyPassword() { return readAccountDataWithOverwrite(false); }

  // False without a path, else as storeToSpecificPath.
  [[nodiscard]] bool store();
  // Merges the record into the file, stores the secrets in any case, and reads back what others
  // added. A key that was taken from the record stays in the file, and so comes back. True when
  // both were stored.
  [[nodiscard]] bool storeToSpecificPath(const std::string& path);

  // The secret goes to authenticationKey (or, without rcid, to password); false, with nothing
  // changed, when there is none. One that could be read only with the user's help is written anew
  // with `overwrite`. A store that is unavailable decides nothing: no second attempt, no rewriting.
  bool readAccountDataWithOverwrite(bool overwrite);
  bool readAccountDataOld();
  // Retires the old-style password, then stores the authentication key. False without rcid.
  bool storeAccountData();
  void cleanupKeychain() const;

  // Whether the account cannot be used yet: no file, no rcid or no authentication key.
  bool needSetup() const;
  // Compares the dictionaries alone.
  bool isEqualToAgentSettings(const kelvoAgentSettings& other) const;

  const PropertyList::Dictionary& settings() const { return settings_; }
  const std::optional<std::string>& settingsPath() const { return settingsPath_; }
  const std::string& password() const { return password_; }
  const std::string& authenticationKey() const { return authenticationKey_; }
  void setAuthenticationKey(const std::string& key) { authenticationKey_ = key; }
  std::optional<std::string> getStringProperty(const char* key) const;

  template <typename T>
  using Argument = std::conditional_t<std::is_arithmetic_v<T>, T, const T&>;

  // One getter and one setter for each line of the table; null removes the key.
#define KELVO_SETTING(type, key, byDefault, getter, setter) \
  type getter() const;                                      \
  void setter(Argument<type> value);
#define KELVO_READ_ONLY_SETTING(type, key, byDefault, getter) type getter() const;
#define KELVO_SPECIAL_SETTING(type, key, getter)
#include "settings/agent_settings_keys.def"

  // The computer's name when there is none or an empty one.
  std::string desktopName() const;
  // Writes only what differs from desktopName(): the computer's own name never enters an empty
  // record.
  void setDesktopName(const std::string& name);
  // Deliberate: the setter takes gigabytes, the getter answers bytes.
  std::int64_t limitedConnectionFileSize() const;
  void setLimitedConnectionFileSize(std::int64_t gigabytes);
  std::optional<std::vector<std::string>> badgeHandledFileExtensions() const;
  void setBadgeHandledFileExtensions(const std::vector<std::string>& extensions);

  // In the file system's form, and need not exist. Asks the default account list who owns this
  // record when the key is absent, and so makes it on first use; asks the file system, too.
  std::string masterProjectFolder() const;
  void setMasterProjectFolder(const std::string& path);
  std::string oldMasterProjectFolder() const;

  // The service of the web access's secret.
  std::string webAccessLabel() const;
  // The localised name of cells 1 to 11; the identifier itself for any other.
  std::optional<std::string> cellName() const;

  // All settings of the table; never a secret.
  std::vector<SettingLine> describe() const;

 private:
  void deleteSecrets(const std::string& account) const;
  std::string defaultMasterProjectFolder() const;
  template <typename T>
  SettingLine describeSetting(const char* key, T (kelvoAgentSettings::*getter)() const) const;

  PropertyList::Dictionary settings_;
  std::string password_;
  std::string authenticationKey_;
  std::optional<std::string> settingsPath_;
};

}  // namespace kelvo
