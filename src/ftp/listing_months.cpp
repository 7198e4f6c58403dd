// Month names as ls and FTP servers print them in the languages met in practice. The table is
// data: a new spelling is one more row. Names are UTF-8; matching lowers ASCII letters only and
// ignores one trailing "." ("févr.", "márc.").
#include <array>

#include "ftp/listing_line.h"

namespace quorvi::detail::listing {

namespace {

struct MonthName {
  std::string_view text;
  int month;
};

// clang-format off
constexpr MonthName kMonthNames[] = {
    // English (also most of German, Dutch, Swedish, Spanish, Italian, Portuguese, ...)
    {"jan", 1}, {"feb", 2}, {"mar", 3}, {"apr", 4}, {"may", 5}, {"jun", 6},
    {"jul", 7}, {"aug", 8}, {"sep", 9}, {"oct", 10}, {"nov", 11}, {"dec", 12},
    {"january", 1}, {"february", 2}, {"march", 3}, {"april", 4}, {"june", 6}, {"july", 7},
    {"august", 8}, {"sept", 9}, {"september", 9}, {"october", 10}, {"november", 11},
    {"december", 12},
    // German
    {"m\xC3\xA4r", 3}, {"m\xC3\xA4rz", 3}, {"mrz", 3}, {"mai", 5}, {"juni", 6}, {"juli", 7},
    {"okt", 10}, {"dez", 12}, {"j\xC3\xA4n", 1},
    // French
    {"janv", 1}, {"f\xC3\xA9v", 2}, {"f\xC3\xA9vr", 2}, {"mars", 3}, {"avr", 4}, {"juin", 6},
    {"juil", 7}, {"jui", 7}, {"ao\xC3\xBB", 8}, {"ao\xC3\xBBt", 8}, {"aout", 8}, {"fevr", 2},
    {"d\xC3\xA9" "c", 12},
    // Spanish and Portuguese
    {"ene", 1}, {"abr", 4}, {"ago", 8}, {"dic", 12}, {"fev", 2}, {"set", 9}, {"out", 10},
    {"dez", 12},
    // Italian
    {"gen", 1}, {"mag", 5}, {"giu", 6}, {"lug", 7}, {"ott", 10},
    // Dutch
    {"mrt", 3}, {"mei", 5},
    // Swedish, Norwegian, Danish; Slovenian
    {"maj", 5}, {"avg", 8},
    // Hungarian
    {"febr", 2}, {"m\xC3\xA1rc", 3}, {"\xC3\xA1pr", 4}, {"m\xC3\xA1j", 5}, {"j\xC3\xBAn", 6},
    {"j\xC3\xBAl", 7}, {"szept", 9},
    // Polish
    {"sty", 1}, {"lut", 2}, {"kwi", 4}, {"cze", 6}, {"lip", 7}, {"sie", 8}, {"wrz", 9},
    {"pa\xC5\xBA", 10}, {"lis", 11}, {"gru", 12},
    // Czech
    {"led", 1}, {"\xC3\xBAno", 2}, {"b\xC5\x99" "e", 3}, {"dub", 4}, {"kv\xC4\x9B", 5},
    {"\xC4\x8D" "en", 6}, {"\xC4\x8D" "ec", 7}, {"srp", 8}, {"z\xC3\xA1\xC5\x99", 9},
    {"\xC5\x99\xC3\xADj", 10}, {"pro", 12},
    // Turkish
    {"oca", 1}, {"\xC5\x9E" "ub", 2}, {"\xC5\x9F" "ub", 2}, {"nis", 4}, {"haz", 6}, {"tem", 7},
    {"a\xC4\x9Fu", 8}, {"eyl", 9}, {"eki", 10}, {"kas", 11}, {"ara", 12},
    // Finnish
    {"tammi", 1}, {"helmi", 2}, {"maalis", 3}, {"huhti", 4}, {"touko", 5}, {"kes\xC3\xA4", 6},
    {"hein\xC3\xA4", 7}, {"elo", 8}, {"syys", 9}, {"loka", 10}, {"marras", 11}, {"joulu", 12},
    // Russian (UTF-8)
    {"\xD1\x8F\xD0\xBD\xD0\xB2", 1}, {"\xD1\x84\xD0\xB5\xD0\xB2", 2},
    {"\xD0\xBC\xD0\xB0\xD1\x80", 3}, {"\xD0\xB0\xD0\xBF\xD1\x80", 4},
    {"\xD0\xBC\xD0\xB0\xD0\xB9", 5}, {"\xD0\xBC\xD0\xB0\xD1\x8F", 5},
    {"\xD0\xB8\xD1\x8E\xD0\xBD", 6}, {"\xD0\xB8\xD1\x8E\xD0\xBB", 7},
    {"\xD0\xB0\xD0\xB2\xD0\xB3", 8}, {"\xD1\x81\xD0\xB5\xD0\xBD", 9},
    {"\xD0\xBE\xD0\xBA\xD1\x82", 10}, {"\xD0\xBD\xD0\xBE\xD1\x8F", 11},
    {"\xD0\xB4\xD0\xB5\xD0\xBA", 12},
};
// clang-format on

// "3月" (Japanese, Chinese), "3월" (Korean), or the same in a legacy code page (Shift-JIS,
// EUC-KR): a month number followed by its sign, which is one to three non-ASCII bytes.
int NumberedMonth(std::string_view text) {
  const auto digits = text.find_first_not_of("0123456789");
  if (digits == 0 || digits == std::string_view::npos || digits > 2 ||
      !IsNumberSign(text.substr(digits)))
    return 0;
  const auto number = SmallNumber(text.substr(0, digits));
  return number && *number >= 1 && *number <= 12 ? *number : 0;
}

}  // namespace

bool IsNumberSign(std::string_view sign) {
  if (sign.empty() || sign.size() > 3 || static_cast<unsigned char>(sign[0]) < 0x80) return false;
  return true;
}

int MonthByName(std::string_view text) {
  while (!text.empty() && (text.back() == '.' || text.back() == ',')) text.remove_suffix(1);
  if (text.size() < 2 || text.size() > 12) return 0;
  if (const int numbered = NumberedMonth(text)) return numbered;
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  for (const auto& name : kMonthNames)
    if (name.text == lower) return name.month;
  return 0;
}

}  // namespace quorvi::detail::listing
