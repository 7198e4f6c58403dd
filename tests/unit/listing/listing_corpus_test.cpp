// Every line of tests/fixtures/listings/corpus.tsv read on its own: the format that takes it
// and the entry it gives (name, type, size, time, link target), or that it gives none.
// Columns: format, line, name, type (f d l; "-" understood without an entry; "x" left out),
// size ("-" unknown), time ("YYYY-MM-DD HH:MM:SS", "Z" at the end for UTC; "-" none), target.
// In the line and name columns "\t", "\n" (a line continued on the next), "\\" and "\xHH" are
// escapes. "mvs-pds" lines are read after a member list's header, "mlsd" lines as an MLSD
// listing, "mlst" lines as the fact line of an MLST reply.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "ftp/listing_line.h"

namespace quorvi::detail::listing {
namespace {

std::string Unescape(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      out += text[i];
      continue;
    }
    const char c = text[++i];
    if (c == 't') out += '\t';
    else if (c == 'n') out += '\n';
    else if (c == 'x' && i + 2 < text.size()) {
      out += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
      i += 2;
    } else out += c;
  }
  return out;
}

std::vector<std::string> SplitTabs(const std::string& row) {
  std::vector<std::string> columns;
  std::stringstream in(row);
  for (std::string column; std::getline(in, column, '\t');) columns.push_back(column);
  if (!row.empty() && row.back() == '\t') columns.emplace_back();
  return columns;
}

// What the reader made of a line, in the corpus' own notation.
std::string Describe(Outcome outcome, const Entry& e) {
  if (outcome == Outcome::kNotUnderstood) return "x";
  if (outcome == Outcome::kNoEntry) return "-";
  std::string time = "-";
  if (e.time) time = DateText(*e.time) + (e.time_is_utc ? "Z" : "");
  return std::string(e.format) + " | " + e.name + " | " + (e.link ? "l" : e.directory ? "d" : "f") +
         " | " + (e.size ? std::to_string(*e.size) : "-") + " | " + time + " | " + e.target;
}

TEST(ListingCorpus, EveryLineGivesItsEntry) {
  std::ifstream in(std::filesystem::path(QUORVI_SOURCE_DIR) / "tests/fixtures/listings/corpus.tsv");
  ASSERT_TRUE(in) << "corpus.tsv missing";
  const LineContext context{{2026, 11, 25, 12, 0, 0}, false, false};
  int rows = 0, passed = 0;
  for (std::string row; std::getline(in, row);) {
    if (row.empty() || row[0] == '#') continue;
    const auto c = SplitTabs(row);
    ASSERT_GE(c.size(), 6u) << row;
    std::string line = Unescape(c[1]);
    if (const auto feed = line.find('\n'); feed != std::string::npos) {
      ASSERT_TRUE(IsVmsNameOnly(line.substr(0, feed))) << row;  // joined as the parser joins
      line[feed] = ' ';
    }
    LineContext line_context = context;
    line_context.pds_members = c[0] == "mvs-pds";
    line_context.mlsd = c[0] == "mlsd";
    Entry entry;
    const Outcome outcome = ReadLine(line, line_context, entry);
    std::string expected = c[3];
    if (c[3] != "x" && c[3] != "-") {
      const std::string format = c[0] == "mvs-pds" ? "mvs" : c[0] == "mlst" ? "mlsd" : c[0];
      expected = format + " | " + Unescape(c[2]) + " | " + c[3] + " | " + c[4] + " | " + c[5] +
                 " | " + (c.size() > 6 ? Unescape(c[6]) : "");
    }
    ++rows;
    const std::string actual = Describe(outcome, entry);
    if (actual == expected) ++passed;
    EXPECT_EQ(actual, expected) << "line: " << c[1];
  }
  EXPECT_GE(rows, 300);
  std::cout << "[corpus] " << passed << " of " << rows << " lines as expected\n";
}

}  // namespace
}  // namespace quorvi::detail::listing
