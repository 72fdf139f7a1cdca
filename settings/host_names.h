// Who and where the process is; host_names_posix.cc. Any thread. Neither is ever empty, and both
// are valid UTF-8.
#pragma once

#include <string>

namespace kelvo {

// The computer's own name, "localhost" when it has none.
std::string ComputerName();

// The short name of the user whom the process runs for; the user's number when nobody knows the
// name. May ask a directory service.
std::string LoginUserName();

}  // namespace kelvo
