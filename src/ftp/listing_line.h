// One line of a listing read into a typed entry. Each listing format has a reader of its own
// (listing_unix.cpp, listing_dos.cpp, listing_mlsd.cpp, listing_legacy.cpp, listing_other.cpp);
// ReadLine tries them in turn, so a listing may mix formats line by line. The collection
// built from these entries is made in listing_parser.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/utc_time.h"

namespace quorvi::detail::listing {

using platform::CivilTime;

/// One entry as a line describes it. Unknown values stay empty.
struct Entry {
  std::string name;    ///< the name as later commands need it (bytes as listed)
  bool directory = false;
  bool link = false;
  std::optional<std::uint64_t> size;
  std::optional<CivilTime> time;  ///< as listed: server time, or UTC when time_is_utc
  bool time_is_utc = false;
  std::string permissions, owner, group;
  std::string target;  ///< where a link points, when listed
  std::string_view format;  ///< the reader that took the line ("unix", "dos", "vms", ...)
};

/// What a reader made of a line.
enum class Outcome {
  kEntry,          ///< an entry was read
  kNoEntry,        ///< understood, but no entry (a header, a total, the listed folder itself)
  kNotUnderstood,  ///< not this reader's format (or a damaged line of it)
};

/// What the readers need besides the line.
struct LineContext {
  CivilTime now;      ///< the present, for dates listed without a year
  /// The text is an MLSD listing: a line starting with a blank has no facts. (Elsewhere, as in
  /// an MLST reply, that blank indents the fact line.)
  bool mlsd = false;
  bool pds_members = false;  ///< after an MVS member list's header: a name alone is a member
};

/// Reads one line (no line feed, no carriage return) with every reader in turn.
Outcome ReadLine(std::string_view line, const LineContext& context, Entry& entry);

// ---- The readers; each leaves `entry` unspecified unless it returns kEntry ----
Outcome ReadMlsd(std::string_view line, const LineContext& context, Entry& entry);
Outcome ReadEplf(std::string_view line, Entry& entry);
Outcome ReadUnix(std::string_view line, const LineContext& context, Entry& entry);
Outcome ReadNetware(std::string_view line, const LineContext& context, Entry& entry);
Outcome ReadDos(std::string_view line, const LineContext& context, Entry& entry);
Outcome ReadOs2(std::string_view line, const LineContext& context, Entry& entry);
Outcome ReadWinCe(std::string_view line, Entry& entry);
Outcome ReadVxWorks(std::string_view line, Entry& entry);
Outcome ReadVms(std::string_view line, Entry& entry);
Outcome ReadMvs(std::string_view line, Entry& entry);
Outcome ReadPdsMember(std::string_view line, Entry& entry);
/// The header of an MVS member list (" Name     VV.MM   Created ...").
bool IsPdsHeader(std::string_view line);
Outcome ReadOs400(std::string_view line, const LineContext& context, Entry& entry);
Outcome ReadTandem(std::string_view line, const LineContext& context, Entry& entry);
Outcome ReadOs9(std::string_view line, const LineContext& context, Entry& entry);
Outcome ReadZvm(std::string_view line, Entry& entry);
Outcome ReadVShell(std::string_view line, Entry& entry);
Outcome ReadNumericUnix(std::string_view line, Entry& entry);
Outcome ReadWfFtp(std::string_view line, Entry& entry);
/// Seconds since 1970 (UTC) as a date-time; nothing past 9999.
std::optional<CivilTime> TimeFromUnixSeconds(std::string_view text);
/// Header, rule and summary lines of the formats above ("Total of 3 files", "------").
bool IsKnownHeader(std::string_view line);
/// A VMS name alone on its line ("LONG_NAME.TXT;12"): its details follow on the next line.
bool IsVmsNameOnly(std::string_view line);

// ---- Shared pieces (listing_fields.cpp, listing_months.cpp) ----

/// A blank-separated field of a line and where it starts.
struct Field {
  std::string_view text;
  std::size_t at;
  std::size_t end() const { return at + text.size(); }
};

/// The blank-separated fields of a line (blanks are spaces and tabs), at most `most`.
std::vector<Field> Fields(std::string_view line, std::size_t most = 64);
/// The text after `field` and the blanks that follow it.
std::string_view RestAfter(std::string_view line, const Field& field);
bool AllDigits(std::string_view text);
/// A small whole number written with digits only.
std::optional<int> SmallNumber(std::string_view text);
/// Digits only, no sign, within 64 bits.
std::optional<std::uint64_t> Size(std::string_view text);
/// Digits with thousands separators in groups of three ("1,234", "1.234.567") or none.
std::optional<std::uint64_t> GroupedSize(std::string_view text);
/// A size with a unit suffix as "ls -h" prints it ("33.5k", "2M", "1.2G"); plain digits too.
std::optional<std::uint64_t> ScaledSize(std::string_view text);
/// "HH:MM", "HH:MM:SS" or "HH:MM:SS.ff", optionally followed by AM/PM (in the same field, or
/// given as `suffix`). Sets hour, minute, second of `time`; false when not a clock time.
bool ReadClock(std::string_view text, std::string_view suffix, CivilTime& time);
/// "24:00" (which ReadClock lets through) as 00:00 of the next day, as some servers write
/// midnight.
void RollMidnight(CivilTime& time);
/// True when the fields form a real date-time (Feb 30, 24:00 and 10:61 do not).
bool ValidDate(const CivilTime& time);
/// A two-digit year as a four-digit one: up to 30 (while the year is 20xx) this century.
int FullYear(int two_digits, int current_year);
/// A date listed without a year: this year, or last year when that puts it more than a day
/// after `now` (ls shows the time instead of the year only for the last six months).
void PlaceYearless(CivilTime& date, const CivilTime& now);
/// The month named by an abbreviation or name in one of the languages ls and servers use
/// ("Jan", "Mär", "févr.", "окт", "3月"); 0 when none. Case is ignored for ASCII letters.
int MonthByName(std::string_view text);
/// A DOS-style date: "01-15-09", "01-15-2009", "2002-09-02", "2002/09/02", "15.01.2009"
/// (month before day unless the year comes first or dots are used). Time fields are 0.
std::optional<CivilTime> DosDate(std::string_view text, int current_year);
/// The sign after a number in CJK dates ("月", "日", "年" in UTF-8 or a legacy code page): one
/// to three bytes, the first not ASCII.
bool IsNumberSign(std::string_view sign);
/// "YYYY-MM-DD HH:MM:SS".
std::string DateText(const CivilTime& time);

}  // namespace quorvi::detail::listing
