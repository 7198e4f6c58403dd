// The listing parser: the text a server sends for LIST or MLSD becomes a CFtpFiles
// collection. Three line formats are recognised per line: UNIX long listings (ls -l), DOS/IIS
// lines with "<DIR>", and MLSD fact lines. Dates come out as "YYYY-MM-DD HH:MM:SS" local time.
// See docs/listings.md for the formats met on real servers.
#pragma once

#include <quorvi/ftp_file.h>

#include <optional>
#include <string>
#include <string_view>

namespace quorvi::detail {

/// What a parse needs besides the text.
struct ListingContext {
  std::string listed_parent;  ///< folder that FilePath is built from
  int current_year = 0;       ///< year of UNIX dates without one, century of DOS dates
};

/// The year of the local clock.
int CurrentYear();

/// Parses a listing. Nothing when the text is blank, or when a UNIX or MLSD line could not be
/// parsed (for example two names that differ only in case); DOS/IIS lines that fail are left
/// out instead. "." and ".." never appear. An empty collection is possible (only skipped
/// lines).
std::optional<CFtpFiles> GetFileListX(std::string_view text, const ListingContext& context);

/// The 12-character UNIX date column ("Jan 15  2009", "Mar  3 10:30") as a date; a column
/// without a year takes current_year. Nothing when it is not a date.
std::optional<std::string> GetListDate(std::string_view column, int current_year);

/// A DOS/IIS date ("01-15-09") and time ("10:30AM", "22:30"): two-digit years up to the
/// current century + 10 belong to it, later ones to the century before.
std::optional<std::string> GetDosDate(std::string_view date, std::string_view time,
                                      int current_year);

/// The MLSD "modify" value YYYYMMDDHHMMSS[.fff] (UTC) in local time; nothing for any other
/// shape.
std::optional<std::string> GetMLSDFileTime(std::string_view value);

/// A name an entry of a folder can have: not empty, not "." or "..", without "/" or NUL. A
/// listing may hold anything; joined to its folder, any other name would point elsewhere.
bool UsableEntryName(std::string_view name);

}  // namespace quorvi::detail
