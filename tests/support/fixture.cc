#include "tests/support/fixture.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "base/logger.h"
#include "base/logger_mac.h"
#include "cache/sync_cache.h"
#include "core/finder_configuration.h"
#include "projects/projects_list.h"
#include "settings/account_list.h"
#include "settings/application_bundle.h"
#include "settings/configuration_path.h"
#include "settings/secure_store.h"
#include "ui/alert.h"
#include "ui/confirmation_dialog_controller.h"
#include "ui/notification_preferences.h"

namespace kelvo::test {
namespace {

std::string MakeTemporaryFolder() {
  std::string path = (std::filesystem::temp_directory_path() / "kelvo-test-XXXXXX").string();
  if (mkdtemp(path.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
  return path;
}

void ClearProcessWideState() {
  AccountList::ResetForTesting();
  ResetConfigurationPathForTesting();
  SetApplicationBundle(nullptr);
  SetSecretStore(nullptr);
  SetNotificationPreferences(nullptr);
  ProjectsList::SetFactory(nullptr);
  KelvoConfirmationDialogController::SetSources(nullptr);
  CloseAlert();
  CFinderConfiguration::m_Instance = nullptr;
  CSyncApi::m_Instance = nullptr;
  CSyncCache::m_Instance = nullptr;
}

}  // namespace

Fixture::Fixture() : home_(MakeTemporaryFolder()) {
  const char* home = getenv("HOME");
  formerHome_ = home == nullptr ? "" : home;
  setenv("HOME", home_.c_str(), 1);
  ClearProcessWideState();
  SetSecretStore(&fake_.secrets);
  SetNotificationPreferences(&fake_.defaults);
  CLogger::m_Instance = new CLoggerMac("test", Home("Library/Logs/test.log"), fake_.systemLog);
}

Fixture::~Fixture() {
  ClearProcessWideState();
  delete CLogger::m_Instance.exchange(nullptr);
  setenv("HOME", formerHome_.c_str(), 1);
  std::error_code ignored;
  std::filesystem::remove_all(home_, ignored);
}

void Fixture::SetLogLevel(int level) { CLogger::m_Instance.load()->SetLevel(level); }

void Fixture::WriteFile(const std::string& path, const std::string& bytes) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
  ASSERT_TRUE(file.good()) << path;
}

std::string Fixture::ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace kelvo::test
