#include "platform/macos/keychain_status.h"

#include "base/logger.h"
#include "base/string_utils.h"

namespace kelvo {
namespace {

// The keychain's own numbers, as its documentation gives them.
constexpr std::int32_t kSuccess = 0;
constexpr std::int32_t kUserCanceled = -128;
constexpr std::int32_t kAuthFailed = -25293;
constexpr std::int32_t kItemNotFound = -25300;
constexpr std::int32_t kInteractionNotAllowed = -25308;
constexpr std::int32_t kInteractionRequired = -25315;

SecretStatus Meaning(std::int32_t status) {
  switch (status) {
    case kSuccess:
      return SecretStatus::kOk;
    case kItemNotFound:
      return SecretStatus::kNotFound;
    case kUserCanceled:
    case kAuthFailed:
    case kInteractionNotAllowed:
    case kInteractionRequired:
      return SecretStatus::kRefused;
    default:
      return SecretStatus::kUnavailable;
  }
}

}  // namespace

SecretStatus FromKeychainStatus(std::int32_t status, const char* action,
                                const std::string& service) {
  const SecretStatus meaning = Meaning(status);
  if (meaning != SecretStatus::kOk && meaning != SecretStatus::kNotFound) {
    KELVO_LOG(kLogWarning, "cannot " << action << " the secret of "
                                     << EscapeControlCharacters(service) << ": keychain status "
                                     << status);
  }
  return meaning;
}

}  // namespace kelvo
