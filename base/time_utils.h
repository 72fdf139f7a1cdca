#pragma once

#include <cstdint>
#include <string>

namespace kelvo {

// `time`: seconds since 1970. Mode 0: local time as "2024-01-31 09:05:00"; any other mode: the
// seconds as an unsigned decimal number. Any thread.
std::string DateToString(std::int64_t time, int mode);

}  // namespace kelvo
