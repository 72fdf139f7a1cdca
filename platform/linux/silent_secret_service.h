#pragma once

#include <libsecret/secret.h>

namespace kelvo {

// The type of a SecretService that performs no prompt: an operation for which the service wants to
// ask the user fails with the error SECRET_ERROR_IS_LOCKED instead.
GType SilentSecretServiceType();

}  // namespace kelvo
