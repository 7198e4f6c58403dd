#include "platform/utc_time.h"

#include <time.h>

#include <array>

namespace quorvi::platform {

std::optional<std::string> UtcToLocalText(const CivilTime& utc) {
  struct tm fields {};
  fields.tm_year = utc.year - 1900;
  fields.tm_mon = utc.month - 1;
  fields.tm_mday = utc.day;
  fields.tm_hour = utc.hour;
  fields.tm_min = utc.minute;
  fields.tm_sec = utc.second;
  const time_t seconds = timegm(&fields);
  // timegm normalises out-of-range fields (Feb 30 → Mar 2): such input is not a date.
  if (seconds == static_cast<time_t>(-1) || fields.tm_year != utc.year - 1900 ||
      fields.tm_mon != utc.month - 1 || fields.tm_mday != utc.day || fields.tm_hour != utc.hour ||
      fields.tm_min != utc.minute || fields.tm_sec != utc.second)
    return std::nullopt;
  tzset();
  struct tm local {};
  if (localtime_r(&seconds, &local) == nullptr) return std::nullopt;
  std::array<char, 32> buf{};
  const auto n = strftime(buf.data(), buf.size(), "%Y-%m-%d %H:%M:%S", &local);
  return std::string(buf.data(), n);
}

}  // namespace quorvi::platform
