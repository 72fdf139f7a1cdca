#include "base/time_utils.h"

#include <stdio.h>
#include <time.h>

namespace kelvo {

std::string DateToString(std::int64_t time, int mode) {
  const time_t seconds = static_cast<time_t>(time);
  struct tm local;
  ::tzset();  // localtime_r alone need not look
  // A year beyond what the calendar takes has only its number.
  if (mode != 0 || ::localtime_r(&seconds, &local) == nullptr) {
    return std::to_string(static_cast<std::uint64_t>(time));
  }
  char text[64];
  const int size =
      ::snprintf(text, sizeof text, "%04ld-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900L,
                 local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  return {text, static_cast<std::size_t>(size)};
}

}  // namespace kelvo
