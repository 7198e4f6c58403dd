// Listings of mainframe and minicomputer systems: VMS, MVS (z/OS) datasets and partitioned
// dataset members, OS/400, HP NonStop (Tandem), OS-9 and z/VM, with their header and summary
// lines. Names are what later commands need: a VMS "FILE.TXT;3" is "FILE.TXT" (the server
// takes the newest version), a VMS "SUB.DIR;1" is the folder "SUB".
#include "ftp/listing_line.h"

namespace quorvi::detail::listing {

namespace {

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    char c = text[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    if (c != prefix[i]) return false;
  }
  return true;
}

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// "DD-MON-YYYY" (VMS) or "DD-Mon-YY" (NonStop).
std::optional<CivilTime> DayMonthYear(std::string_view text, int current_year) {
  const auto first = text.find('-');
  const auto second = text.rfind('-');
  if (first == std::string_view::npos || second == first) return std::nullopt;
  const auto day = SmallNumber(text.substr(0, first));
  const int month = MonthByName(text.substr(first + 1, second - first - 1));
  const std::string_view year_text = text.substr(second + 1);
  auto year = SmallNumber(year_text);
  if (!day || month == 0 || !year || (year_text.size() != 4 && year_text.size() != 2))
    return std::nullopt;
  if (year_text.size() == 2) *year = FullYear(*year, current_year);
  return CivilTime{*year, month, *day, 0, 0, 0};
}

// A VMS name with its version: "NAME.EXT;12".
bool IsVmsName(std::string_view text) {
  const auto semicolon = text.rfind(';');
  return semicolon != std::string_view::npos && semicolon > 0 &&
         AllDigits(text.substr(semicolon + 1)) &&
         text.find_first_of("/\\") == std::string_view::npos;
}

// "2/4" (used/allocated blocks) or "2": bytes as 512-byte blocks.
std::optional<std::uint64_t> VmsBlocks(std::string_view text) {
  const auto used = Size(text.substr(0, text.find('/')));
  if (!used || *used > (UINT64_MAX >> 9)) return std::nullopt;
  return *used * 512;
}

// An MVS member or dataset name: letters, digits, national characters and dots.
bool IsMvsName(std::string_view text) {
  if (text.empty() || text.size() > 46) return false;
  return text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                "0123456789@#$.-_'") == std::string_view::npos;
}

// "2002/10/11" (year first) as a date.
std::optional<CivilTime> SlashDate(std::string_view text) {
  const auto date = DosDate(text, 2000);
  if (!date || text.size() != 10 || text[4] != '/') return std::nullopt;
  return date;
}

}  // namespace

bool IsPdsHeader(std::string_view line) {
  const auto f = Fields(line, 3);
  return f.size() == 3 && f[0].text == "Name" && (f[1].text == "VV.MM" || f[1].text == "Size");
}

bool IsVmsNameOnly(std::string_view line) {
  const auto f = Fields(line, 2);
  return f.size() == 1 && f[0].at == 0 && IsVmsName(f[0].text);
}

bool IsKnownHeader(std::string_view line) {
  const auto f = Fields(line, 3);
  if (f.empty()) return true;
  if (line.find_first_not_of("- \t") == std::string_view::npos) return true;  // a rule
  if (f.size() >= 2 && (f[0].text == "total" || f[0].text == "Total") && AllDigits(f[1].text))
    return f.size() == 2;
  static constexpr std::string_view kHeads[] = {
      "directory ",      "total of ",        "grand total of ", "volume unit",
      "name     vv.mm",  "name      size",   "file         code", "size          date",
      "  size ",         "owner    last modified", "(no stats)"};
  const std::string_view trimmed = line.substr(line.find_first_not_of(" \t"));
  for (const auto head : kHeads)
    if (StartsWithNoCase(trimmed, head) || StartsWithNoCase(line, head)) return true;
  return Contains(line, "Last modified  Attributes") || Contains(line, "%RMS-E-") ||
         Contains(line, "Last Modification");
}

// The columns after a VMS name, in whatever order the server puts them.
bool TakeVmsColumn(const Field& field, Entry& entry, std::optional<CivilTime>& date) {
  const std::string_view t = field.text;
  if (t.starts_with('[') && t.ends_with(']')) {
    entry.owner = std::string(t.substr(1, t.size() - 2));
  } else if (t.starts_with('(') && t.ends_with(')')) {
    entry.permissions = std::string(t.substr(1, t.size() - 2));
  } else if (auto day = DayMonthYear(t, 2000)) {
    date = day;
  } else if (date && t.find(':') != std::string_view::npos) {
    return ReadClock(t, "", *date);
  } else if (const auto blocks = VmsBlocks(t)) {
    entry.size = blocks;
  } else if (t.ends_with("B") && t.size() > 2 && ScaledSize(t.substr(0, t.size() - 1))) {
    entry.size = ScaledSize(t.substr(0, t.size() - 1));  // "2KB"
  } else if (entry.owner.empty() &&
             t.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_$,") ==
                 std::string_view::npos) {
    entry.owner = std::string(t);  // an owner without brackets
  } else {
    return false;
  }
  return true;
}

// "CII-MANUAL.TEX;1  213/216  29-JAN-1996 03:33:12  [ANONYMOU,ANONYMOUS]  (RWED,RWED,,)"
Outcome ReadVms(std::string_view line, Entry& entry) {
  const auto f = Fields(line, 8);
  if (f.size() < 3 || f[0].at != 0 || !IsVmsName(f[0].text)) return Outcome::kNotUnderstood;
  std::optional<CivilTime> date;
  for (std::size_t i = 1; i < f.size(); ++i)
    if (!TakeVmsColumn(f[i], entry, date)) return Outcome::kNotUnderstood;
  if (!date || !entry.size || !ValidDate(*date)) return Outcome::kNotUnderstood;
  entry.time = date;
  std::string_view name = f[0].text.substr(0, f[0].text.rfind(';'));
  if (name.size() > 4 && StartsWithNoCase(name.substr(name.size() - 4), ".dir")) {
    name.remove_suffix(4);
    entry.directory = true;
    entry.size.reset();
  }
  entry.name = std::string(name);
  return Outcome::kEntry;
}

// "SMS164 3390   2005/04/05  1    1  FB      80  6160  PO  PROJ.JCL", "Migrated  OLD.DATA",
// "Pseudo Directory  PUB"
Outcome ReadMvs(std::string_view line, Entry& entry) {
  const auto f = Fields(line, 12);
  if (f.size() < 2 || !IsMvsName(f.back().text)) return Outcome::kNotUnderstood;
  entry.name = std::string(f.back().text);
  if (f[0].text == "Migrated" && f.size() == 2) return Outcome::kEntry;
  if (f[0].text == "Pseudo" && f[1].text == "Directory" && f.size() == 3) {
    entry.directory = true;
    return Outcome::kEntry;
  }
  if (Contains(line, "Not Direct Access Device") || Contains(line, "Error determining attributes"))
    return Outcome::kEntry;
  // "TSO004 3390 VSAM NAME", "V43525 Tape NAME": the other columns are left empty.
  if (((f.size() == 4 && f[2].text == "VSAM") || (f.size() == 3 && f[1].text == "Tape")) &&
      f[0].text.size() <= 6)
    return Outcome::kEntry;
  if (f.size() < 5 || f[0].text.size() > 6) return Outcome::kNotUnderstood;
  const auto referred = f[2].text == "**NONE**" ? std::nullopt : SlashDate(f[2].text);
  if (!referred && f[2].text != "**NONE**") return Outcome::kNotUnderstood;
  if (!AllDigits(f[1].text) && f[1].text != "Tape") return Outcome::kNotUnderstood;
  entry.time = referred;
  const std::string_view dsorg = f[f.size() - 2].text;
  entry.directory = dsorg == "PO" || dsorg == "PO-E";
  return Outcome::kEntry;
}

// A member of a partitioned dataset, after its header: " ADDR  01.02 2001/12/06 2002/04/17
// 10:48  22  19  0 USER01", or the name alone. Sizes count records, not bytes: left unknown.
Outcome ReadPdsMember(std::string_view line, Entry& entry) {
  const auto f = Fields(line, 6);
  if (f.empty() || f[0].text.size() > 8 || !IsMvsName(f[0].text)) return Outcome::kNotUnderstood;
  entry.name = std::string(f[0].text);
  if (f.size() >= 5 && Contains(f[1].text, ".")) {
    auto changed = SlashDate(f[3].text);
    if (!changed || !ReadClock(f[4].text, "", *changed) || !ValidDate(*changed))
      return Outcome::kNotUnderstood;
    entry.time = changed;
  }
  return Outcome::kEntry;
}

// "QPGMR  36864 05/24/99 12:27:02 *STMF  PGMR.TXT", "QSYS  *MEM  RPGLE.FILE/TEST.MBR"
Outcome ReadOs400(std::string_view line, const LineContext& context, Entry& entry) {
  const auto f = Fields(line, 6);
  if (f.size() < 3) return Outcome::kNotUnderstood;
  std::size_t type_at = 1;
  if (f.size() >= 6 && Size(f[1].text)) {
    auto date = DosDate(f[2].text, context.now.year);
    if (date && date->month > 12) std::swap(date->month, date->day);  // day first
    if (!date || !ReadClock(f[3].text, "", *date) || !ValidDate(*date))
      return Outcome::kNotUnderstood;
    entry.time = date;
    entry.size = Size(f[1].text);
    type_at = 4;
  }
  const std::string_view type = f[type_at].text;
  if (!type.starts_with('*') || type.size() < 3) return Outcome::kNotUnderstood;
  std::string_view name = RestAfter(line, f[type_at]);
  entry.directory = type == "*DIR" || type == "*LIB" || type == "*FLR" || name.ends_with('/');
  if (name.ends_with('/')) name.remove_suffix(1);
  if (type == "*MEM") name = name.substr(name.rfind('/') + 1);  // listed inside its file
  if (name.empty()) return Outcome::kNotUnderstood;
  entry.owner = std::string(f[0].text);
  entry.name = std::string(name);
  return Outcome::kEntry;
}

// "ALTLOG   101   1234  25-Oct-05 10:24:31 255, 0  \"oooo\""
Outcome ReadTandem(std::string_view line, const LineContext& context, Entry& entry) {
  const auto f = Fields(line, 8);
  if (f.size() < 6 || f[0].at != 0 || !Size(f[2].text) ||
      !AllDigits(f[1].text.substr(0, f[1].text.find_last_of("0123456789") + 1)))
    return Outcome::kNotUnderstood;
  auto date = DayMonthYear(f[3].text, context.now.year);
  if (!date || !ReadClock(f[4].text, "", *date) || !ValidDate(*date) || !line.ends_with('"'))
    return Outcome::kNotUnderstood;
  entry.name = std::string(f[0].text);
  entry.size = Size(f[2].text);
  entry.time = date;
  entry.owner = std::string(f[5].text);
  return Outcome::kEntry;
}

// "  0.0   05/10/29 1149  d-ewrewr   93   1280 CMDS": owner, YY/MM/DD, HHMM, attributes,
// sector, size, name.
Outcome ReadOs9(std::string_view line, const LineContext& context, Entry& entry) {
  const auto f = Fields(line, 7);
  if (f.size() < 7 || f[1].text.size() != 8 || f[2].text.size() != 4 || !AllDigits(f[2].text) ||
      !Contains(f[0].text, ".") || !Size(f[5].text))
    return Outcome::kNotUnderstood;
  const auto y = SmallNumber(f[1].text.substr(0, 2)), m = SmallNumber(f[1].text.substr(3, 2)),
             d = SmallNumber(f[1].text.substr(6, 2));
  if (!y || !m || !d || f[1].text[2] != '/' || f[1].text[5] != '/') return Outcome::kNotUnderstood;
  const CivilTime time{FullYear(*y, context.now.year), *m, *d, *SmallNumber(f[2].text.substr(0, 2)),
                       *SmallNumber(f[2].text.substr(2)), 0};
  if (!ValidDate(time) || f[3].text.find_first_not_of("dsewr-") != std::string_view::npos)
    return Outcome::kNotUnderstood;
  entry.directory = f[3].text.starts_with('d');
  if (!entry.directory) entry.size = Size(f[5].text);
  entry.time = time;
  entry.owner = std::string(f[0].text);
  entry.name = std::string(RestAfter(line, f[5]));
  return entry.name.empty() ? Outcome::kNotUnderstood : Outcome::kEntry;
}

// "PROFILE  EXEC  V  68  11  1 2009-06-01 10:20:30 A1": file name and type, record format,
// record length, records, blocks, date, time. A fixed-length file's size is exact.
Outcome ReadZvm(std::string_view line, Entry& entry) {
  const auto f = Fields(line, 10);
  if (f.size() < 8 || f[0].at != 0 || f[2].text.size() != 1) return Outcome::kNotUnderstood;
  auto date = DosDate(f[6].text, 2000);
  if (!date || !ReadClock(f[7].text, "", *date) || !ValidDate(*date))
    return Outcome::kNotUnderstood;
  entry.directory = f[1].text == "DIR";
  const auto lrecl = Size(f[3].text), records = Size(f[4].text);
  if (!entry.directory && (!lrecl || !records)) return Outcome::kNotUnderstood;
  if (f[2].text == "F" && *lrecl < (1u << 16) && *records < (1ULL << 40))
    entry.size = *lrecl * *records;
  entry.time = date;
  entry.name = entry.directory ? std::string(f[0].text)
                               : std::string(f[0].text) + "." + std::string(f[1].text);
  return Outcome::kEntry;
}

}  // namespace quorvi::detail::listing
