// Pure rules: the path normalisers, parent paths, name parts, line splitting and INI sections.
#include <gtest/gtest.h>

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
      // A backslash is a name character on Linux, never a separator.
      {" /c/a//b\\c\\ ", "/c/a/b\\c\\"},         {"//srv/share//x", "/srv/share/x"},
      {"/d/a.txt|/e//b.txt", "/d/a.txt|/e/b.txt"}, {"\\srv\\share", "\\srv\\share"},
      {"   ", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(FormatLocalPath(c.in), c.out) << c.in;
}

TEST(PathRules, FormatFTPPath) {
  const Case cases[] = {
      {"/pub/back\\slash//b/", "/pub/back\\slash/b/"},           {"http://h//x", "http://h/x"},
      {" https://h///x//y ", "https://h/x/y"}, {"/a|http://h/b", "/a|http://h/b"},
      {"HTTP://h//x", "HTTP:/h/x"},  // the schemes are matched in lower case only
  };
  for (const auto& c : cases) EXPECT_EQ(FormatFTPPath(c.in), c.out) << c.in;
}

TEST(PathRules, ParentFolderAndAbsolute) {
  const Case parents[] = {
      {"a.txt", ""}, {"/a.txt", "/"},     {"/a/", "/a"},
      {"/", ""},     {"/up\\a", "/"}, {" /x//y/z ", "/x/y"},
  };
  for (const auto& c : parents) EXPECT_EQ(GetParentFolderPath(c.in), c.out) << c.in;

  for (auto [path, absolute] : {std::pair{" /a", true}, {"\\a", false}, {"a/b", false}, {"", false}})
    EXPECT_EQ(IsAbsoluteLocalPath(path), absolute) << path;
}

TEST(MFile, NameParts) {
  struct Row {
    const char *path, *name, *wen, *ext;
  };
  const Row rows[] = {
      {"/d/readme", "readme", "/d/readme", ""},
      {"/d/a.tar.gz", "a.tar.gz", "a.tar", "gz"},
      {"/a/b/", "b", "/a/b/", ""},
      {"/my.dir/readme", "readme", "/my.dir/readme", "dir/readme"},
      {" /x/.hidden ", ".hidden", "", "hidden"},
      {"", "", "", ""},
  };
  for (const auto& r : rows) {
    EXPECT_EQ(MFile::GetFileName(r.path), r.name) << r.path;
    EXPECT_EQ(MFile::GetFileNameWEN(r.path), r.wen) << r.path;
    EXPECT_EQ(MFile::GetFileExtendName(r.path), r.ext) << r.path;
  }
}

TEST(TextLines, EveryLineEndSplits) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(SplitLines("a\r\n\r\nb\r\n"), (Lines{"a", "", "b"}));
  EXPECT_EQ(SplitLines(""), Lines{});
  EXPECT_EQ(SplitLines("\n"), Lines{""});
}

TEST(IniText, SectionRemoval) {
  // Texts as ReadFile returns them: lines joined by CR LF, none after the last.
  const std::string text = "[A]\r\na=1\r\n[B]\r\nb=2\r\n\r\n[C]\r\nc=3";
  EXPECT_EQ(IniWithoutSection(text, "B"), "[A]\r\na=1\r\n[C]\r\nc=3");
  EXPECT_EQ(IniWithoutSection(text, "C"), "[A]\r\na=1\r\n[B]\r\nb=2");
  EXPECT_EQ(IniWithoutSection("x=[A]\r\n[AB]\r\n[A]\r\n", "A"), "x=[A]\r\n[AB]");
  EXPECT_FALSE(IniWithoutSection(text, "D"));
  EXPECT_TRUE(IniHasSection(text, "C"));
  EXPECT_FALSE(IniHasSection(text, "c"));  // exact, as the stored text is compared
}

}  // namespace
}  // namespace quorvi::detail
