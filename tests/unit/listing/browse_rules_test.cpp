// The pure rules of the data connection, the listing plan and the remote directory
// operations.
#include <gtest/gtest.h>

#include "ftp/data_connection.h"
#include "ftp/listing_retrieval.h"
#include "ftp/remote_directory_ops.h"
#include "ftp/remote_queries.h"

namespace quorvi::detail {
namespace {

TEST(DataConnectionRules, PassivePortFromThe227Reply) {
  const std::pair<const char*, std::optional<std::int32_t>> cases[] = {
      {"227 Entering Passive Mode (192,168,1,20,78,52)", 20020},  // address ignored
      {"227 =127,0,0,1,117,48 (127,0,0,1,117,48)", 30000},
      {"227 ( 127, 0, 0, 1, 1, 2 )", 258},
      {"227 Entering Passive Mode (127,0,0,1,300,7)", std::nullopt},
      {"227 Entering Passive Mode (127,0,0,1,78,52,1)", std::nullopt},
      {"227 Entering Passive Mode (127,0,0,1,7a,52)", std::nullopt},
      {"227 Entering Passive Mode (127,0,0,1,0,0)", std::nullopt},
      {"227 Entering Passive Mode 127,0,0,1,78,52", 20020},  // no parentheses
      {"227 Entering Passive Mode 127,0,0,1,78,52.", 20020},
      {"227 Entering Passive Mode (127,0,0,1,78)", std::nullopt},
      {"227 Entering Passive Mode", std::nullopt},
      {"227", std::nullopt},
      {"227 (1,2,3,4,5,99999999999999999999)", std::nullopt},
  };
  for (const auto& [reply, port] : cases) EXPECT_EQ(ParsePassivePort(reply), port) << reply;
  EXPECT_EQ(PortArgument("10.0.0.5", 20017), "10,0,0,5,78,49");
}

TEST(DataConnectionRules, PassivePortFromThe229Reply) {
  const std::pair<const char*, std::optional<std::int32_t>> cases[] = {
      {"229 Entering Extended Passive Mode (|||6446|)", 6446},
      {"229 Entering Extended Passive Mode (!!!65535!)", 65535},  // any delimiter
      {"229 (|||1|)", 1},
      {"229 Entering Extended Passive Mode (|||0|)", std::nullopt},
      {"229 Entering Extended Passive Mode (|||65536|)", std::nullopt},
      {"229 Entering Extended Passive Mode (|||6446)", std::nullopt},
      {"229 Entering Extended Passive Mode (||6446|)", std::nullopt},
      {"229 Entering Extended Passive Mode (|!|6446|)", std::nullopt},  // mixed delimiters
      {"229 Entering Extended Passive Mode (|||-5|)", std::nullopt},
      {"229 Entering Extended Passive Mode (|||64a6|)", std::nullopt},
      {"229 Entering Extended Passive Mode (1112221)", std::nullopt},  // a digit delimits nothing
      {"229 Entering Extended Passive Mode", std::nullopt},
      {"229 (|||", std::nullopt},
  };
  for (const auto& [reply, port] : cases) EXPECT_EQ(ParseExtendedPassivePort(reply), port) << reply;
  EXPECT_EQ(ExtendedPortArgument("::1", true, 6446), "|2|::1|6446|");
  EXPECT_EQ(ExtendedPortArgument("10.0.0.5", false, 80), "|1|10.0.0.5|80|");
}

TEST(DataConnectionRules, UploadSteps) {
  struct Case {
    double pending, sent, size;
    std::int32_t chunk;
    UploadStep::Kind kind;
    std::size_t bytes;
  };
  const Case cases[] = {
      {10, 0, 100, 32, UploadStep::Resend, 0},  // pending bytes go first
      {0, 96, 100, 32, UploadStep::Send, 4},
      {0, 100, 100, 32, UploadStep::Finish, 0},
      {0, 0, 0, 32, UploadStep::Finish, 0},  // an empty file: close at once
      {0, 0, 5e9, 2097152, UploadStep::Send, 2097152},
  };
  for (const auto& c : cases) {
    const UploadStep step = NextUploadStep(c.pending, c.sent, c.size, c.chunk);
    EXPECT_EQ(step.kind, c.kind) << c.sent << "/" << c.size;
    EXPECT_EQ(step.bytes, c.bytes) << c.sent << "/" << c.size;
  }
}

TEST(ListingRules, Plans) {
  struct Case {
    const char *requested, *current, *command;
    bool list_dir_for_file;
    const char *path, *parent;
    bool explicit_folder, may_be_file, use_list;
    const char *directory, *listed, *only_name;  // directory "": no change of directory
  };
  const Case cases[] = {
      {"/pub/", "/", "LIST", false, "/pub", "/pub", true, false, false, "", "/pub", ""},
      {"/pub/back\\x", "/", "LIST", false, "/pub/back\\x", "/pub", false, true, false, "", "/pub/back\\x", ""},
      {"/pub/*.zip", "/", "MLSD", false, "/pub/*.zip", "/pub", true, false, true, "", "/pub/*.zip",
       ""},
      {"/pub/", "/", "MLSD", false, "/pub", "/pub", true, false, false, "/pub", "", ""},
      {"/", "/pub", "MLSD", false, "/", "", true, false, false, "/", "", ""},
      {"", "/pub", "MLSD", false, "", "/pub/", false, true, false, "", "", ""},
      // A LIST argument with a blank would be split: the folder is changed into.
      {"/up/with space/", "/", "LIST", false, "/up/with space", "/up/with space", true, false,
       false, "/up/with space", "", ""},
      {"/a b/*.zip", "/", "MLSD", false, "/a b/*.zip", "/a b", true, false, true, "/a b", "*.zip",
       ""},
      {"/pub/my file.txt", "/", "LIST", false, "/pub/my file.txt", "/pub", false, true, false, "",
       "/pub", "my file.txt"},
      {"/pub/my *.txt", "/", "LIST", false, "/pub/my *.txt", "/pub", true, false, false, "",
       "/pub/my *.txt", ""},
  };
  for (const auto& c : cases) {
    const ListingPlan p = PlanListing(c.requested, c.current, c.command, c.list_dir_for_file);
    SCOPED_TRACE(std::string(c.requested) + " " + c.command);
    EXPECT_EQ(p.path, c.path);
    EXPECT_EQ(p.parent, c.parent);
    EXPECT_EQ(p.explicit_folder, c.explicit_folder);
    EXPECT_EQ(p.may_be_file, c.may_be_file);
    EXPECT_EQ(p.use_list, c.use_list);
    EXPECT_EQ(p.change_directory, *c.directory != '\0');
    EXPECT_EQ(p.directory, c.directory);
    EXPECT_EQ(p.listed, c.listed);
    EXPECT_EQ(p.only_name, c.only_name);
  }
}

TEST(ListingRules, SortIgnoresCaseAndKeepsEqualNamesInOrder) {
  CFtpFiles files;
  for (const char* name : {"b.txt", "A.txt", "c.dat", "a_b", "B0"}) {
    CFtpFile f;
    f.FileName(name);
    files.Add(f, name);
  }
  std::vector<std::string> names;
  for (const auto& f : SortedByName(files)) names.push_back(f.FileName());
  EXPECT_EQ(names, (std::vector<std::string>{"A.txt", "a_b", "b.txt", "B0", "c.dat"}));
}

TEST(DirectoryRules, PathRules) {
  const std::tuple<const char*, const char*, const char*> splits[] = {
      {"/pub/Data/", "/pub/", "Data"}, {"x", "", "x"}, {"/", "/", ""}, {"/p/b\\q", "/p/", "b\\q"},
  };
  for (const auto& [in, parent, name] : splits) {
    const DirectorySplit s = SplitDirectoryName(in);
    EXPECT_EQ(s.parent, parent) << in;
    EXPECT_EQ(s.name, name) << in;
  }
  const std::tuple<const char*, const char*, const char*> moves[] = {
      {"", "/pub/", "/pub"}, {"/x", "/", ""},          {"/a/b", "..", "/a"},
      {"/a", "..", ""},      {"/a", "b/c", "/a/b/c"}, {"", "b", "/b"},
  };
  for (const auto& [current, path, next] : moves)
    EXPECT_EQ(NextCurrentDirectory(current, path), next) << current << " + " << path;
  EXPECT_EQ(ParentOfDirectory("/a"), "/");
  EXPECT_EQ(ParentOfDirectory(""), "/");
  EXPECT_EQ(ParentOfDirectory("C:/ftp/in"), "C:/ftp");
  EXPECT_TRUE(CreatedListHolds("/a|/a/b|", "/A/B"));
  EXPECT_FALSE(CreatedListHolds("/a|/a/b|", "/a/"));
  EXPECT_FALSE(CreatedListHolds("/ab|", "/a"));
}

}  // namespace
}  // namespace quorvi::detail
