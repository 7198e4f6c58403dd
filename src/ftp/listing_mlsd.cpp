// MLSD/MLST fact lines (RFC 3659) and EPLF. Every fact is optional: a missing fact is an
// unknown value, never a reason to drop the entry. The facts end at the first blank (a tab is
// taken as well); everything after that one character is the name, ";" and leading blanks
// included.
#include <charconv>

#include "ftp/listing_line.h"

namespace quorvi::detail::listing {

namespace {

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return lower;
}

// "YYYYMMDDHHMMSS[.fff]", UTC.
std::optional<CivilTime> FactTime(std::string_view value) {
  value = value.substr(0, value.find('.'));
  if (value.size() != 14 || !AllDigits(value)) return std::nullopt;
  const auto part = [&](std::size_t at, std::size_t n) {
    return SmallNumber(value.substr(at, n)).value_or(0);
  };
  const CivilTime time{part(0, 4), part(4, 2), part(6, 2), part(8, 2), part(10, 2), part(12, 2)};
  if (!ValidDate(time)) return std::nullopt;
  return time;
}

// "0644", "100644": the permission bits as ls writes them.
std::string ModeText(std::string_view value, char type) {
  if (value.empty() || value.size() > 7 ||
      value.find_first_not_of("01234567") != std::string_view::npos)
    return {};
  unsigned mode = 0;
  std::from_chars(value.data(), value.data() + value.size(), mode, 8);
  std::string text(1, type);
  static constexpr std::string_view kLetters = "rwxrwxrwx";
  for (std::size_t bit = 0; bit < 9; ++bit)
    text += (mode & (0400u >> bit)) != 0 ? kLetters[bit] : '-';
  return text;
}

// The type fact; false for the listed folder and its parent (no entry).
bool TakeType(std::string_view value, Entry& entry) {
  const std::string type = Lower(value);
  if (type == "cdir" || type == "pdir") return false;
  entry.directory = type == "dir";
  // OS.unix=symlink, OS.unix=slink:target: a link is an entry, never a folder to enter.
  if (type.starts_with("os.unix=slink") || type.starts_with("os.unix=symlink")) {
    entry.link = true;
    const auto colon = value.find(':');
    if (colon != std::string_view::npos) entry.target = std::string(value.substr(colon + 1));
  }
  return true;
}

// Facts that several names can give; the better name wins whatever the order.
struct Pending {
  std::string mode;
  int owner_rank = 0, group_rank = 0;
};

// UNIX.ownername > UNIX.owner > UNIX.uid, the same for the group.
void TakeName(std::string_view value, int rank, std::string& field, int& field_rank) {
  if (rank < field_rank) return;
  field = std::string(value);
  field_rank = rank;
}

// One "name=value" fact; kNotUnderstood for a value that cannot be what its fact says.
Outcome TakeFact(std::string_view fact, Entry& entry, Pending& pending) {
  const auto equals = fact.find('=');
  if (equals == std::string_view::npos || equals == 0) return Outcome::kNotUnderstood;
  const std::string name = Lower(fact.substr(0, equals));
  const std::string_view value = fact.substr(equals + 1);
  if (name == "type") return TakeType(value, entry) ? Outcome::kEntry : Outcome::kNoEntry;
  if ((name == "size" || name == "sizd") && !value.empty()) {  // "size=": unknown
    const auto size = Size(value);
    if (!size) return Outcome::kNotUnderstood;
    if (name == "size") entry.size = size;
  } else if (name == "modify") {
    entry.time = FactTime(value);  // a time of another shape stays unknown
  } else if (name == "unix.mode") {
    pending.mode = std::string(value);
  } else if (name == "unix.ownername" || name == "unix.owner" || name == "unix.uid") {
    TakeName(value, name == "unix.ownername" ? 3 : name == "unix.owner" ? 2 : 1, entry.owner,
             pending.owner_rank);
  } else if (name == "unix.groupname" || name == "unix.group" || name == "unix.gid") {
    TakeName(value, name == "unix.groupname" ? 3 : name == "unix.group" ? 2 : 1, entry.group,
             pending.group_rank);
  }
  return Outcome::kEntry;
}

// Each fact has a name and "="; the last ends with ";" (drafts before RFC 3659 left that out).
bool LooksLikeFacts(std::string_view facts) {
  if (facts.empty()) return false;
  for (std::size_t at = 0; at < facts.size();) {
    const auto end = std::min(facts.find(';', at), facts.size());
    const auto equals = facts.find('=', at);
    if (equals == std::string_view::npos || equals == at || equals > end) return false;
    // Without its ";" the last fact needs a value: "Type= name" is no fact list.
    if (end == facts.size() && equals + 1 == end) return false;
    at = end + 1;
  }
  return true;
}

}  // namespace

Outcome ReadMlsd(std::string_view line, const LineContext& context, Entry& entry) {
  // An MLST reply indents its fact line by one blank; in an MLSD listing that blank means the
  // line has no facts and the rest is the name.
  if (!context.mlsd && line.starts_with(' ') && line.size() > 1 && line[1] != ' ' &&
      line[1] != '\t') {
    const auto rest = line.substr(1);
    const auto end = rest.find_first_of(" \t");
    if (end != std::string_view::npos && LooksLikeFacts(rest.substr(0, end))) line = rest;
  }
  const auto end = line.find_first_of(" \t");
  if (end == std::string_view::npos) return Outcome::kNotUnderstood;
  const std::string_view facts = line.substr(0, end);
  entry.name = std::string(line.substr(end + 1));
  if (facts.empty() && !context.mlsd) return Outcome::kNotUnderstood;  // " name": no facts
  if (!facts.empty() && !LooksLikeFacts(facts)) return Outcome::kNotUnderstood;
  if (entry.name.empty()) return Outcome::kNotUnderstood;
  Pending pending;
  bool listed_folder = false;
  for (std::size_t at = 0; at < facts.size();) {
    const auto semicolon = std::min(facts.find(';', at), facts.size());
    const Outcome fact = TakeFact(facts.substr(at, semicolon - at), entry, pending);
    if (fact == Outcome::kNotUnderstood) return fact;
    listed_folder = listed_folder || fact == Outcome::kNoEntry;
    at = semicolon + 1;
  }
  if (listed_folder) return Outcome::kNoEntry;
  if (entry.directory) entry.size.reset();
  entry.time_is_utc = true;
  entry.permissions = ModeText(pending.mode, entry.directory ? 'd' : entry.link ? 'l' : '-');
  return Outcome::kEntry;
}

// "+i8388621.48594,m825718503,r,s280,\tdjb.html": facts separated by ",", a tab, the name.
Outcome ReadEplf(std::string_view line, Entry& entry) {
  const auto tab = line.find('\t');
  if (!line.starts_with('+') || tab == std::string_view::npos || tab + 1 >= line.size())
    return Outcome::kNotUnderstood;
  bool retrievable = false;
  const std::string_view facts = line.substr(1, tab - 1);
  for (std::size_t at = 0; at < facts.size();) {
    const auto comma = std::min(facts.find(',', at), facts.size());
    const std::string_view fact = facts.substr(at, comma - at);
    at = comma + 1;
    if (fact.empty()) continue;
    if (fact == "/") entry.directory = true;
    if (fact == "r") retrievable = true;
    if (fact[0] == 's') {
      entry.size = Size(fact.substr(1));
      if (!entry.size) return Outcome::kNotUnderstood;
    } else if (fact[0] == 'm') {
      entry.time = TimeFromUnixSeconds(fact.substr(1));
      if (!entry.time) return Outcome::kNotUnderstood;
      entry.time_is_utc = true;
    }
  }
  if (!entry.directory && !retrievable) entry.size.reset();
  entry.name = std::string(line.substr(tab + 1));
  return Outcome::kEntry;
}

}  // namespace quorvi::detail::listing
