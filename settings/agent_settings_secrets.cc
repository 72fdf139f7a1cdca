// The secrets of the account's main record.
#include <algorithm>
#include <string>
#include <utility>

#include "base/logger.h"
#include "base/string_utils.h"
#include "settings/agent_settings.h"
#include "settings/secure_store.h"

namespace kelvo {
namespace {

SecretStatus ReadSilently(const std::string& service, const std::string& account,
                          std::string* secret) {
  const SecretSilence silence;
  return ReadSecret(service, account, secret);
}

SecretStatus StoreSilently(const std::string& service, const std::string& account,
                           const std::string& secret) {
  const SecretSilence silence;
  return StoreSecret(service, account, secret);
}

// A secret that is not text counts as an empty one.
bool IsText(const std::string& secret, const std::string& service) {
  if (IsValidUtf8(secret)) return true;
  KELVO_LOG(kLogWarning, "the secret of " << EscapeControlCharacters(service) << " is not text");
  return false;
}

}  // namespace

std::string kelvoAgentSettings::webAccessLabel() const {
  return configLabel() + "-secureWebAccess";
}

bool kelvoAgentSettings::readAccountDataWithOverwrite(bool overwrite) {
  const std::string label = configLabel();
  const std::string account = rcid();
  if (account.empty()) return readAccountDataOld();
  std::string secret;
  SecretStatus status = ReadSilently(label, account, &secret);
  const bool isRefusedSilently = status == SecretStatus::kRefused;
  // Asking again would not bring a missing item, nor wake a store that does not answer.
  if (isRefusedSilently) status = ReadSecret(label, account, &secret);
  if (status != SecretStatus::kOk) return false;
  const bool isText = IsText(secret, label);
  authenticationKey_ = isText ? std::move(secret) : std::string();
  // What is not text could not be written anew, and would be lost.
  if (overwrite && isRefusedSilently && isText) {
    deleteSecrets(account);
    storeAccountData();
  }
  return true;
}

bool kelvoAgentSettings::readAccountDataOld() {
  const std::string label = configLabel();
  std::string secret;
  if (ReadSecret(label, userName(), &secret) != SecretStatus::kOk) return false;
  secret.resize(std::min(secret.find('\n'), secret.size()));
  password_ = IsText(secret, label) ? std::move(secret) : std::string();
  return true;
}

bool kelvoAgentSettings::storeAccountData() {
  if (!password_.empty()) {
    deleteSecrets(userName());
    password_.clear();
  }
  const std::string label = configLabel();
  const std::string account = rcid();
  if (account.empty()) return false;
  if (authenticationKey_.empty()) return true;
  SecretStatus status = StoreSilently(label, account, authenticationKey_);
  // A store that does not answer has refused nothing; what it holds stays.
  if (status != SecretStatus::kOk && status != SecretStatus::kUnavailable) {
    deleteSecrets(account);
    status = StoreSecret(label, account, authenticationKey_);
  }
  return status == SecretStatus::kOk;
}

void kelvoAgentSettings::cleanupKeychain() const {
  deleteSecrets(userName());
  const std::string account = rcid();
  if (!account.empty()) deleteSecrets(account);
}

void kelvoAgentSettings::deleteSecrets(const std::string& account) const {
  DeletePasswordData(configLabel().c_str(), account.c_str());
  DeletePasswordData(webAccessLabel().c_str(), account.c_str());
}

}  // namespace kelvo
