#include "core/finder_configuration.h"

#include <utility>

#include "base/logger.h"
#include "base/string_utils.h"
#include "deployment.h"
#include "settings/configuration_path.h"
#include "settings/property_reader.h"
#include "settings/secure_store.h"

namespace kelvo {
namespace {

constexpr char kDefaultLabel[] = "KelvoAgent";
// Deliberate: with a blank, so the default label above differs from it and an account without a
// label gets its suffix, as the Agent names the folder.
constexpr char kLabelWithoutSuffix[] = "Kelvo Agent";

std::string DefaultWorkplace(const std::string& label) {
  std::string folder = ExpandTildeInPath("~/Kelvo Workplace");
  if (label != kLabelWithoutSuffix) folder += " (" + label + ")";
  return folder;
}

}  // namespace

std::atomic<CFinderConfiguration*> CFinderConfiguration::m_Instance{nullptr};

CFinderConfiguration::CFinderConfiguration(PropertyList::Dictionary properties)
    : properties_(std::move(properties)) {}

CFinderConfiguration::Settings CFinderConfiguration::ReadSettings() const {
  Settings s;
  config::CPropertyReader reader;
  s.configurationPath = GetConfigurationPath(nullptr);
  if (properties_) {
    reader.Load(*properties_);
  } else {
    s.file = GetConfigurationPath("user_info.plist");
    s.isRead = reader.Load(s.file);
  }
  reader.Get("config_label", s.configLabel, kDefaultLabel);
  reader.Get("server", s.server, deployment::kDefaultServer);
  reader.Get("cell_id", s.cellId, "");
  reader.Get("desktop_name", s.desktopName, "");
  if (!reader.Get<int>("trace_level", s.traceLevel)) s.traceLevel = kLogInformation;
  reader.Get("rcid", s.rcid, "");
  reader.Get("user", s.user, "");
  reader.Get("email", s.email, s.user);
  reader.Get("full_name", s.fullName, s.email);
  reader.Get("team_name", s.teamName, "");
  reader.Get("user_id", s.userId, "");
  reader.GetFs("master_project_folder", s.masterProjectFolder, "");
  reader.Get("sync_file_locking", s.syncFileLocking, false);
  reader.Get("show_green_checkmarks", s.showGreenCheckmarks, true);
  reader.Get("public_share", s.publicShare, false);
  reader.Get("public_upload", s.publicUpload, false);
  reader.Get("public_expiration", s.publicExpiration, false);
  reader.Get("public_password", s.publicPassword, false);
  reader.Get("fax_enabled", s.faxEnabled, true);
  reader.Get("convert_targets", s.convertTargets, "");
  if (s.masterProjectFolder.empty()) s.masterProjectFolder = DefaultWorkplace(s.configLabel);
  return s;
}

void CFinderConfiguration::Load() {
  Settings settings = ReadSettings();
  KELVO_LOG(kLogInformation, "Changing log trace to: " << settings.traceLevel);
  if (CLogger* logger = CLogger::m_Instance) logger->SetLevel(settings.traceLevel);
  if (!settings.rcid.empty()) {
    config::CSecureStore::Read(settings.configLabel, settings.rcid, settings.authenticationKey);
  }
  CMutexLock lock(mutex_);
  settings_ = std::move(settings);
  publication_.fetch_add(1, std::memory_order_release);
}

std::string CFinderConfiguration::ClientId() const {
  CMutexLock lock(mutex_);
  return settings_.rcid;
}

std::string CFinderConfiguration::UserId() const {
  CMutexLock lock(mutex_);
  return settings_.userId;
}

std::string CFinderConfiguration::CellId() const {
  CMutexLock lock(mutex_);
  return settings_.cellId;
}

std::string CFinderConfiguration::AuthenticationKey() const {
  CMutexLock lock(mutex_);
  return settings_.authenticationKey;
}

bool CFinderConfiguration::IsUserMe(const std::string& name) const {
  if (name.empty()) return true;
  CMutexLock lock(mutex_);
  return name == settings_.fullName;
}

std::string CFinderConfiguration::FullName() const {
  CMutexLock lock(mutex_);
  return settings_.fullName;
}

std::string CFinderConfiguration::File() const {
  CMutexLock lock(mutex_);
  return settings_.file;
}

bool CFinderConfiguration::IsRead() const {
  CMutexLock lock(mutex_);
  return settings_.isRead;
}

std::string CFinderConfiguration::Label() const {
  CMutexLock lock(mutex_);
  return settings_.configLabel;
}

std::string CFinderConfiguration::WorkplaceFolder() const {
  CMutexLock lock(mutex_);
  return settings_.masterProjectFolder;
}

int CFinderConfiguration::TraceLevel() const {
  CMutexLock lock(mutex_);
  return settings_.traceLevel;
}

bool CFinderConfiguration::ShowGreenCheckmarks() const {
  CMutexLock lock(mutex_);
  return settings_.showGreenCheckmarks;
}

bool CFinderConfiguration::SyncFileLocking() const {
  CMutexLock lock(mutex_);
  return settings_.syncFileLocking;
}

bool CFinderConfiguration::PublicShare() const {
  CMutexLock lock(mutex_);
  return settings_.publicShare;
}

}  // namespace kelvo
