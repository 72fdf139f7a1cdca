#pragma once

#include <string>

#include "platform/secret_store.h"

namespace kelvo {

// Secrets in the desktop's keyring, by way of the Secret Service on the session bus.
//
// An item is found by its attributes "service" and "account" alone, whatever schema it was stored
// under; its label is the service. New items go into the default collection. What is locked is
// never unlocked, and no prompt of the service is ever performed: both are kUnavailable.
//
// Threads: any; calls are independent of each other and of the caller's main context.
class SecretServiceStore : public SecretStore {
 public:
  SecretStatus Read(const std::string& service, const std::string& account,
                    std::string* secret) override;
  SecretStatus Find(const std::string& service, const std::string& account) override;
  SecretStatus Modify(const std::string& service, const std::string& account,
                      const std::string& secret) override;
  // The Secret Service keeps no list of applications: `access` is not used.
  SecretStatus Create(const std::string& service, const std::string& account,
                      const std::string& secret, const SecretAccess& access) override;
  SecretStatus Delete(const std::string& service, const std::string& account) override;
};

}  // namespace kelvo
