// Fields, numbers, clock times and the year rules every listing reader shares.
#include <array>
#include <charconv>
#include <cstdio>

#include "ftp/listing_line.h"

namespace quorvi::detail::listing {

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

int DaysInMonth(int year, int month) {
  static constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

// Days since 0000-03-01 of a proleptic Gregorian date (for comparing dates a day apart).
long DayNumber(int year, int month, int day) {
  if (month <= 2) --year;
  const long era = year >= 0 ? year / 400 : (year - 399) / 400;
  const long yoe = year - era * 400;
  const long doy = (153L * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + yoe * 365 + yoe / 4 - yoe / 100 + doy;
}

}  // namespace

std::vector<Field> Fields(std::string_view line, std::size_t most) {
  std::vector<Field> fields;
  std::size_t pos = 0;
  while (fields.size() < most) {
    while (pos < line.size() && IsBlank(line[pos])) ++pos;
    if (pos >= line.size()) break;
    std::size_t end = pos;
    while (end < line.size() && !IsBlank(line[end])) ++end;
    fields.push_back({line.substr(pos, end - pos), pos});
    pos = end;
  }
  return fields;
}

std::string_view RestAfter(std::string_view line, const Field& field) {
  std::size_t pos = std::min(field.end(), line.size());
  while (pos < line.size() && IsBlank(line[pos])) ++pos;
  return line.substr(pos);
}

bool AllDigits(std::string_view text) {
  if (text.empty()) return false;
  for (char c : text)
    if (!IsDigit(c)) return false;
  return true;
}

std::optional<int> SmallNumber(std::string_view text) {
  if (!AllDigits(text) || text.size() > 9) return std::nullopt;
  int value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

std::optional<std::uint64_t> Size(std::string_view text) {
  if (!AllDigits(text)) return std::nullopt;
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<std::uint64_t> GroupedSize(std::string_view text) {
  if (text.empty()) return std::nullopt;
  const char separator = text.find(',') != std::string_view::npos ? ',' : '.';
  std::string digits;
  std::size_t group = 0;  // digits since the last separator
  bool separated = false;
  for (char c : text) {
    if (c == separator) {
      if (group == 0 || (separated && group != 3) || (!separated && group > 3)) return std::nullopt;
      separated = true;
      group = 0;
    } else if (IsDigit(c)) {
      digits += c;
      ++group;
    } else {
      return std::nullopt;
    }
  }
  if (separated && group != 3) return std::nullopt;
  return Size(digits);
}

std::optional<std::uint64_t> ScaledSize(std::string_view text) {
  if (const auto plain = Size(text)) return plain;
  if (text.size() < 2) return std::nullopt;
  static constexpr std::string_view kUnits = "kmgt";
  const auto unit = kUnits.find(LowerAscii(text.back()));
  if (unit == std::string_view::npos) return std::nullopt;
  const std::string_view number = text.substr(0, text.size() - 1);
  if (!IsDigit(number.front()) || !IsDigit(number.back())) return std::nullopt;
  double value = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value,
                                            std::chars_format::fixed);
  if (error != std::errc() || end != number.data() + number.size()) return std::nullopt;
  for (std::size_t i = 0; i <= unit; ++i) value *= 1024;
  if (value > 1e18) return std::nullopt;
  return static_cast<std::uint64_t>(value + 0.5);
}

bool ReadClock(std::string_view text, std::string_view suffix, CivilTime& time) {
  std::string lower;
  for (char c : suffix) lower += LowerAscii(c);
  if (lower.empty() && text.size() > 2) {
    std::string tail;
    for (char c : text.substr(text.size() - 2)) tail += LowerAscii(c);
    if (tail == "am" || tail == "pm") {
      lower = tail;
      text.remove_suffix(2);
    }
  }
  if (!lower.empty() && lower != "am" && lower != "pm") return false;
  const auto colon = text.find(':');
  if (colon == std::string_view::npos || colon == 0 || colon > 2) return false;
  std::string_view rest = text.substr(colon + 1);
  std::string_view seconds;
  if (const auto second_colon = rest.find(':'); second_colon != std::string_view::npos) {
    seconds = rest.substr(second_colon + 1);
    rest = rest.substr(0, second_colon);
    seconds = seconds.substr(0, seconds.find('.'));  // hundredths (VMS) are dropped
    if (seconds.size() != 2) return false;
  }
  const int h_listed = SmallNumber(text.substr(0, colon)).value_or(-1);
  // "00:0" (a server that drops a leading zero) is read too.
  const int minute = !rest.empty() && rest.size() <= 2 ? SmallNumber(rest).value_or(-1) : -1;
  const int second = seconds.empty() ? 0 : SmallNumber(seconds).value_or(-1);
  if (h_listed < 0 || minute < 0 || second < 0 || minute > 59 || second > 59) return false;
  int h = h_listed;
  if (!lower.empty()) {
    if (h < 1 || h > 12) return false;
    h = h % 12 + (lower == "pm" ? 12 : 0);
  }
  if (h > 24 || (h == 24 && (minute != 0 || second != 0))) return false;
  time.hour = h;  // 24:00 is left to RollMidnight (or refused as no valid time)
  time.minute = minute;
  time.second = second;
  return true;
}

bool ValidDate(const CivilTime& t) {
  return t.year >= 1 && t.year <= 9999 && t.month >= 1 && t.month <= 12 && t.day >= 1 &&
         t.day <= DaysInMonth(t.year, t.month) && t.hour >= 0 && t.hour <= 23 && t.minute >= 0 &&
         t.minute <= 59 && t.second >= 0 && t.second <= 59;
}

void RollMidnight(CivilTime& t) {
  if (t.hour != 24 || t.month < 1 || t.month > 12) return;
  t.hour = 0;
  if (++t.day <= DaysInMonth(t.year, t.month)) return;
  t.day = 1;
  if (++t.month <= 12) return;
  t.month = 1;
  ++t.year;
}

int FullYear(int two_digits, int current_year) {
  // The classic DOS rule: up to the century number + 10 (30 while the year is 20xx) is this
  // century, later ones the last.
  const int century = current_year / 100;
  return two_digits + (two_digits <= century + 10 ? century : century - 1) * 100;
}

void PlaceYearless(CivilTime& date, const CivilTime& now) {
  date.year = now.year;
  // Feb 29 of a year-less date belongs to the last leap year before it.
  if (date.month == 2 && date.day == 29)
    while (DaysInMonth(date.year, 2) != 29 && date.year > now.year - 8) --date.year;
  if (DayNumber(date.year, date.month, date.day) > DayNumber(now.year, now.month, now.day) + 1)
    --date.year;
  if (date.month == 2 && date.day == 29)
    while (DaysInMonth(date.year, 2) != 29 && date.year > now.year - 8) --date.year;
}

std::string DateText(const CivilTime& t) {
  std::array<char, 40> buf{};
  const int n = std::snprintf(buf.data(), buf.size(), "%04d-%02d-%02d %02d:%02d:%02d", t.year,
                              t.month, t.day, t.hour, t.minute, t.second);
  return std::string(buf.data(), static_cast<std::size_t>(n));
}

}  // namespace quorvi::detail::listing
