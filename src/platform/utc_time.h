// Conversion of a UTC date-time (as MLSD facts carry it) to the local general date text.
#pragma once

#include <optional>
#include <string>

namespace quorvi::platform {

/// A calendar date-time; fields as written (month 1-12, day 1-31).
struct CivilTime {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
};

/// The UTC time in local time ("YYYY-MM-DD HH:MM:SS") under the system's time-zone rules
/// (TZ, tzset); nothing when the fields do not form a valid date-time.
std::optional<std::string> UtcToLocalText(const CivilTime& utc);

}  // namespace quorvi::platform
