// Rare layouts of single server products: the old VShell listing, the numeric UNIX listing
// (mode, uid, gid, size, seconds since 1970) and the Nortel wfFtp router listing.
#include "ftp/listing_line.h"

namespace quorvi::detail::listing {

namespace {

CivilTime FromSeconds(std::uint64_t seconds) {
  const auto days = static_cast<long long>(seconds / 86400);
  const auto rest = static_cast<int>(seconds % 86400);
  // Civil date of a day count since 1970-01-01 (the well-known era arithmetic).
  const long long z = days + 719468, era = z / 146097, doe = z - era * 146097;
  const long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100), mp = (5 * doy + 2) / 153;
  const int month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  return {static_cast<int>(yoe + era * 400 + (month <= 2)), month,
          static_cast<int>(doy - (153 * mp + 2) / 5 + 1), rest / 3600, rest % 3600 / 60,
          rest % 60};
}

}  // namespace

std::optional<CivilTime> TimeFromUnixSeconds(std::string_view text) {
  const auto seconds = Size(text);
  if (!seconds || *seconds > 253402300799ULL) return std::nullopt;  // up to 9999-12-31
  return FromSeconds(*seconds);
}

// "206876  Apr 04, 2000 21:06 name", "0  Dec 12, 2002 02:13 folder/"
Outcome ReadVShell(std::string_view line, Entry& entry) {
  const auto f = Fields(line, 6);
  if (f.size() < 6 || !Size(f[0].text) || !f[2].text.ends_with(',')) return Outcome::kNotUnderstood;
  CivilTime time{SmallNumber(f[3].text).value_or(0), MonthByName(f[1].text),
                 SmallNumber(f[2].text.substr(0, f[2].text.size() - 1)).value_or(0), 0, 0, 0};
  if (f[3].text.size() != 4 || !ReadClock(f[4].text, "", time) || !ValidDate(time))
    return Outcome::kNotUnderstood;
  std::string_view name = line.substr(std::min(f[4].end() + 1, line.size()));
  entry.directory = name.ends_with('/');
  if (entry.directory) name.remove_suffix(1);
  if (name.empty()) return Outcome::kNotUnderstood;
  entry.size = Size(f[0].text);
  entry.time = time;
  entry.name = std::string(name);
  return Outcome::kEntry;
}

// "0100644   500  101   12345    123456789       name": octal mode, uid, gid, size, time.
Outcome ReadNumericUnix(std::string_view line, Entry& entry) {
  const auto f = Fields(line, 6);
  if (f.size() < 6 || f[0].text.size() < 6 || f[0].text.size() > 7 ||
      f[0].text.find_first_not_of("01234567") != std::string_view::npos || !AllDigits(f[1].text) ||
      !AllDigits(f[2].text) || !Size(f[3].text))
    return Outcome::kNotUnderstood;
  entry.time = TimeFromUnixSeconds(f[4].text);
  if (!entry.time) return Outcome::kNotUnderstood;
  const auto mode = std::stoul(std::string(f[0].text), nullptr, 8);  // 6 or 7 octal digits
  const unsigned type = static_cast<unsigned>(mode) & 0170000u;
  entry.directory = type == 0040000u;
  entry.link = type == 0120000u;
  entry.time_is_utc = true;
  entry.size = Size(f[3].text);
  entry.owner = std::string(f[1].text);
  entry.group = std::string(f[2].text);
  entry.name = std::string(RestAfter(line, f[4]));
  return entry.name.empty() ? Outcome::kNotUnderstood : Outcome::kEntry;
}

// "name       1014196  06/03/04  Thur.   10:20:03": name, size, date, weekday, time.
Outcome ReadWfFtp(std::string_view line, Entry& entry) {
  const auto f = Fields(line, 6);
  if (f.size() != 5 || f[0].at != 0 || !Size(f[1].text) || !f[3].text.ends_with('.'))
    return Outcome::kNotUnderstood;
  auto date = DosDate(f[2].text, 2000);
  if (!date || !ReadClock(f[4].text, "", *date) || !ValidDate(*date))
    return Outcome::kNotUnderstood;
  entry.size = Size(f[1].text);
  entry.time = date;
  entry.name = std::string(f[0].text);
  return Outcome::kEntry;
}

}  // namespace quorvi::detail::listing
