#include "settings/secure_store.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <limits>

#include "settings/properties.h"

namespace kelvo {
namespace {

std::atomic<SecretStore*> theStore{nullptr};

// Through a volatile pointer, because the compiler drops a memset of memory that is freed next.
void Overwrite(void* data, std::size_t length, unsigned char with) {
  volatile unsigned char* const bytes = static_cast<unsigned char*>(data);
  for (std::size_t i = 0; i < length; ++i) bytes[i] = with;
}

void AllowUserInteraction(bool allowed) {
  SecretStore* const store = theStore.load(std::memory_order_acquire);
  if (store != nullptr) store->SetUserInteractionAllowed(allowed);
}

}  // namespace

void SetSecretStore(SecretStore* store) { theStore.store(store, std::memory_order_release); }

SecretStatus ReadSecret(const std::string& service, const std::string& account,
                        std::string* secret) {
  SecretStore* const store = theStore.load(std::memory_order_acquire);
  return store == nullptr ? SecretStatus::kUnavailable : store->Read(service, account, secret);
}

SecretStatus StoreSecret(const std::string& service, const std::string& account,
                         const std::string& secret) {
  SecretStore* const store = theStore.load(std::memory_order_acquire);
  if (store == nullptr) return SecretStatus::kUnavailable;
  const SecretStatus status = store->Find(service, account);
  if (status == SecretStatus::kOk) return store->Modify(service, account, secret);
  // A store that cannot say whether there is an item is not given a second one.
  if (status != SecretStatus::kNotFound) return status;
  return store->Create(service, account, secret,
                       CreateKeychainItemAccess(service, TrustedApplications()));
}

SecretSilence::SecretSilence() { AllowUserInteraction(false); }
SecretSilence::~SecretSilence() { AllowUserInteraction(true); }

bool ReadPasswordData(const char* service, const char* account, std::uint32_t* length,
                      void** data) {
  std::string secret;
  if (ReadSecret(service, account, &secret) != SecretStatus::kOk) return false;
  // One byte for an empty secret: malloc(0) may answer null.
  void* const buffer = secret.size() > std::numeric_limits<std::uint32_t>::max()
                           ? nullptr
                           : std::malloc(secret.empty() ? 1 : secret.size());
  if (buffer != nullptr) {
    std::copy(secret.begin(), secret.end(), static_cast<char*>(buffer));
    *length = static_cast<std::uint32_t>(secret.size());
    *data = buffer;
  }
  Overwrite(secret.data(), secret.size(), 0);
  return buffer != nullptr;
}

bool StorePasswordData(const char* service, const char* account, std::uint32_t length,
                       const void* data) {
  std::string secret(static_cast<const char*>(data), length);
  const SecretStatus status = StoreSecret(service, account, secret);
  Overwrite(secret.data(), secret.size(), 0);
  return status == SecretStatus::kOk;
}

bool DeletePasswordData(const char* service, const char* account) {
  SecretStore* const store = theStore.load(std::memory_order_acquire);
  if (store == nullptr) return false;
  const SecretStatus status = store->Delete(service, account);
  return status == SecretStatus::kOk || status == SecretStatus::kNotFound;
}

const std::vector<std::string>& TrustedApplications() {
  static const auto* const applications = new std::vector<std::string>{
      "/Applications/System Preferences.app",
      "/Applications/KelvoAgent.app/Contents/PlugIns/kelvoAgent",
      "/Applications/KelvoAgent.app",
      "/Applications/KelvoAgent.app/Contents/PlugIns/kelvoFinderSync.appex",
      "/Applications/KelvoAgent.app/Contents/PlugIns/AccountSetup.app",
  };
  return *applications;
}

SecretAccess CreateKeychainItemAccess(const std::string& description,
                                      const std::vector<std::string>& applications) {
  return {description, applications};
}

std::optional<PropertyList::Array> LoadStorageConfiguration(const std::string& path) {
  return LoadPropertiesFromFileToArrayOfDictionaries(path);
}

bool StoreStorageConfiguration(const std::string& path, const PropertyList::Array& settings) {
  return StorePropertiesToFileA(path, settings);
}

namespace config {

bool CSecureStore::Read(const std::string& service, const std::string& account, std::string& out) {
  std::uint32_t length = 0;
  void* data = nullptr;
  if (!ReadPasswordData(service.c_str(), account.c_str(), &length, &data)) return false;
  out.assign(static_cast<const char*>(data), length);
  constexpr unsigned char kFiller = 102;
  Overwrite(data, length, kFiller);
  std::free(data);
  return true;
}

}  // namespace config
}  // namespace kelvo
