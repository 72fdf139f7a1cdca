#pragma once

#include <cstdint>
#include <string>

#include "platform/secret_store.h"

namespace kelvo {

// What a status of the keychain means; anything but success and "no such item" is logged. `action`
// completes "cannot ... the secret".
SecretStatus FromKeychainStatus(std::int32_t status, const char* action,
                                const std::string& service);

}  // namespace kelvo
