#pragma once

#include <string>
#include <vector>

namespace kelvo {

enum class SecretStatus {
  kOk,
  kNotFound,     // the store answered: there is no such item
  kRefused,      // the store answered: the user or an access list says no
  kUnavailable,  // no store, a locked one, or none that answered in time; nothing was decided
};

// Who else may read a new item, where the store keeps such a list.
struct SecretAccess {
  std::string description;
  std::vector<std::string> applications;  // paths; what is not installed is skipped
};

// Secrets by service and account name (both UTF-8). A secret is bytes: may be empty, need not be
// text.
//
// Threads: any. On Linux each call blocks for at most about 2 seconds and never makes the desktop
// ask the user. The reason for anything but kOk and kNotFound is logged by the store.
class SecretStore {
 public:
  virtual ~SecretStore() = default;
  // Process-wide, for a store that may ask the user (at start it may): with false, what needs an
  // answer is kRefused instead.
  virtual void SetUserInteractionAllowed(bool /*allowed*/) {}
  // Fills `secret` only with kOk.
  virtual SecretStatus Read(const std::string& service, const std::string& account,
                            std::string* secret) = 0;
  // Whether an item is there, without its secret.
  virtual SecretStatus Find(const std::string& service, const std::string& account) = 0;
  // Replaces the secret of an existing item, which keeps its names and whoever may read it.
  virtual SecretStatus Modify(const std::string& service, const std::string& account,
                              const std::string& secret) = 0;
  // Makes a new item labelled with the service.
  virtual SecretStatus Create(const std::string& service, const std::string& account,
                              const std::string& secret, const SecretAccess& access) = 0;
  virtual SecretStatus Delete(const std::string& service, const std::string& account) = 0;
};

}  // namespace kelvo
