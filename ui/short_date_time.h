// Dates as the user's desktop writes them; short_date_time_linux.cc and its siblings. Any thread.
#pragma once

#include <cstdint>
#include <string>

namespace kelvo {

// Local date and time of day in the locale's short styles, such as "11/14/2023 10:13 PM".
// `time`: seconds since 1970. A time that no calendar holds gives its number.
std::string ShortDateTime(std::int64_t time);

}  // namespace kelvo
