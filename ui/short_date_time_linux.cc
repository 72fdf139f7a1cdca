#include <langinfo.h>
#include <time.h>

#include <string_view>

#include "base/string_utils.h"
#include "base/time_utils.h"
#include "ui/short_date_time.h"

namespace kelvo {
namespace {

// The C library has no time of day without seconds in the locale's own form, so all that is taken
// from the locale is whether its clock has twelve hours.
bool HasTwelveHourClock() {
  // Some locales have one but no words for its halves, without which nobody knows which is meant.
  if (*::nl_langinfo(PM_STR) == '\0') return false;
  const std::string_view format = ::nl_langinfo(T_FMT);
  for (const char* conversion : {"%r", "%I", "%OI", "%l", "%-I", "%p"}) {
    if (format.find(conversion) != std::string_view::npos) return true;
  }
  return false;
}

}  // namespace

std::string ShortDateTime(std::int64_t time) {
  const time_t seconds = static_cast<time_t>(time);
  struct tm local;
  ::tzset();  // localtime_r alone need not look
  if (::localtime_r(&seconds, &local) == nullptr) return DateToString(time, 1);
  char text[128];
  const std::size_t size =
      ::strftime(text, sizeof text, HasTwelveHourClock() ? "%x %I:%M %p" : "%x %H:%M", &local);
  const std::string_view written(text, size);
  // A locale in another encoding than UTF-8 may write what no menu takes.
  return written.empty() || !IsValidUtf8(written) ? DateToString(time, 0) : std::string(written);
}

}  // namespace kelvo
