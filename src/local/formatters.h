// Display formats for byte counts, digit groups and durations.
#pragma once

#include <cstdint>
#include <string>

namespace quorvi::detail {

/// Unit words of FormatTime's long form, already padded (" Hrs ", " Mins ", " Secs").
struct TimeUnitWords {
  std::string hours = " Hrs ";
  std::string minutes = " Mins ";
  std::string seconds = " Secs";
};

/// Replaces every occurrence of from (not empty) by to, left to right.
void ReplaceAll(std::string& text, const std::string& from, const std::string& to);
/// A number as text: whole values without a decimal point, others with up to 15 digits.
std::string NumberText(double value);
/// "1.5 MB", "2 KB", "1023 Bytes".
std::string FormatFileSize(double file_size);
/// Digits grouped by three with ",": 1234567 gives "1,234,567".
std::string FormatNumber(double size);
/// "hh:mm:ss" (hours not limited to two digits); "00:00:00" for anything not above 0.
std::string SecondsToTimeText(std::int32_t seconds);
/// Clock form ("01:02:05", "01:05") for time_type other than 1; long form with the unit words
/// ("1 Hrs 2 Mins 5 Secs") for 1.
std::string FormatTime(std::int32_t seconds, std::int16_t time_type = 0,
                       const TimeUnitWords& units = {});

}  // namespace quorvi::detail
