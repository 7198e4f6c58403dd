// The listing parser over listings captured from vsftpd, pure-ftpd and proftpd (LIST and
// MLSD; tests/fixtures/listings/), DOS/IIS lines and odd lines, plus the entry types.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "ftp/listing_parser.h"
#include "ftp/listing_text.h"

namespace quorvi::detail {
namespace {

constexpr int kYear = 2026;  // the year the samples were captured in

class ListingParser : public ::testing::Test {
 protected:
  // MLSD times are UTC; with TZ=UTC they read back unchanged.
  void SetUp() override { SetZone("UTC0"); }
  void TearDown() override { SetZone(nullptr); }
  static void SetZone(const char* zone) {
    if (zone) {
      setenv("TZ", zone, 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
};

std::string Sample(const std::string& name) {
  std::ifstream in(std::filesystem::path(QUORVI_SOURCE_DIR) / "tests/fixtures/listings" / name,
                   std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::optional<CFtpFiles> Parse(const std::string& text) {
  return GetFileListX(text, {"/tree", kYear});
}

struct Entry {
  std::string name;
  bool directory;
  double size;
  std::string time;  // as LastWriteTime reads
  bool link = false;
};

// The tree every sample lists (README was left out: it would collide with readme).
std::vector<Entry> ExpectedTree(bool mlsd) {
  return {
      {"My File.txt", false, 1234, mlsd ? "2009-01-15 10:30" : "2009-01-15 00:00"},
      {"a.txt", false, 5, "2026-11-22 20:15"},
      {"empty.bin", false, 0, "2026-11-22 20:15"},
      {"gr\xC3\xB6\xC3\x9F" "e.txt", false, 2, "2026-11-22 20:15"},
      // A link is never a folder, whatever it points to.
      {"link", false, 5, "2026-11-22 20:15", true},
      {"readme", false, 4, "2026-11-22 20:15"},
      {"sub dir", true, mlsd ? 0.0 : 4096.0, mlsd ? "2009-01-15 10:30" : "2009-01-15 00:00"},
      {"\xC3\x9Cn\xC3\xAF" "code", true, mlsd ? 0.0 : 4096.0, "2026-11-22 20:15"},
  };
}

void ExpectTree(const CFtpFiles& files, bool mlsd, const std::string& label) {
  const auto expected = ExpectedTree(mlsd);
  ASSERT_EQ(files.Count(), static_cast<int>(expected.size())) << label;
  for (const auto& e : expected) {
    const CFtpFile* f = files.Item(e.name);
    ASSERT_NE(f, nullptr) << label << " " << e.name;
    EXPECT_EQ(f->IsDirectory(), e.directory) << label << " " << e.name;
    EXPECT_EQ(f->IsLink(), e.link) << label << " " << e.name;
    EXPECT_EQ(f->FileSize(), e.size) << label << " " << e.name;
    EXPECT_EQ(f->LastWriteTime(), e.time) << label << " " << e.name;
    EXPECT_EQ(f->FilePath(), "/tree/" + e.name) << label;
  }
}

TEST_F(ListingParser, RealServerSamples) {
  struct Case {
    const char* file;
    bool mlsd;
    const char* owner;
    const char* group;
  };
  const Case cases[] = {
      {"vsftpd_list.txt", false, "1001", "0"},
      {"vsftpd_list_al.txt", false, "1001", "0"},  // with "." and ".."
      {"pure-ftpd_list.txt", false, "1001", "0"},
      {"proftpd_list.txt", false, "ftptest", "root"},
      {"pure-ftpd_mlsd.txt", true, "1001", "0"},       // UNIX.uid, UNIX.gid
      {"proftpd_mlsd.txt", true, "ftptest", "ftptest"},  // UNIX.ownername, UNIX.groupname
  };
  for (const auto& c : cases) {
    const std::string text = Sample(c.file);
    ASSERT_FALSE(text.empty()) << c.file;
    std::string crlf;
    for (char ch : text) crlf += ch == '\n' ? std::string("\r\n") : std::string(1, ch);
    for (const auto& variant : {text, crlf, "total 24\n" + text}) {
      const auto files = Parse(variant);
      ASSERT_TRUE(files) << c.file;
      ExpectTree(*files, c.mlsd, c.file);
      const CFtpFile* a = files->Item("A.TXT");
      EXPECT_EQ(a->Owner(), c.owner) << c.file;
      EXPECT_EQ(a->Group(), c.group) << c.file;
      EXPECT_EQ(a->Permissions(), "-rw-r--r--") << c.file;  // MLSD: from UNIX.mode
    }
  }
}

TEST_F(ListingParser, EverySplitIntoTwoBlocksGivesTheSameListing) {
  for (const char* file : {"proftpd_mlsd.txt", "vsftpd_list.txt"}) {
    const std::string bytes = Sample(file);
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
      ListingText text;
      text.Append(std::string_view(bytes).substr(0, cut), true);
      text.Append(std::string_view(bytes).substr(cut), true);
      EXPECT_EQ(text.byte_count(), bytes.size());
      ASSERT_EQ(text.Finish(), bytes) << file << " cut at " << cut;
    }
  }
  ListingText raw;  // a name that is not UTF-8 keeps its bytes: they name its file
  raw.Append("caf\xE9 ab\xC3", true);
  EXPECT_EQ(raw.Finish(), "caf\xE9 ab\xC3");
}

TEST_F(ListingParser, OddLines) {
  struct Case {
    std::string text;
    int count;  // -1: the parse gives nothing
    Entry first = {};
    std::string permissions = "", owner = "", group = "";  // checked when permissions are set
  };
  const std::string unix_file = "-rw-r--r-- 1 ftp ftp 1234 Jan 15  2009 readme.txt";
  const Entry readme = {"readme.txt", false, 1234, "2009-01-15 00:00"};
  const Case cases[] = {
      {unix_file, 1, readme, "-rw-r--r--", "ftp", "ftp"},
      {"lrwxrwxrwx 1 root root 7 Jan 15  2009 bin -> usr/bin", 1,
       {"bin", false, 7, "2009-01-15 00:00", true}, "lrwxrwxrwx", "root", "root"},
      {"-rw-r--r-- 1 ftp 1234 Mar  3 10:30 nogroup.txt", 1,
       {"nogroup.txt", false, 1234, "2026-03-03 10:30"}, "-rw-r--r--", "ftp", ""},
      {"drwxr-xr-x 2 u g 4096 Jan 15  2009 .\ndrwxr-xr-x 2 u g 4096 Jan 15  2009 ..", 0},
      {"type=cdir;modify=20090115103000; /pub", 0},
      {"type=file;size=12;modify=20090115103000.123; a b.txt", 1,
       {"a b.txt", false, 12, "2009-01-15 10:30"}},
      {"type=file;size=1;modify=2009; short.txt", 1, {"short.txt", false, 1, ""}},
      {"01-15-09  10:30PM       1234 read  me.txt", 1,
       {"read  me.txt", false, 1234, "2009-01-15 22:30"}},
      {"01-15-30  12:05AM       1 a.txt", 1, {"a.txt", false, 1, "2030-01-15 00:05"}},
      {"01-15-31  12:05PM       1 a.txt", 1, {"a.txt", false, 1, "1931-01-15 12:05"}},
      {"13-45-09  10:30AM       1 bad.txt\n01-15-09  10:30AM       2 good.txt", 1,
       {"good.txt", false, 2, "2009-01-15 10:30"}},
      {"250 Listing follows\nshort\n" + unix_file, 1, readme},
      // Names differing only in case are two files; the very same name twice is one entry.
      {unix_file + "\n-rw-r--r-- 1 ftp ftp 1 Jan 15  2009 README.TXT", 2, readme},
      {"type=file;modify=20090115103000; A\ntype=file;modify=20090115103000; a", 2,
       {"A", false, 0, "2009-01-15 10:30"}},
      {"01-15-09  10:30AM  1 A.txt\n01-15-09  10:30AM  2 a.TXT", 2,
       {"A.txt", false, 1, "2009-01-15 10:30"}},
      {unix_file + "\n" + unix_file, 1, readme},
      {"-rw-r--r-- 1 ftp ftp 12 Foo 15  2009 x.txt\n" + unix_file, 1, readme},  // no month: dropped
      // A damaged line is left out; the rest of the listing stays. Nothing understood at all
      // is no listing.
      {"-rw-r--r-- 1 ftp ftp 1 Feb 30  2009 x.txt", -1},  // not a date
      {unix_file + "\n-rw-r--r-- 1 ftp ftp 1 Nov 31  2018 x.txt", 1, readme},
      {"type=file;size=x;modify=20090115103000; bad\n" + unix_file, 1, readme},
      {"hello world\nnot a listing either", -1},
      {"Directory DISK$USER:[ME]\n\nTotal of 0 files, 0/0 blocks.", 0},
      // Every MLSD fact is optional.
      {"type=file;size=3; no time", 1, {"no time", false, 3, ""}},
      {"modify=20090115103000; no type", 1, {"no type", false, 0, "2009-01-15 10:30"}},
      // Formats beyond UNIX, DOS and MLSD, and a VMS file listed in two versions (the newest
      // first): one entry, named as RETR needs it.
      {"2002-09-02  19:06                9,730 iso.txt", 1, {"iso.txt", false, 9730, "2002-09-02 19:06"}},
      {"A.TXT;2  1  1-JAN-2020 10:00\nA.TXT;1  1  1-JAN-2019 10:00", 1,
       {"A.TXT", false, 512, "2020-01-01 10:00"}},
      {"QPGMR  36864 05/24/99 12:27:02 *STMF  PGMR.TXT", 1,
       {"PGMR.TXT", false, 36864, "1999-05-24 12:27"}},
      // Names are found from the fixed columns, whatever they contain.
      {"-rw-r--r-- 1 ftp ftp 5 Mar  3 10:30 Meeting 5 Jan 10:30.txt", 1,
       {"Meeting 5 Jan 10:30.txt", false, 5, "2026-03-03 10:30"}},
      {"-rw-r--r-- 1 ftp ftp 5 Jan 15 2009 one.txt", 1, {"one.txt", false, 5, "2009-01-15 00:00"}},
      {"-rw-r--r-- 1 ftp ftp 5 Jan 15  2009  lead.txt", 1,
       {" lead.txt", false, 5, "2009-01-15 00:00"}},
      {"-rw-r--r-- 1 ftp ftp 5 Jan 15  2009 back\\slash.txt", 1,
       {"back\\slash.txt", false, 5, "2009-01-15 00:00"}},
      {"-rw-r--r-- 1 ftp ftp 5 Jan 15  2009 -dash 2009", 1,
       {"-dash 2009", false, 5, "2009-01-15 00:00"}},
      {"crw-rw-rw- 1 root root 1, 3 Jan 15  2009 null", 1, {"null", false, 3, "2009-01-15 00:00"},
       "crw-rw-rw-", "root", "root"},
      // MLSD: the name is everything after the blank that ends the facts.
      {"type=file;size=3;modify=20090115103000; semi;colon.txt", 1,
       {"semi;colon.txt", false, 3, "2009-01-15 10:30"}},
      {"type=file;size=3;modify=20090115103000;  lead.txt", 1,
       {" lead.txt", false, 3, "2009-01-15 10:30"}},
      {"type=OS.unix=symlink;modify=20090115103000; keeplink", 1,
       {"keeplink", false, 0, "2009-01-15 10:30", true}},
      {"type=OS.unix=slink:/keep;modify=20090115103000; keeplink", 1,
       {"keeplink", false, 0, "2009-01-15 10:30", true}},
      {"type=pdir;modify=20090115103000; ..", 0},
      {"Type=Dir;Modify=20090115103000; Sub", 1, {"Sub", true, 0, "2009-01-15 10:30"}},
      {" \r\n ", -1},
      // A "/" is taken off only where it echoes the listed folder (/tree); any other stays and
      // makes the entry unusable instead of naming another file of the folder.
      {"-rw-r--r-- 1 ftp ftp 5 Jan 15  2009 /tree/echo.txt", 1,
       {"echo.txt", false, 5, "2009-01-15 00:00"}},
      {"-rw-r--r-- 1 ftp ftp 5 Jan 15  2009 /home/u/tree/echo.txt", 1,
       {"echo.txt", false, 5, "2009-01-15 00:00"}},
      {"-rw-r--r-- 1 ftp ftp 5 Jan 15  2009 ./dot.txt", 1, {"dot.txt", false, 5, "2009-01-15 00:00"}},
      {"-rw-r--r-- 1 ftp ftp 5 Jan 15  2009 ../escape.txt", 1,
       {"../escape.txt", false, 5, "2009-01-15 00:00"}},
      {"-rw-r--r-- 1 ftp ftp 5 Jan 15  2009 a/b.txt", 1, {"a/b.txt", false, 5, "2009-01-15 00:00"}},
      {"-rw-r--r-- 1 ftp ftp 5 Jan 15  2009 /tree/../x.txt", 1,
       {"/tree/../x.txt", false, 5, "2009-01-15 00:00"}},
      {"type=file;size=5;modify=20090115103000; /etc/passwd", 1,
       {"/etc/passwd", false, 5, "2009-01-15 10:30"}},
  };
  for (const auto& c : cases) {
    const auto files = Parse(c.text);
    if (c.count < 0) {
      EXPECT_FALSE(files) << c.text;
      continue;
    }
    ASSERT_TRUE(files) << c.text;
    ASSERT_EQ(files->Count(), c.count) << c.text;
    if (c.count == 0) continue;
    const CFtpFile& f = *files->Item(1);
    EXPECT_EQ(f.FileName(), c.first.name) << c.text;
    EXPECT_EQ(f.IsDirectory(), c.first.directory) << c.text;
    EXPECT_EQ(f.IsLink(), c.first.link) << c.text;
    EXPECT_EQ(f.FileSize(), c.first.size) << c.text;
    EXPECT_EQ(f.LastWriteTime(), c.first.time) << c.text;
    if (!c.permissions.empty()) {
      EXPECT_EQ(f.Permissions(), c.permissions) << c.text;
      EXPECT_EQ(f.Owner(), c.owner) << c.text;
      EXPECT_EQ(f.Group(), c.group) << c.text;
    }
  }
}

// Garbled lines from a hostile server: never an exception, and a UNIX listing that cannot be
// read is no listing at all rather than an empty folder.
TEST_F(ListingParser, GarbledLinesNeverThrow) {
  const std::string garbled[] = {
      "-rw-r--r--    1 1001           0 Nov drwxr-xr-x    4 1001 0 4096 Nov 22 20:15 x\n"
      "-rw-r--r--    1 1001 0 5 Nov 22 20:15 a\ntype=file;modify=20090115103000; b",
      "-rw-r--r-- 1 u g 5 Jan 1",
      "-rw-r--r-- 1 u g 5 Jan 1 10:3",
      "-rw-r--r-- 1 u g 5 Jan 1 1:",
      "drwxr-xr-x 1 u g 5 Jan 99 2009 x",
      "type=;modify=; ",
      "type=file;size=;modify=20090115103000; x",
      "01-1",
      "01-15-09  1",
      "01-15-09  10:30AM",
  };
  for (const auto& text : garbled) {
    for (std::size_t cut = 0; cut <= text.size(); ++cut)
      EXPECT_NO_THROW(Parse(text.substr(0, cut))) << text.substr(0, cut);
  }
}

TEST_F(ListingParser, DateColumnsAndPositions) {
  EXPECT_FALSE(GetListDate("Feb 29  2025", kYear));
  EXPECT_EQ(GetDosDate("02-29-24", "11:59PM", kYear), "2024-02-29 23:59:00");
  EXPECT_FALSE(GetDosDate("02-29-25", "11:59PM", kYear));
  EXPECT_FALSE(GetDosDate("02-28-25", "13:00PM", kYear));
}

TEST_F(ListingParser, MlsdTimesAreUtcConvertedToLocal) {
  EXPECT_EQ(GetMLSDFileTime(" 20090115103000.123 "), "2009-01-15 10:30:00");
  EXPECT_EQ(GetMLSDFileTime("20090115103000999"), "2009-01-15 10:30:00");  // cut to 14
  EXPECT_FALSE(GetMLSDFileTime("2009011510300"));
  EXPECT_FALSE(GetMLSDFileTime("20091315103000"));
  SetZone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(GetMLSDFileTime("20090115103000"), "2009-01-15 11:30:00");
  EXPECT_EQ(GetMLSDFileTime("20090715103000"), "2009-07-15 12:30:00");  // summer time
  EXPECT_EQ(GetMLSDFileTime("20091231233000"), "2010-01-01 00:30:00");
}

TEST(CFtpFile, LastWriteTimeReadsWithoutSeconds) {
  CFtpFile f;
  f.LastWriteTime("1/15/2009 10:30:45 AM");
  EXPECT_EQ(f.LastWriteTime(), "1/15/2009 10:30 AM");
  f.LastWriteTime("2009-01-15");
  EXPECT_EQ(f.LastWriteTime(), "2009-01-15");
}

TEST(CFtpFiles, ExactKeysFirstThenAnyCaseAndSurviveRemoval) {
  CFtpFiles files;
  for (const char* name : {"b.txt", "A.txt", "c.dat", "B.TXT"}) {
    CFtpFile f;
    f.FileName(name);
    ASSERT_NE(files.Add(f, name), nullptr) << name;
  }
  EXPECT_EQ(files.Add({}, "b.txt"), nullptr);  // the very same key
  EXPECT_EQ(files.Count(), 4);
  EXPECT_EQ(files.Item(4)->FileName(), "B.TXT");
  EXPECT_EQ(files.Item(5), nullptr);
  const struct {
    const char* asked;
    const char* found;  // "" = none
  } lookups[] = {{"B.TXT", "B.TXT"}, {"b.txt", "b.txt"}, {"B.txt", "b.txt"},
                 {"C.DAT", "c.dat"}, {"a.TXT", "A.txt"}, {"d", ""}};
  for (const auto& l : lookups) {
    const CFtpFile* by_key = files.Item(std::string(l.asked));
    const CFtpFile* by_name = files.ItemName(l.asked);
    EXPECT_EQ(by_key ? by_key->FileName() : "", l.found) << l.asked;
    EXPECT_EQ(by_name ? by_name->FileName() : "", l.found) << l.asked;
  }

  EXPECT_TRUE(files.Remove(1));
  EXPECT_FALSE(files.Remove(4));
  EXPECT_EQ(files.Item("c.dat")->FileName(), "c.dat");  // keys follow the shifted positions
  EXPECT_EQ(files.Item("b.txt")->FileName(), "B.TXT");  // the other case is still there
  EXPECT_NE(files.Add({}, "b.txt"), nullptr);           // a removed key is free again
  std::vector<std::string> order;
  for (const auto& f : files) order.push_back(f.FileName());
  EXPECT_EQ(order, (std::vector<std::string>{"A.txt", "c.dat", "B.TXT", ""}));

  // Any letter's case, not only ASCII; bytes that are not UTF-8 are compared as they are.
  CFtpFiles names;
  ASSERT_NE(names.Add({}, "\xC3\x9C" "ber"), nullptr);                  // Über
  EXPECT_NE(names.Item("\xC3\xBC" "BER"), nullptr);
  ASSERT_NE(names.Add({}, "\xCE\xA3" "IGMA"), nullptr);                 // ΣIGMA
  EXPECT_NE(names.Item("\xCF\x83" "igma"), nullptr);                    // σigma
  ASSERT_NE(names.Add({}, "bad\xFF"), nullptr);
  EXPECT_EQ(names.Item("bad\xDF"), nullptr);  // another byte: another name
}

}  // namespace
}  // namespace quorvi::detail
