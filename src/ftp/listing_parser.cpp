#include "ftp/listing_parser.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <vector>

#include "component/error_object.h"
#include "ftp/ftp_text.h"
#include "local/path_rules.h"
#include "platform/clock_text.h"
#include "platform/utc_time.h"

namespace quorvi::detail {

namespace {

using namespace std::string_view_literals;

constexpr std::array<std::string_view, 12> kMonths = {"jan"sv, "feb"sv, "mar"sv, "apr"sv,
                                                      "may"sv, "jun"sv, "jul"sv, "aug"sv,
                                                      "sep"sv, "oct"sv, "nov"sv, "dec"sv};
constexpr std::size_t kShortestLine = 10;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view TrimView(std::string_view text, std::string_view blanks = " ") {
  const auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// A whole number or decimal written with digits only (no sign, no exponent).
std::optional<double> ParseNumber(std::string_view text) {
  text = TrimView(text);
  if (text.empty() || !IsDigit(text.front())) return std::nullopt;
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value,
                                            std::chars_format::fixed);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<int> ParseInt(std::string_view text) {
  text = TrimView(text);
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

int DaysInMonth(int year, int month) {
  static constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

// The general date text of a local date-time; nothing when the fields are not a date.
std::optional<std::string> DateText(int year, int month, int day, int hour, int minute) {
  if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > DaysInMonth(year, month) || hour < 0 || hour > 23 || minute < 0 || minute > 59)
    return std::nullopt;
  std::array<char, 32> buf{};
  const int n = std::snprintf(buf.data(), buf.size(), "%04d-%02d-%02d %02d:%02d:00", year, month,
                              day, hour, minute);
  return std::string(buf.data(), static_cast<std::size_t>(n));
}

// "HH:MM", optionally followed by AM or PM (any case).
std::optional<std::pair<int, int>> ParseClock(std::string_view text) {
  text = TrimView(text);
  const auto colon = text.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  std::string_view minutes = text.substr(colon + 1);
  int add = 0;
  bool twelve_hour = false;
  if (minutes.size() >= 2) {
    const std::string suffix = ftp_text::Lower(std::string(minutes.substr(minutes.size() - 2)));
    if (suffix == "am" || suffix == "pm") {
      twelve_hour = true;
      add = suffix == "pm" ? 12 : 0;
      minutes = TrimView(minutes.substr(0, minutes.size() - 2));
    }
  }
  auto hour = ParseInt(text.substr(0, colon));
  const auto minute = ParseInt(minutes);
  if (!hour || !minute) return std::nullopt;
  if (twelve_hour) {
    if (*hour < 1 || *hour > 12) return std::nullopt;
    hour = *hour % 12 + add;
  }
  return std::make_pair(*hour, *minute);
}

std::string CollapseBlanks(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text)
    if (c != ' ' || out.empty() || out.back() != ' ') out += c;
  return out;
}

std::vector<std::string_view> SplitBlanks(std::string_view text) {
  std::vector<std::string_view> fields;
  std::size_t start = 0;
  while (true) {
    const auto blank = text.find(' ', start);
    fields.push_back(text.substr(start, blank == std::string_view::npos ? blank : blank - start));
    if (blank == std::string_view::npos) return fields;
    start = blank + 1;
  }
}

// ---- The three line formats; false means the line could not be parsed ----

// A blank-separated field of a line and where it starts.
struct Field {
  std::string_view text;
  std::size_t at;
};

std::vector<Field> LeadingFields(std::string_view line, std::size_t most) {
  std::vector<Field> fields;
  std::size_t pos = 0;
  while (fields.size() < most) {
    pos = line.find_first_not_of(' ', pos);
    if (pos == std::string_view::npos) break;
    const auto blank = std::min(line.find(' ', pos), line.size());
    fields.push_back({line.substr(pos, blank - pos), pos});
    pos = blank;
  }
  return fields;
}

int MonthNumber(std::string_view text) {
  if (text.size() != 3) return 0;
  const std::string lower = ftp_text::Lower(std::string(text));
  for (std::size_t i = 0; i < kMonths.size(); ++i)
    if (kMonths[i] == lower) return static_cast<int>(i) + 1;
  return 0;
}

bool IsDayField(std::string_view text) {
  const auto day = ParseInt(text);
  return text.size() <= 2 && day && *day >= 1 && *day <= 31;
}

bool IsClockOrYear(std::string_view text) {
  if (text.find(':') != std::string_view::npos) return ParseClock(text).has_value();
  return text.size() == 4 && ParseInt(text).has_value();
}

// The index of the month field: the first field after permissions, links and owner that is
// a month name followed by a day and a time or year, with a number (the size) before it.
// The name may contain anything, dates included, so only the fixed columns are searched.
std::optional<std::size_t> UnixMonthField(const std::vector<Field>& fields) {
  constexpr std::size_t kFirst = 3, kLast = 6;  // no group .. group plus "major, minor"
  for (std::size_t i = kFirst; i <= kLast && i + 2 < fields.size(); ++i) {
    if (MonthNumber(fields[i].text) != 0 && ParseNumber(fields[i - 1].text) &&
        IsDayField(fields[i + 1].text) && IsClockOrYear(fields[i + 2].text))
      return i;
  }
  return std::nullopt;
}

bool LooksLikeUnixLine(std::string_view line) {
  return !line.empty() && std::string_view("-dlcbps").find(line.front()) != std::string_view::npos &&
         UnixMonthField(LeadingFields(line, 9)).has_value();
}

bool ParseUnixLine(std::string_view line, CFtpFile& file, int year) {
  const auto fields = LeadingFields(line, 9);
  const auto month = UnixMonthField(fields);
  if (!month) return false;
  file.IsDirectory(line.front() == 'd');
  file.IsLink(line.front() == 'l');
  const Field& last = fields[*month + 2];
  const std::string column = std::string(fields[*month].text) + " " +
                             std::string(fields[*month + 1].text) + " " + std::string(last.text);
  const auto date = GetListDate(column, year);
  if (!date) return false;
  file.LastWriteTime(*date);

  // Exactly one blank separates the date from the name; further blanks belong to the name.
  const std::size_t name_start = std::min(last.at + last.text.size() + 1, line.size());
  std::string_view name = line.substr(name_start);
  if (line.front() == 'l') {
    const auto arrow = name.find(" -> ");
    if (arrow != std::string_view::npos) name = name.substr(0, arrow);
  }
  file.FileName(std::string(name));

  const auto size = ParseNumber(fields[*month - 1].text);
  if (!size) return false;
  file.FileSize(*size);
  file.Permissions(std::string(fields[0].text));
  file.Owner(std::string(fields[2].text));
  // With a group the size is the fifth field; a device's "major," shifts it by one.
  const bool device_pair = *month >= 2 && fields[*month - 2].text.ends_with(',');
  const std::size_t size_index = *month - 1 - (device_pair ? 1 : 0);
  if (size_index == 4) file.Group(std::string(fields[3].text));
  return true;
}

// The value of `fact` ("size=") among "name=value;" facts: from the fact to the next ";",
// trimmed; nothing when the fact is missing. Facts are matched whole, so "size=" is not found
// inside "unix.size=".
std::optional<std::string_view> FactValue(std::string_view facts, std::string_view lower,
                                          std::string_view fact) {
  for (std::size_t at = lower.find(fact); at != std::string_view::npos;
       at = lower.find(fact, at + 1)) {
    if (at != 0 && lower[at - 1] != ';') continue;
    const auto start = at + fact.size();
    const auto semicolon = facts.find(';', start);
    if (semicolon == std::string_view::npos) return std::nullopt;
    return TrimView(facts.substr(start, semicolon - start));
  }
  return std::nullopt;
}

// The facts end at the first blank; everything after that one blank is the name, which may
// itself contain ";" or start with blanks.
std::optional<std::pair<std::string_view, std::string_view>> SplitMlsdLine(std::string_view line) {
  const auto blank = line.find(' ');
  if (blank == std::string_view::npos || blank == 0) return std::nullopt;
  return std::make_pair(line.substr(0, blank), line.substr(blank + 1));
}

// skip is set for the listed folder and its parent (type=cdir, type=pdir), which give no entry.
bool ParseMlsdLine(std::string_view line, CFtpFile& file, bool& skip) {
  // An MLST reply indents its fact line by one blank; facts themselves never start with one.
  const auto first = line.find_first_not_of(' ');
  const auto parts = SplitMlsdLine(first == std::string_view::npos ? line : line.substr(first));
  if (!parts) return false;
  const std::string facts = std::string(parts->first) + ";";
  const std::string lower = ftp_text::Lower(facts);
  const auto type = FactValue(facts, lower, "type=");
  if (!type) return false;
  const std::string kind = ftp_text::Lower(std::string(*type));
  if (kind == "cdir" || kind == "pdir") {
    skip = true;
    return true;
  }
  if (kind == "file") {
    if (const auto size_text = FactValue(facts, lower, "size=")) {
      const auto size = ParseNumber(*size_text);
      if (!size) return false;
      file.FileSize(*size);
    }
  } else if (ftp_text::Contains(kind, "link")) {
    // OS.unix=symlink, OS.unix=slink:target: a link is an entry, never a folder to enter.
    file.IsLink(true);
  } else {
    file.IsDirectory(kind == "dir");
  }
  file.FileName(std::string(parts->second));
  if (const auto modify = FactValue(facts, lower, "modify=")) {
    if (const auto date = GetMLSDFileTime(*modify)) {
      file.LastWriteTime(*date);
    } else {
      WriteLog("GetMLSDFileTime.Error:" + std::string(*modify) + " not a time");
    }
  }
  return true;
}

// A DOS/IIS line; false when its date cannot be read (the entry is dropped).
bool ParseDosLine(std::string_view line, CFtpFile& file, int year) {
  const std::string collapsed = CollapseBlanks(TrimView(line));
  const auto fields = SplitBlanks(collapsed);
  const std::string lower = ftp_text::Lower(std::string(line));
  const auto dir = lower.find("<dir>");
  if (dir != std::string::npos) {
    file.IsDirectory(true);
    const auto start = std::min(dir + 6, line.size());
    file.FileName(std::string(TrimView(line.substr(start))));
  } else if (fields.size() > 2) {
    // A size that is not a number leaves 0; the name keeps its own inner blanks.
    file.FileSize(ParseNumber(fields[2]).value_or(0));
    const std::string marker = " " + std::string(fields[2]) + " ";
    const auto at = line.find(marker);
    if (at != std::string_view::npos)
      file.FileName(std::string(TrimView(line.substr(at + marker.size()))));
  }
  if (fields.size() < 2) return false;
  const auto date = GetDosDate(fields[0], fields[1], year);
  if (!date) return false;
  file.LastWriteTime(*date);
  return true;
}

// A listed name is one path component. Some servers answer "LIST /pub/a.txt" with the path
// ("/pub/a.txt", "pub/a.txt", or their own full path): when what precedes the last "/" names
// the listed folder, the part after it is the name. Any other "/" ("../x", "a/b") stays in the
// name, so the entry is unusable rather than standing for another file of the folder.
std::string ListedName(const std::string& name, std::string_view listed_parent) {
  const auto slash = name.find_last_of('/');
  if (slash == std::string::npos) return name;
  std::string_view prefix = std::string_view(name).substr(0, slash);
  std::string_view parent = listed_parent;
  while (!parent.empty() && parent.back() == '/') parent.remove_suffix(1);
  while (!prefix.empty() && prefix.front() == '/') prefix.remove_prefix(1);
  while (!parent.empty() && parent.front() == '/') parent.remove_prefix(1);
  const bool dot_dot = ("/" + std::string(prefix) + "/").find("/../") != std::string::npos;
  const bool names_parent =
      prefix == parent || prefix == "." ||
      (!parent.empty() && prefix.size() > parent.size() && prefix.ends_with(parent) &&
       prefix[prefix.size() - parent.size() - 1] == '/');
  return names_parent && !dot_dot ? name.substr(slash + 1) : name;
}

void LogParseFailure(std::string_view text) {
  WriteLog("GetFileListX.Error:line not parsed-------------------\n" + std::string(text) +
           "\n-------------------");
}

}  // namespace

int CurrentYear() {
  return ParseInt(std::string_view(platform::NowGeneralDate()).substr(0, 4)).value_or(2000);
}

std::optional<std::string> GetListDate(std::string_view column, int current_year) {
  std::string text(column);
  for (auto at = text.find("  "); at != std::string::npos; at = text.find("  ", at + 1))
    text.replace(at, 2, " ");
  if (text.size() < 5) return std::nullopt;
  int month = 0;
  const std::string name = ftp_text::Lower(text.substr(0, 3));
  for (std::size_t i = 0; i < kMonths.size(); ++i)
    if (kMonths[i] == name) month = static_cast<int>(i) + 1;
  const auto day = ParseInt(TrimView(std::string_view(text).substr(4, 2)));
  const std::string_view last = TrimView(std::string_view(text).substr(text.size() - 5));
  if (month == 0 || !day) return std::nullopt;
  if (ftp_text::Contains(last, ":")) {
    const auto clock = ParseClock(last);
    if (!clock) return std::nullopt;
    return DateText(current_year, month, *day, clock->first, clock->second);
  }
  const auto year = ParseInt(last);
  if (!year) return std::nullopt;
  return DateText(*year, month, *day, 0, 0);
}

std::optional<std::string> GetDosDate(std::string_view date, std::string_view time,
                                      int current_year) {
  if (date.size() < 7) return std::nullopt;
  const auto month = ParseInt(date.substr(0, 2));
  const auto day = ParseInt(date.substr(3, 2));
  const std::string_view year_text = date.substr(6);
  auto year = ParseInt(year_text);
  const auto clock = ParseClock(time);
  if (!month || !day || !year || !clock || date[2] != '-' || date[5] != '-')
    return std::nullopt;
  if (year_text.size() == 2) {
    const int century = current_year / 100;
    *year += (*year <= century + 10 ? century : century - 1) * 100;
  }
  return DateText(*year, *month, *day, clock->first, clock->second);
}

std::optional<std::string> GetMLSDFileTime(std::string_view value) {
  value = TrimView(value);
  value = value.substr(0, value.find('.'));
  value = value.substr(0, 14);
  if (value.size() != 14) return std::nullopt;
  for (char c : value)
    if (!IsDigit(c)) return std::nullopt;
  const auto field = [&](std::size_t at, std::size_t n) { return *ParseInt(value.substr(at, n)); };
  return platform::UtcToLocalText(
      {field(0, 4), field(4, 2), field(6, 2), field(8, 2), field(10, 2), field(12, 2)});
}

std::optional<CFtpFiles> GetFileListX(std::string_view text, const ListingContext& context) {
  if (TrimView(text, " \t\r\n").empty()) return std::nullopt;
  if (ftp_text::Lower(std::string(text.substr(0, 5))) == "total") {
    const auto feed = text.find('\n');
    text = feed == std::string_view::npos ? std::string_view() : text.substr(feed + 1);
  }

  CFtpFiles files;
  bool dos_seen = false;  // from the first DOS/IIS line on, a bad line is only left out
  std::size_t start = 0;
  while (start < text.size()) {
    const auto feed = text.find('\n', start);
    const std::string_view raw =
        text.substr(start, feed == std::string_view::npos ? feed : feed - start);
    start = feed == std::string_view::npos ? text.size() : feed + 1;

    if (raw.empty()) continue;
    if (ftp_text::StartsWith(raw, "250") || raw.size() < kShortestLine) {
      WriteLog("GetFileListX:EXIT[" + std::string(raw) + "]");
      continue;
    }
    std::string line(raw);
    std::erase(line, '\r');
    const std::string lower = ftp_text::Lower(line);

    CFtpFile file;
    bool parsed = true, skip = false;
    if (LooksLikeUnixLine(line)) {
      parsed = ParseUnixLine(line, file, context.current_year);
    } else if (ftp_text::Contains(lower, "type=") && ftp_text::Contains(lower, "modify=")) {
      parsed = ParseMlsdLine(line, file, skip);
    } else {
      dos_seen = true;
      if (!ParseDosLine(line, file, context.current_year)) {
        WriteLog("GetFileListX:Err(date)-------------------\n" + line + "\n-------------------");
        continue;
      }
    }
    if (parsed && skip) continue;
    if (parsed) {
      std::string name = ListedName(file.FileName(), context.listed_parent);
      if (name.empty() || name == "." || name == "..") continue;
      file.FileName(name);
      file.FilePath(FormatFTPPath(context.listed_parent + "/" + name));
      parsed = files.Add(std::move(file), name) != nullptr;
    }
    if (!parsed && !dos_seen) {
      LogParseFailure(text);
      return std::nullopt;
    }
  }
  return files;
}

bool UsableEntryName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

}  // namespace quorvi::detail
