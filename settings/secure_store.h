// The account's secrets in the platform's secret store. Each call may block for some seconds:
// settings worker only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/property_list.h"
#include "platform/secret_store.h"

namespace kelvo {

// The store of this process; set once at start, null in a test that has taken it away.
void SetSecretStore(SecretStore* store);

// As SecretStore::Read; kUnavailable without a store.
SecretStatus ReadSecret(const std::string& service, const std::string& account,
                        std::string* secret);
// Changes the existing item, or creates one. A failed change is not followed by a create.
SecretStatus StoreSecret(const std::string& service, const std::string& account,
                         const std::string& secret);

// While one lives, the store does not ask the user. Process-wide, and not to be nested: one thread
// at a time.
class SecretSilence {
 public:
  SecretSilence();
  ~SecretSilence();
  SecretSilence(const SecretSilence&) = delete;
  SecretSilence& operator=(const SecretSilence&) = delete;
};

// ReadSecret, StoreSecret and their counterpart, told apart only in success.
//
// On success a buffer of `length` bytes that the caller frees with free() (also for length 0);
// false leaves both outputs untouched.
bool ReadPasswordData(const char* service, const char* account, std::uint32_t* length, void** data);
bool StorePasswordData(const char* service, const char* account, std::uint32_t length,
                       const void* data);
// True when the item was deleted and when there was none.
bool DeletePasswordData(const char* service, const char* account);

// Who may read a new item besides its creator, in order.
const std::vector<std::string>& TrustedApplications();
SecretAccess CreateKeychainItemAccess(const std::string& description,
                                      const std::vector<std::string>& applications);

// Load and store a property list with an array at the top level, under the names that the storage
// settings use; settings/properties.h says how.
std::optional<PropertyList::Array> LoadStorageConfiguration(const std::string& path);
bool StoreStorageConfiguration(const std::string& path, const PropertyList::Array& settings);

namespace config {

class CSecureStore {
 public:
  // False when there is no such item or it cannot be read; `out` is untouched then.
  static bool Read(const std::string& service, const std::string& account, std::string& out);
};

}  // namespace config
}  // namespace kelvo
