// Listings from Windows-family systems and small devices: DOS/IIS, OS/2, Windows CE and
// VxWorks. All give a date, a time, a size or a folder mark, and the name.
#include <array>

#include "ftp/listing_line.h"

namespace quorvi::detail::listing {

namespace {

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

// The three numbers of a date written with "-", "/" or "."; nothing for other text.
std::optional<std::array<int, 3>> DateParts(std::string_view text,
                                            std::array<std::size_t, 3>& widths) {
  if (text.size() < 6 || text.size() > 10) return std::nullopt;
  const auto first = text.find_first_not_of("0123456789");
  const char separator = first == std::string_view::npos ? '0' : text[first];
  if (separator != '-' && separator != '/' && separator != '.') return std::nullopt;
  std::array<int, 3> parts{};
  std::size_t at = 0;
  for (std::size_t i = 0; i < 3; ++i) {
    const auto end = i < 2 ? text.find(separator, at) : text.size();
    if (end == std::string_view::npos) return std::nullopt;
    const auto number = SmallNumber(text.substr(at, end - at));
    if (!number) return std::nullopt;
    parts[i] = *number;
    widths[i] = end - at;
    at = end + 1;
  }
  return parts;
}

}  // namespace

// "01-15-09", "01-15-2009", "2002-09-02", "2002/09/02", "15.01.2009": month before day unless
/// the year comes first or dots are used (day first).
std::optional<CivilTime> DosDate(std::string_view text, int current_year) {
  std::array<std::size_t, 3> widths{};
  const auto parts = DateParts(text, widths);
  if (!parts) return std::nullopt;
  CivilTime date;
  if (widths[0] == 4) {
    date = {(*parts)[0], (*parts)[1], (*parts)[2], 0, 0, 0};
  } else if (widths[2] >= 2 && widths[2] <= 4) {
    // Three digits: years since 1900 from servers that were not ready for 2000 ("04-23-103").
    const int year = widths[2] == 4   ? (*parts)[2]
                     : widths[2] == 3 ? 1900 + (*parts)[2]
                                      : FullYear((*parts)[2], current_year);
    const bool day_first = text.find('.') != std::string_view::npos;
    date = {year, (*parts)[day_first ? 1 : 0], (*parts)[day_first ? 0 : 1], 0, 0, 0};
  } else {
    return std::nullopt;
  }
  if (widths[1] > 2 || (widths[0] != 4 && widths[0] > 2)) return std::nullopt;
  return date;
}

Outcome ReadDos(std::string_view line, const LineContext& context, Entry& entry) {
  const auto f = Fields(line, 5);
  if (f.size() < 4) return Outcome::kNotUnderstood;
  auto date = DosDate(f[0].text, context.now.year);
  if (!date) return Outcome::kNotUnderstood;
  std::size_t next = 2;
  const bool suffix = EqualsNoCase(f[2].text, "AM") || EqualsNoCase(f[2].text, "PM");
  if (!ReadClock(f[1].text, suffix ? f[2].text : "", *date)) return Outcome::kNotUnderstood;
  if (suffix) ++next;
  if (next + 1 >= f.size() || !ValidDate(*date)) return Outcome::kNotUnderstood;
  const std::string_view column = f[next].text;
  if (EqualsNoCase(column, "<DIR>")) {
    entry.directory = true;
  } else if (EqualsNoCase(column, "<JUNCTION>") || EqualsNoCase(column, "<SYMLINKD>") ||
             EqualsNoCase(column, "<SYMLINK>")) {
    entry.link = true;  // never a folder to enter
  } else {
    entry.size = GroupedSize(column);
    if (!entry.size) return Outcome::kNotUnderstood;
  }
  std::string_view name = RestAfter(line, f[next]);
  if (entry.link) name = name.substr(0, name.rfind(" ["));  // "link [target]"
  if (name.empty()) return Outcome::kNotUnderstood;
  entry.name = std::string(name);
  entry.time = date;
  return Outcome::kEntry;
}

// "   73098      A          12-15-95   15:11  readme.txt", "0  DIR  12-18-96  11:28  ARCHIVE"
Outcome ReadOs2(std::string_view line, const LineContext& context, Entry& entry) {
  const auto f = Fields(line, 6);
  if (f.size() < 4 || !Size(f[0].text)) return Outcome::kNotUnderstood;
  for (std::size_t at = 1; at <= 3 && at + 2 < f.size(); ++at) {
    auto date = DosDate(f[at].text, context.now.year);
    if (!date || f[at].text.find('-') == std::string_view::npos) continue;
    if (!ReadClock(f[at + 1].text, "", *date) || !ValidDate(*date)) return Outcome::kNotUnderstood;
    for (std::size_t attr = 1; attr < at; ++attr)
      if (EqualsNoCase(f[attr].text, "DIR")) entry.directory = true;
    if (!entry.directory) entry.size = Size(f[0].text);
    entry.time = date;
    entry.name = std::string(RestAfter(line, f[at + 1]));
    return entry.name.empty() ? Outcome::kNotUnderstood : Outcome::kEntry;
  }
  return Outcome::kNotUnderstood;
}

// "Sun Nov 30 15:24:00 2008 <DIR> Storage Card", "Tue Sep 02 20:05:00 2008  4096 file.txt"
Outcome ReadWinCe(std::string_view line, Entry& entry) {
  const auto f = Fields(line, 7);
  if (f.size() < 7 || f[0].text.size() != 3 || MonthByName(f[1].text) == 0)
    return Outcome::kNotUnderstood;
  CivilTime time{0, MonthByName(f[1].text), SmallNumber(f[2].text).value_or(0), 0, 0, 0};
  const auto year = f[4].text.size() == 4 ? SmallNumber(f[4].text) : std::nullopt;
  if (!year || !ReadClock(f[3].text, "", time)) return Outcome::kNotUnderstood;
  time.year = *year;
  if (!ValidDate(time)) return Outcome::kNotUnderstood;
  if (EqualsNoCase(f[5].text, "<DIR>")) {
    entry.directory = true;
  } else if (!(entry.size = GroupedSize(f[5].text))) {
    return Outcome::kNotUnderstood;
  }
  entry.time = time;
  entry.name = std::string(RestAfter(line, f[5]));
  return Outcome::kEntry;
}

// "   28458    Oct-05-2007  10:37:40   vxworks.sym", "  512  Oct-05-2007  10:37:44  TEMP  <DIR>"
Outcome ReadVxWorks(std::string_view line, Entry& entry) {
  const auto f = Fields(line, 4);
  if (f.size() < 4 || !Size(f[0].text) || f[1].text.size() != 11 || f[1].text[3] != '-' ||
      f[1].text[6] != '-')
    return Outcome::kNotUnderstood;
  CivilTime time{SmallNumber(f[1].text.substr(7)).value_or(0),
                 MonthByName(f[1].text.substr(0, 3)),
                 SmallNumber(f[1].text.substr(4, 2)).value_or(0), 0, 0, 0};
  if (!ReadClock(f[2].text, "", time) || !ValidDate(time)) return Outcome::kNotUnderstood;
  std::string_view name = RestAfter(line, f[2]);
  if (name.ends_with("<DIR>")) {
    entry.directory = true;
    name.remove_suffix(5);
    name = name.substr(0, name.find_last_not_of(" \t") + 1);
  } else {
    entry.size = Size(f[0].text);
  }
  if (name.empty()) return Outcome::kNotUnderstood;
  entry.time = time;
  entry.name = std::string(name);
  return Outcome::kEntry;
}

}  // namespace quorvi::detail::listing
