// Pure rules: the path normalisers, parent paths, name parts, size halves, line splitting and
// the INI text format.
#include <gtest/gtest.h>

#include "local/cfile.h"
#include "local/cfile_text.h"
#include "local/ini_file.h"
#include "local/mfile.h"
#include "local/path_rules.h"

namespace quorvi::detail {
namespace {

struct Case {
  const char* in;
  const char* out;
};

TEST(PathRules, FormatLocalPath) {
  const Case cases[] = {
      {" /c/a//b\\\\\\c\\ ", "/c/a/b/c/"},
      {"//srv/share//x", "/srv/share/x"},
      {"/d/a.txt|/e//b.txt", "/d/a.txt|/e/b.txt"},
      {"\\\\srv\\share", "/srv/share"},
      {"a/b", "a/b"},
      {"   ", ""},
      {"/Mixed/Case.TXT", "/Mixed/Case.TXT"},
  };
  for (const auto& c : cases) EXPECT_EQ(FormatLocalPath(c.in), c.out) << c.in;
}

TEST(PathRules, FormatFTPPath) {
  const Case cases[] = {
      {"\\pub\\\\a//b/", "/pub/a/b/"},
      {"http://h//x", "http://h/x"},
      {" https://h///x//y ", "https://h/x/y"},
      {"/a|http://h/b", "/a|http://h/b"},
      {"HTTP://h//x", "HTTP:/h/x"},  // the schemes are matched in lower case only
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(FormatFTPPath(c.in), c.out) << c.in;
}

TEST(PathRules, ParentFolderAndAbsolute) {
  const Case parents[] = {
      {"a.txt", ""},      {"/a.txt", "/"},   {"/up/a.txt", "/up"}, {"/a/", "/a"},
      {"/", ""},          {"\\up\\a", "/up"}, {" /x//y/z ", "/x/y"}, {"d/a.txt", "d"},
  };
  for (const auto& c : parents) EXPECT_EQ(GetParentFolderPath(c.in), c.out) << c.in;

  EXPECT_TRUE(IsAbsoluteLocalPath(" /a"));
  EXPECT_TRUE(IsAbsoluteLocalPath("\\a"));
  EXPECT_FALSE(IsAbsoluteLocalPath("a/b"));
  EXPECT_FALSE(IsAbsoluteLocalPath(""));
}

TEST(MFile, NameParts) {
  struct Row {
    const char* path;
    const char* name;
    const char* wen;
    const char* ext;
  };
  const Row rows[] = {
      {"/d/readme", "readme", "/d/readme", ""},
      {"/d/a.tar.gz", "a.tar.gz", "a.tar", "gz"},
      {"/a/b/", "b", "/a/b/", ""},
      {"/my.dir/readme", "readme", "/my.dir/readme", "dir/readme"},
      {"a.tar.gz", "a.tar.gz", "a.tar", "gz"},
      {" /x/.hidden ", ".hidden", "", "hidden"},
      {"", "", "", ""},
  };
  for (const auto& r : rows) {
    EXPECT_EQ(MFile::GetFileName(r.path), r.name) << r.path;
    EXPECT_EQ(MFile::GetFileNameWEN(r.path), r.wen) << r.path;
    EXPECT_EQ(MFile::GetFileExtendName(r.path), r.ext) << r.path;
  }
}

TEST(CFileSizes, HalvesRoundTrip) {
  struct Row {
    double size;
    std::int32_t low, high;
  };
  const Row rows[] = {
      {0, 0, 0},
      {2147483647.0, 2147483647, 0},
      {2147483648.0, -2147483647 - 1, 0},
      {4294967296.0 + 3000000000.0, -1294967296, 1},
      {9007199254740992.0, 0, 2097152},  // 2^53, the largest exact size
  };
  for (const auto& r : rows) {
    std::int32_t low = 7, high = 7;
    CFile::Size2Long(r.size, low, high);
    EXPECT_EQ(low, r.low) << r.size;
    EXPECT_EQ(high, r.high) << r.size;
    EXPECT_EQ(CFile::Long2Size(r.low, r.high), r.size);
  }
}

TEST(TextLines, EveryLineEndSplits) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(SplitLines("a\r\nb\rc\nd"), (Lines{"a", "b", "c", "d"}));
  EXPECT_EQ(SplitLines("a\r\n\r\nb\r\n"), (Lines{"a", "", "b"}));
  EXPECT_EQ(SplitLines(""), Lines{});
  EXPECT_EQ(SplitLines("\n"), Lines{""});
  EXPECT_EQ(JoinLines({"a", "", "b"}), "a\r\n\r\nb");
}

TEST(IniText, LookupAndUpdate) {
  const std::string text = "[One]\r\nk = v1 \r\nq=\"quoted\"\r\n\r\n[Two]\r\nk=v2\r\n";
  EXPECT_EQ(IniLookup(text, "one", "K"), "v1");
  EXPECT_EQ(IniLookup(text, "One", "q"), "quoted");
  EXPECT_EQ(IniLookup(text, "Two", "k"), "v2");
  EXPECT_FALSE(IniLookup(text, "Two", "missing"));
  EXPECT_FALSE(IniLookup(text, "Three", "k"));

  // Replace in place, add to the end of a section (before its blank line), add a section.
  EXPECT_EQ(IniWithValue(text, "two", "K", "x"),
            "[One]\r\nk = v1 \r\nq=\"quoted\"\r\n\r\n[Two]\r\nk=x\r\n");
  EXPECT_EQ(IniWithValue(text, "One", "n", "1"),
            "[One]\r\nk = v1 \r\nq=\"quoted\"\r\nn=1\r\n\r\n[Two]\r\nk=v2\r\n");
  EXPECT_EQ(IniWithValue("", "S", "k", "v"), "[S]\r\nk=v\r\n");
  EXPECT_EQ(IniSectionNames(text), (std::vector<std::string>{"One", "Two"}));
}

TEST(IniText, SectionRemoval) {
  // Texts as ReadFile returns them: lines joined by CR LF, none after the last.
  const std::string text = "[A]\r\na=1\r\n[B]\r\nb=2\r\n\r\n[C]\r\nc=3";
  EXPECT_EQ(IniWithoutSection(text, "B"), "[A]\r\na=1\r\n[C]\r\nc=3");
  EXPECT_EQ(IniWithoutSection(text, "A"), "[B]\r\nb=2\r\n\r\n[C]\r\nc=3");
  EXPECT_EQ(IniWithoutSection(text, "C"), "[A]\r\na=1\r\n[B]\r\nb=2");
  EXPECT_EQ(IniWithoutSection("x=[A]\r\n[AB]\r\n[A]\r\n", "A"), "x=[A]\r\n[AB]");
  EXPECT_FALSE(IniWithoutSection(text, "D"));
  EXPECT_TRUE(IniHasSection(text, "C"));
  EXPECT_FALSE(IniHasSection(text, "c"));  // exact, as the stored text is compared
}

}  // namespace
}  // namespace quorvi::detail
