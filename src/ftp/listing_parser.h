// The listing parser: the text a server sends for LIST or MLSD becomes a CFtpFiles
// collection. Each line is recognised on its own (listing_line.h): UNIX long listings, DOS/IIS,
// MLSD facts, EPLF, VMS, MVS, OS/400, OS/2, Netware, NonStop, VxWorks, OS-9, z/VM and Windows CE.
// A line no reader understands is left out and counted; only a listing of which nothing at all
// is understood fails. Dates come out as "YYYY-MM-DD HH:MM:SS". See docs/listings.md.
#pragma once

#include <quorvi/ftp_file.h>

#include "platform/utc_time.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quorvi::detail {

/// Lines of a listing that no format reader understood.
struct ListingReport {
  std::size_t skipped = 0;    ///< how many were left out
  std::string first_skipped;  ///< the first of them
};

/// What a parse needs besides the text.
struct ListingContext {
  std::string listed_parent;  ///< folder that FilePath is built from
  int current_year = 0;       ///< year of UNIX dates without one, century of DOS dates
  /// The present for dates listed without a year (a date more than a day after it is last
  /// year's). Unset: the local clock, or the end of current_year when that is another year.
  platform::CivilTime now = {};
  /// The text is an MLSD listing (not an MLST reply, whose fact line is indented).
  bool mlsd = false;
  ListingReport* report = nullptr;  ///< receives the lines left out, when given
};

/// The year of the local clock.
int CurrentYear();

/// Parses a listing. A line that no format reader understands is left out (the count and the
/// first such line are logged). Nothing when the text is blank, when no line at all was
/// understood, or when two names differ only in case in a listing without DOS/IIS lines (one
/// of the two files would silently be missing). "." and ".." never appear. An empty collection
/// is possible (headers, totals, the listed folder only).
std::optional<CFtpFiles> GetFileListX(std::string_view text, const ListingContext& context);

/// The UNIX date column ("Jan 15  2009", "Mar  3 10:30", "Mär 3 10:30") as a date; a column
/// without a year takes current_year. Nothing when it is not a date.
std::optional<std::string> GetListDate(std::string_view column, int current_year);

/// A DOS/IIS date ("01-15-09", "2002-09-02", "15.01.2009") and time ("10:30AM", "22:30"):
/// two-digit years up to the current century + 10 belong to it, later ones to the century
/// before.
std::optional<std::string> GetDosDate(std::string_view date, std::string_view time,
                                      int current_year);

/// The MLSD "modify" value YYYYMMDDHHMMSS[.fff] (UTC) in local time; nothing for any other
/// shape.
std::optional<std::string> GetMLSDFileTime(std::string_view value);

/// A name an entry of a folder can have: not empty, not "." or "..", without "/" or NUL. A
/// listing may hold anything; joined to its folder, any other name would point elsewhere.
bool UsableEntryName(std::string_view name);

}  // namespace quorvi::detail
