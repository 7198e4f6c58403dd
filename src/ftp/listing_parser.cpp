#include "ftp/listing_parser.h"

#include <vector>

#include "component/error_object.h"
#include "ftp/ftp_text.h"
#include "ftp/listing_line.h"
#include "local/path_rules.h"
#include "platform/clock_text.h"
#include "platform/concat.h"

namespace quorvi::detail {

namespace listing {

namespace {

using Reader = Outcome (*)(std::string_view, const LineContext&, Entry&);

// Most specific first: a reader accepts a line only when every column fits its format.
constexpr std::pair<std::string_view, Reader> kReaders[] = {
    {"eplf", [](std::string_view l, const LineContext&, Entry& e) { return ReadEplf(l, e); }},
    {"mlsd", ReadMlsd},
    {"unix", ReadUnix},
    {"netware", ReadNetware},
    {"dos", ReadDos},
    {"vms", [](std::string_view l, const LineContext&, Entry& e) { return ReadVms(l, e); }},
    {"os400", ReadOs400},
    {"tandem", ReadTandem},
    {"os9", ReadOs9},
    {"zvm", [](std::string_view l, const LineContext&, Entry& e) { return ReadZvm(l, e); }},
    {"wince", [](std::string_view l, const LineContext&, Entry& e) { return ReadWinCe(l, e); }},
    {"vxworks", [](std::string_view l, const LineContext&, Entry& e) { return ReadVxWorks(l, e); }},
    {"os2", ReadOs2},
    {"mvs", [](std::string_view l, const LineContext&, Entry& e) { return ReadMvs(l, e); }},
    {"vshell", [](std::string_view l, const LineContext&, Entry& e) { return ReadVShell(l, e); }},
    {"unix",
     [](std::string_view l, const LineContext&, Entry& e) { return ReadNumericUnix(l, e); }},
    {"wfftp", [](std::string_view l, const LineContext&, Entry& e) { return ReadWfFtp(l, e); }},
};

Outcome Attempt(std::string_view format, Reader read, std::string_view line,
                const LineContext& context, Entry& entry) {
  entry = Entry{};
  const Outcome outcome = read(line, context, entry);
  if (outcome == Outcome::kEntry) entry.format = format;
  return outcome;
}

}  // namespace

Outcome ReadLine(std::string_view line, const LineContext& context, Entry& entry) {
  for (const auto& [format, read] : kReaders)
    if (const Outcome outcome = Attempt(format, read, line, context, entry);
        outcome != Outcome::kNotUnderstood)
      return outcome;
  if (IsKnownHeader(line)) return Outcome::kNoEntry;
  if (context.pds_members) {
    return Attempt(
        "mvs", [](std::string_view l, const LineContext&, Entry& e) { return ReadPdsMember(l, e); },
        line, context, entry);
  }
  return Outcome::kNotUnderstood;
}

}  // namespace listing

namespace {

using listing::Entry;
using listing::Outcome;

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
  const bool dot_dot = Concat("/", prefix, "/").find("/../") != std::string::npos;
  const bool names_parent =
      prefix == parent || prefix == "." ||
      (!parent.empty() && prefix.size() > parent.size() && prefix.ends_with(parent) &&
       prefix[prefix.size() - parent.size() - 1] == '/');
  return names_parent && !dot_dot ? name.substr(slash + 1) : name;
}

platform::CivilTime ClockNow() {
  const std::string now = platform::NowGeneralDate();  // "YYYY-MM-DD HH:MM:SS"
  const auto part = [&](std::size_t at, std::size_t n) {
    return listing::SmallNumber(std::string_view(now).substr(std::min(at, now.size()), n))
        .value_or(1);
  };
  return {part(0, 4), part(5, 2), part(8, 2), part(11, 2), part(14, 2), part(17, 2)};
}

platform::CivilTime PresentFor(const ListingContext& context) {
  if (context.now.year != 0) return context.now;
  const platform::CivilTime clock = ClockNow();
  if (context.current_year == 0 || context.current_year == clock.year) return clock;
  return {context.current_year, 12, 31, 23, 59, 59};
}

CFtpFile ToFile(const Entry& entry, const std::string& name, const std::string& parent) {
  CFtpFile file;
  file.FileName(name);
  file.FilePath(FormatFTPPath(parent + "/" + name));
  file.IsDirectory(entry.directory && !entry.link);
  file.IsLink(entry.link);
  file.FileSize(static_cast<double>(entry.size.value_or(0)));
  if (entry.time) {
    file.LastWriteTime(entry.time_is_utc
                           ? platform::UtcToLocalText(*entry.time).value_or(std::string())
                           : listing::DateText(*entry.time));
  }
  file.Permissions(entry.permissions);
  file.Owner(entry.owner);
  file.Group(entry.group);
  return file;
}

// The listing being built and what was made of its lines.
struct Collected {
  CFtpFiles files;
  std::size_t understood = 0, skipped = 0;
  std::string first_skipped;
  bool dos_seen = false;  // from the first DOS/IIS line on, a name collision only skips
  bool collided = false;
};

void AddEntry(const Entry& entry, const ListingContext& context, Collected& out) {
  const std::string name = ListedName(entry.name, context.listed_parent);
  if (name.empty() || name == "." || name == "..") return;
  out.dos_seen = out.dos_seen || entry.format == "dos";
  // The same name twice is one file listed twice (VMS lists each version of a file).
  if (const CFtpFile* known = out.files.Item(name); known && known->FileName() == name) return;
  if (out.files.Add(ToFile(entry, name, context.listed_parent), name) == nullptr &&
      !out.dos_seen) {
    WriteLog("GetFileListX.Error:two names differ only in case: " + name);
    out.collided = true;
  }
}

// The next line (without "\r") from `start`; a VMS name alone on its line takes the details
// on the line after it.
std::string NextLine(std::string_view text, std::size_t& start) {
  const auto take = [&] {
    const auto feed = text.find('\n', start);
    std::string line(text.substr(start, feed == std::string_view::npos ? feed : feed - start));
    start = feed == std::string_view::npos ? text.size() : feed + 1;
    std::erase(line, '\r');
    return line;
  };
  std::string line = take();
  if (!listing::IsVmsNameOnly(line) || start >= text.size()) return line;
  // The details follow, indented or not; a line that starts with a name is the next entry.
  const auto feed = text.find('\n', start);
  const auto next = listing::Fields(
      text.substr(start, feed == std::string_view::npos ? feed : feed - start), 1);
  if (!next.empty() && !listing::IsVmsNameOnly(next[0].text)) line.append(" ").append(take());
  return line;
}

}  // namespace

int CurrentYear() { return ClockNow().year; }

std::optional<CFtpFiles> GetFileListX(std::string_view text, const ListingContext& context) {
  if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) return std::nullopt;
  listing::LineContext line_context{PresentFor(context), context.mlsd};
  Collected out;
  for (std::size_t start = 0; start < text.size() && !out.collided;) {
    const std::string line = NextLine(text, start);
    if (line.find_first_not_of(" \t") == std::string::npos) continue;
    // The reply lines around an MLST fact line.
    if (line.starts_with("250 ") || line.starts_with("250-")) {
      WriteLog("GetFileListX:EXIT[" + line + "]");
      ++out.understood;
      continue;
    }
    if (listing::IsPdsHeader(line)) line_context.pds_members = true;
    Entry entry;
    const Outcome outcome = listing::ReadLine(line, line_context, entry);
    if (outcome == Outcome::kNotUnderstood) {
      if (out.skipped++ == 0) out.first_skipped = line;
      continue;
    }
    ++out.understood;
    if (outcome == Outcome::kEntry) AddEntry(entry, context, out);
  }
  if (context.report) *context.report = {out.skipped, out.first_skipped};
  if (out.skipped != 0)
    WriteLog("GetFileListX: " + std::to_string(out.skipped) +
             " line(s) not understood and left out; the first: [" + out.first_skipped + "]");
  if (out.understood == 0 || out.collided) {
    WriteLog("GetFileListX.Error:listing not parsed-------------------\n" + std::string(text) +
             "\n-------------------");
    return std::nullopt;
  }
  return std::move(out.files);
}

std::optional<std::string> GetListDate(std::string_view column, int current_year) {
  const auto f = listing::Fields(column, 4);
  if (f.size() != 3) return std::nullopt;
  listing::CivilTime date{current_year, listing::MonthByName(f[0].text), 0, 0, 0, 0};
  date.day = listing::SmallNumber(f[1].text).value_or(0);
  if (f[2].text.find(':') == std::string_view::npos) {
    date.year = f[2].text.size() == 4 ? listing::SmallNumber(f[2].text).value_or(0) : 0;
  } else if (!listing::ReadClock(f[2].text, "", date)) {
    return std::nullopt;
  }
  if (!listing::ValidDate(date)) return std::nullopt;
  return listing::DateText(date);
}

std::optional<std::string> GetDosDate(std::string_view date, std::string_view time,
                                      int current_year) {
  auto value = listing::DosDate(date, current_year);
  if (!value || !listing::ReadClock(ftp_text::Trim(time), "", *value) ||
      !listing::ValidDate(*value))
    return std::nullopt;
  return listing::DateText(*value);
}

std::optional<std::string> GetMLSDFileTime(std::string_view value) {
  const std::string trimmed = ftp_text::Trim(value);
  std::string_view digits = std::string_view(trimmed).substr(0, trimmed.find('.'));
  digits = digits.substr(0, 14);
  if (digits.size() != 14 || !listing::AllDigits(digits)) return std::nullopt;
  const auto part = [&](std::size_t at, std::size_t n) {
    return *listing::SmallNumber(digits.substr(at, n));
  };
  return platform::UtcToLocalText(
      {part(0, 4), part(4, 2), part(6, 2), part(8, 2), part(10, 2), part(12, 2)});
}

bool UsableEntryName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

}  // namespace quorvi::detail
