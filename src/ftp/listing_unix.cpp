// UNIX long listings (ls -l and the many servers imitating it) and Netware. The date is the
// anchor: the first place after the permissions where the fields form a date in one of the
// layouts below, with a size right before it. The name is found from these columns only, never
// by searching the line, so a name may itself hold a date ("Meeting 5 Jan 10:30.txt").
#include <span>

#include "ftp/listing_line.h"

namespace quorvi::detail::listing {

namespace {

struct DateMatch {
  CivilTime time;
  bool has_year = false;
  std::size_t last = 0;  // index of the date's last field
  bool padded = false;   // a date without its time column: blanks pad it before the name
};

// Where a date was found and what stands before it.
struct Anchor {
  DateMatch date;
  std::size_t first = 0;  // index of the date's first field
};

using FieldList = std::vector<Field>;

// The permission letters in their places: read, write, execute (or a set-id, sticky or lock
// letter) for owner, group and others. "dxrwr-xr-x" is no permission column.
bool PermissionBits(std::string_view bits) {
  static constexpr std::string_view kAllowed[3] = {"r-", "w-", "xsStTlL-"};
  for (std::size_t i = 0; i < bits.size(); ++i)
    if (kAllowed[i % 3].find(bits[i]) == std::string_view::npos) return false;
  return true;
}

// "-rw-r--r--", "drwxr-xr-x+" (ACL), "drwxrwx" (Hylafax), "ar-xr-xr-x" (Plan 9 append-only),
// "-C--E-----FTP" (Connect:Enterprise: flags and a protocol).
bool IsPermissions(std::string_view text) {
  if (text.size() < 7 || text.size() > 13 ||
      std::string_view("-dlcbpsDfna").find(text[0]) == std::string_view::npos)
    return false;
  const std::string_view bits = text.substr(1, std::min<std::size_t>(9, text.size() - 1));
  if (PermissionBits(bits)) {
    const std::string_view rest = text.substr(1 + bits.size());
    return rest.empty() || (rest.size() == 1 && std::string_view("+.@*").find(rest[0]) !=
                                                    std::string_view::npos);
  }
  return text.size() >= 10 && bits.find('-') != std::string_view::npos &&
         text.substr(1).find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ-") == std::string_view::npos;
}

// "drwxr-xr-x1732", "drwxr-x---+1464": a link count too wide for its column runs into the
// permissions.
void SplitGluedLinks(FieldList& f) {
  if (f.empty() || f[0].text.size() <= 10) return;
  const std::size_t width = std::string_view("+.@").find(f[0].text[10]) != std::string_view::npos
                                ? 11 : 10;
  if (f[0].text.size() <= width || !AllDigits(f[0].text.substr(width)) ||
      !IsPermissions(f[0].text.substr(0, width)))
    return;
  const Field links{f[0].text.substr(width), f[0].at + width};
  f[0].text = f[0].text.substr(0, width);
  f.insert(f.begin() + 1, links);
}

// The number a field starts with and the mark some languages put after it ("08,", "12.",
// "12日", "2003年"); nothing for any other text or a number of another width.
std::optional<int> MarkedNumber(std::string_view text, std::size_t min_digits,
                                std::size_t max_digits) {
  const auto end = std::min(text.find_first_not_of("0123456789"), text.size());
  if (end < min_digits || end > max_digits) return std::nullopt;
  const std::string_view mark = text.substr(end);
  if (!mark.empty() && mark != "." && mark != "," && !IsNumberSign(mark)) return std::nullopt;
  return SmallNumber(text.substr(0, end));
}

int Day(std::string_view text) {
  const auto day = MarkedNumber(text, 1, 2);
  return day && *day >= 1 && *day <= 31 ? *day : 0;
}

int Year(std::string_view text) {
  const auto year = MarkedNumber(text, 4, 4);
  return year && *year >= 1900 && *year < 2200 ? *year : 0;
}

// A time or a year in the last column of a date; has_year tells which it was.
bool TimeOrYear(std::string_view text, DateMatch& match) {
  if (const int year = Year(text)) {
    match.time.year = year;
    match.has_year = true;
    return true;
  }
  return ReadClock(text, "", match.time);
}

bool At(const FieldList& f, std::size_t i) { return i < f.size(); }

// "Mon DD HH:MM|YYYY", "Oct 08, 2002 09:47", "3月 12日 10:30"
std::optional<DateMatch> MonthFirst(const FieldList& f, std::size_t i) {
  if (!At(f, i + 2)) return std::nullopt;
  DateMatch m;
  m.time.month = MonthByName(f[i].text);
  m.time.day = Day(f[i + 1].text);
  if (m.time.month == 0 || m.time.day == 0 || !TimeOrYear(f[i + 2].text, m)) return std::nullopt;
  m.last = i + 2;
  if (m.has_year && f[i + 1].text.ends_with(',') && At(f, i + 4) &&
      ReadClock(f[i + 3].text, "", m.time))
    m.last = i + 3;
  return m;
}

// "01 oct 2004", "12. Mär 10:30". In "29 Jul 02:27 2014 Invoices" the name is "2014 Invoices":
// ls never writes both a time and a year.
std::optional<DateMatch> DayFirst(const FieldList& f, std::size_t i) {
  if (!At(f, i + 2)) return std::nullopt;
  DateMatch m;
  m.time.day = Day(f[i].text);
  m.time.month = MonthByName(f[i + 1].text);
  if (m.time.month == 0 || m.time.day == 0 || !TimeOrYear(f[i + 2].text, m)) return std::nullopt;
  m.last = i + 2;
  return m;
}

// A date with its year ends at field `last`; a clock right after it (with a name still to
// follow) belongs to it. True when there was one.
bool DateWithClock(const FieldList& f, std::size_t last, DateMatch& m) {
  m.has_year = true;
  m.last = last;
  m.padded = true;
  if (!At(f, last + 2) || !ReadClock(f[last + 1].text, "", m.time)) return false;
  m.last = last + 1;
  m.padded = false;
  return true;
}

// "2005-04-08 11:22", "2004.07.15", "2005-04-08 11:22:33.000000000 +0200" (the zone is read)
std::optional<DateMatch> IsoDate(const FieldList& f, std::size_t i) {
  const std::string_view t = f[i].text;
  if (t.size() != 10 || (t[4] != '-' && t[4] != '.' && t[4] != '/') || t[7] != t[4] ||
      !At(f, i + 1))
    return std::nullopt;
  DateMatch m;
  m.time.year = Year(t.substr(0, 4));
  m.time.month = SmallNumber(t.substr(5, 2)).value_or(0);
  m.time.day = SmallNumber(t.substr(8, 2)).value_or(0);
  if (m.time.year == 0 || m.time.month == 0 || m.time.day == 0) return std::nullopt;
  if (DateWithClock(f, i, m)) {
    // "ls --full-time" adds the zone ("+0200"): the time stays as written, like every other.
    const std::string_view zone = At(f, i + 3) ? f[i + 2].text : std::string_view();
    if (zone.size() == 5 && (zone[0] == '+' || zone[0] == '-') && AllDigits(zone.substr(1)))
      m.last = i + 2;
  }
  return m;
}

// "09-26 13:45", "09-26 2000" (month, day); "24-04-2003 17:12" (day first when it cannot be a
// month); "01-jun-99".
std::optional<DateMatch> DashDate(const FieldList& f, std::size_t i) {
  const std::string_view t = f[i].text;
  const auto dash = t.find('-');
  if (!At(f, i + 1) || dash == std::string_view::npos) return std::nullopt;
  const auto second = t.find('-', dash + 1);
  const int a = dash <= 2 ? SmallNumber(t.substr(0, dash)).value_or(0) : 0;
  DateMatch m;
  if (second == std::string_view::npos) {  // "MM-DD" and a time or year
    const int day = t.size() - dash - 1 <= 2 ? SmallNumber(t.substr(dash + 1)).value_or(0) : 0;
    if (a == 0 || day == 0 || !At(f, i + 2) || !TimeOrYear(f[i + 1].text, m)) return std::nullopt;
    m.time.month = a;
    m.time.day = day;
    m.last = i + 1;
    return m;
  }
  const std::string_view middle = t.substr(dash + 1, second - dash - 1);
  const std::string_view year_text = t.substr(second + 1);
  const int b = middle.size() <= 2 ? SmallNumber(middle).value_or(0) : 0;
  const int year = SmallNumber(year_text).value_or(-1);
  if (a == 0 || year < 0 || (year_text.size() != 4 && year_text.size() != 2)) return std::nullopt;
  m.time.year = year_text.size() == 4 ? year : FullYear(year, 2000);
  m.time.month = b != 0 ? (a > 12 ? b : a) : MonthByName(middle);
  m.time.day = b != 0 ? (a > 12 ? a : b) : a;
  if (m.time.month == 0) return std::nullopt;
  DateWithClock(f, i, m);
  return m;
}

// "2003. márc. 10. 14:22" (Hungarian), "2010年 3月 12日"
std::optional<DateMatch> YearFirst(const FieldList& f, std::size_t i) {
  if (!At(f, i + 3)) return std::nullopt;
  DateMatch m;
  m.time.year = Year(f[i].text);
  m.time.month = MonthByName(f[i + 1].text);
  m.time.day = Day(f[i + 2].text);
  // A bare year only before a numbered month ("2003 3月 20"): "2003 Mar 20" is a size and a date.
  const bool marked = f[i].text.size() > 4 || AllDigits(f[i + 1].text.substr(0, 1));
  if (m.time.year == 0 || m.time.month == 0 || m.time.day == 0 || !marked) return std::nullopt;
  DateWithClock(f, i + 2, m);
  return m;
}

// "3 29 03:26": month and day as numbers (tried only where no named layout fits).
std::optional<DateMatch> NumericDate(const FieldList& f, std::size_t i) {
  if (!At(f, i + 3)) return std::nullopt;
  DateMatch m;
  const int month = f[i].text.size() <= 2 ? SmallNumber(f[i].text).value_or(0) : 0;
  m.time.day = Day(f[i + 1].text);
  if (month < 1 || month > 12 || m.time.day == 0 || !TimeOrYear(f[i + 2].text, m))
    return std::nullopt;
  m.time.month = month;
  m.last = i + 2;
  return m;
}

// What stands before the date: the size, and the index of the first field after the owner
// and group columns (the size's own index, or the device's "major," field).
struct SizeColumn {
  std::uint64_t size = 0;
  std::size_t first = 0;
  std::string group_tail;  // a group written together with the size ("other1234567")
  bool unknown = false;    // a size column that says nothing
};

std::optional<SizeColumn> SizeBefore(const FieldList& f, std::size_t date, char type) {
  if (date < 2) return std::nullopt;
  const std::string_view t = f[date - 1].text;
  SizeColumn column;
  column.first = date - 1;
  const bool device = type == 'c' || type == 'b';
  if (device && t.find(',') != std::string_view::npos && t.back() != ',') {
    const auto minor = Size(t.substr(t.find(',') + 1));  // "109,767"
    if (!minor || !Size(t.substr(0, t.find(',')))) return std::nullopt;
    column.size = *minor;
    return column;
  }
  if (device && date >= 3 && f[date - 2].text.ends_with(',') && Size(t)) {
    column.size = *Size(t);  // "1, 3": the minor number stands where the size would
    column.first = date - 2;
    return column;
  }
  if (const auto size = ScaledSize(t)) {
    column.size = *size;
    return column;
  }
  if (t.size() > 1 && t[0] == '-' && AllDigits(t.substr(1))) {
    column.unknown = true;  // "-528": a size no file has
    return column;
  }
  // Group and size run together when the group fills its column: the digits at its end.
  const auto digits = t.find_last_not_of("0123456789");
  const bool links = AllDigits(f[1].text);  // with a link count, owner and group come first
  if (date < (links ? 4u : 3u) || digits == std::string_view::npos || digits + 1 == t.size() ||
      t.find_first_of(":/-,.") != std::string_view::npos)
    return std::nullopt;
  column.size = Size(t.substr(digits + 1)).value_or(0);
  column.group_tail = std::string(t.substr(0, digits + 1));
  return column;
}

void TakeOwner(std::string_view line, const FieldList& f, const SizeColumn& column,
               Entry& entry) {
  const std::size_t start = At(f, 1) && AllDigits(f[1].text) ? 2 : 1;  // after the link count
  const std::size_t end = column.first;
  if (!column.group_tail.empty()) {
    if (start < end) entry.owner = line.substr(f[start].at, f[end - 1].end() - f[start].at);
    entry.group = column.group_tail;
    return;
  }
  if (start >= end) return;
  entry.owner = std::string(f[start].text);
  if (start + 1 < end)
    entry.group = line.substr(f[start + 1].at, f[end - 1].end() - f[start + 1].at);
}

// The first place that holds a date with a size before it. Dates with a month name or a
// four-digit year are looked for first; month and day as bare numbers only where none fits.
std::optional<std::pair<Anchor, SizeColumn>> FindDate(const FieldList& f, char type) {
  using Layout = std::optional<DateMatch> (*)(const FieldList&, std::size_t);
  static constexpr Layout kNamed[] = {MonthFirst, DayFirst, IsoDate, YearFirst, DashDate};
  static constexpr Layout kNumeric[] = {NumericDate};
  for (const auto& layouts : {std::span<const Layout>(kNamed), std::span<const Layout>(kNumeric)})
    for (std::size_t i = 2; i < f.size(); ++i)
      for (const Layout layout : layouts) {
        const auto m = layout(f, i);
        if (!m) continue;
        if (auto column = SizeBefore(f, i, type)) return std::make_pair(Anchor{*m, i}, *column);
      }
  return std::nullopt;
}

Outcome Finish(std::string_view line, const Field& last, const DateMatch* date,
               const LineContext& context, Entry& entry) {
  // Exactly one blank separates the date from the name; further blanks belong to the name.
  // Only where the time column is missing do blanks pad the date.
  std::string_view name = date && date->padded ? RestAfter(line, last)
                                               : line.substr(std::min(last.end() + 1, line.size()));
  if (entry.link) {
    const auto arrow = name.find(" -> ");
    if (arrow != std::string_view::npos) {
      entry.target = std::string(name.substr(arrow + 4));
      name = name.substr(0, arrow);
    }
  }
  if (name.find_first_not_of(" \t") == std::string_view::npos) return Outcome::kNotUnderstood;
  entry.name = std::string(name);
  if (date) {
    CivilTime time = date->time;
    if (!date->has_year) PlaceYearless(time, context.now);
    if (time.day <= 31) RollMidnight(time);
    if (!ValidDate(time)) return Outcome::kNotUnderstood;
    entry.time = time;
  }
  return Outcome::kEntry;
}

// A line with no date at all: permissions, links, owner, [group,] size, name.
Outcome ReadUndated(std::string_view line, const FieldList& f, const LineContext& context,
                    Entry& entry) {
  if (!At(f, 4) || !AllDigits(f[1].text)) return Outcome::kNotUnderstood;
  for (std::size_t size_at : {std::size_t{4}, std::size_t{3}}) {
    if (!At(f, size_at + 1) || !Size(f[size_at].text)) continue;
    // "12 Foo 15  2009 x.txt", "5 Feb 30 10:00 x": a date column that is not a date is a
    // damaged line, not a name.
    DateMatch ignored;
    if (MonthByName(f[size_at + 1].text) != 0 ||
        (At(f, size_at + 3) && Day(f[size_at + 2].text) != 0 &&
         TimeOrYear(f[size_at + 3].text, ignored)))
      return Outcome::kNotUnderstood;
    entry.size = Size(f[size_at].text);
    entry.owner = std::string(f[2].text);
    if (size_at == 4) entry.group = std::string(f[3].text);
    return Finish(line, f[size_at], nullptr, context, entry);
  }
  return Outcome::kNotUnderstood;
}

}  // namespace

Outcome ReadUnix(std::string_view line, const LineContext& context, Entry& entry) {
  FieldList f = Fields(line);
  // "ls -s" and "ls -i" put a number before the permissions.
  if (f.size() > 1 && AllDigits(f[0].text) && IsPermissions(f[1].text)) f.erase(f.begin());
  SplitGluedLinks(f);
  if (f.size() < 3 || !IsPermissions(f[0].text)) return Outcome::kNotUnderstood;
  const char type = f[0].text[0];
  entry.directory = type == 'd';
  entry.link = type == 'l';
  entry.permissions = std::string(f[0].text);
  const auto found = FindDate(f, type);
  if (!found) return ReadUndated(line, f, context, entry);
  const auto& [anchor, column] = *found;
  if (!column.unknown) entry.size = column.size;
  TakeOwner(line, f, column, entry);
  return Finish(line, f[anchor.date.last], &anchor.date, context, entry);
}

Outcome ReadNetware(std::string_view line, const LineContext& context, Entry& entry) {
  const FieldList f = Fields(line, 8);
  if (f.size() < 7 || f[0].text.size() != 1 || (f[0].text != "d" && f[0].text != "-") ||
      !f[1].text.starts_with('[') || !f[1].text.ends_with(']'))
    return Outcome::kNotUnderstood;
  const auto size = Size(f[3].text);
  const auto date = MonthFirst(f, 4);
  if (!size || !date || date->last != 6) return Outcome::kNotUnderstood;
  entry.directory = f[0].text == "d";
  entry.size = size;
  entry.owner = std::string(f[2].text);
  entry.permissions = std::string(f[1].text);
  // Netware pads the name column: the name starts at its first non-blank.
  const std::string_view name = RestAfter(line, f[6]);
  if (name.empty()) return Outcome::kNotUnderstood;
  entry.name = std::string(name);
  CivilTime time = date->time;
  if (!date->has_year) PlaceYearless(time, context.now);
  if (!ValidDate(time)) return Outcome::kNotUnderstood;
  entry.time = time;
  return Outcome::kEntry;
}

}  // namespace quorvi::detail::listing
