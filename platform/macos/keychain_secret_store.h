#pragma once

#include "platform/secret_store.h"

namespace kelvo {

// Generic passwords of the user's keychains: found in the default search list, made in the default
// keychain for whoever the access list names.
//
// Threads: any. A call may wait for the user, unless that is switched off for the process.
class KeychainSecretStore : public SecretStore {
 public:
  void SetUserInteractionAllowed(bool allowed) override;
  SecretStatus Read(const std::string& service, const std::string& account,
                    std::string* secret) override;
  SecretStatus Find(const std::string& service, const std::string& account) override;
  SecretStatus Modify(const std::string& service, const std::string& account,
                      const std::string& secret) override;
  SecretStatus Create(const std::string& service, const std::string& account,
                      const std::string& secret, const SecretAccess& access) override;
  SecretStatus Delete(const std::string& service, const std::string& account) override;
};

}  // namespace kelvo
