// The text rules the session's handlers apply: PWD parsing, the MKD "already exists" test, the
// DELE refusal that means done, the feature probe's verdict and the FEAT UTF8 choice.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "ftp/remote_file_ops.h"
#include "ftp/reply_dispatcher.h"

namespace quorvi::detail {
namespace {

TEST(ReplyRules, ParseCurrentDirectory) {
  const struct {
    std::string buffer;
    std::optional<std::string> directory;
  } cases[] = {
      {"257 \"/home/u\" is the current directory\r\n", "/home/u"},
      {"257 \"C:\\pub\\in\" ok\r\n", "C:/pub/in"},
      {"257 \"/a \"\"b\"\" c\"\r\n", "/a "},  // a doubled quote ends the name
      {"257 no quotes here\r\n", ""},  // still a success, directory empty
      {"257 \"/unclosed\r\n", ""},
      {"257 \"\"", std::nullopt},  // 6 characters: unreadable
      {"257 \"/\"", "/"},          // 7 characters
  };
  for (const auto& c : cases) EXPECT_EQ(ParseCurrentDirectory(c.buffer), c.directory) << c.buffer;
}

TEST(ReplyRules, MkdAlreadyExists) {
  const struct {
    std::string received;
    std::string mkd_info;
    bool exists;
  } cases[] = {
      {"550 Directory already exists", "", true},
      {"550 Create directory operation failed.", "", true},  // "failed" in any case
      {"550 Permission denied.", "", false},
      {"550 Permission denied.", "denied", true},          // extra phrase from MKDInfo
      {"550 Permission denied.", "#Denied", true},         // only MKDInfo, lower-cased
      {"550 Directory already exists", "#denied", false},  // defaults replaced
      {"550 Directory already exists", "#", false},        // empty list: never
      {"550 x", "| |", false},                             // blank phrases never match
  };
  for (const auto& c : cases)
    EXPECT_EQ(MkdAlreadyExists(c.received, c.mkd_info), c.exists)
        << c.received << " / " << c.mkd_info;
}

TEST(ReplyRules, DeleteRefusalMeansDone) {
  EXPECT_TRUE(DeleteRefusalMeansDone("550 cannot find file"));
  EXPECT_TRUE(DeleteRefusalMeansDone("450 Delete successful, but slow"));
  EXPECT_FALSE(DeleteRefusalMeansDone("550 Cannot Find file"));  // exact letter case
  EXPECT_FALSE(DeleteRefusalMeansDone("550 Delete operation failed."));
}

TEST(ReplyRules, CommandSupported) {
  const struct {
    std::string command;
    std::string reply;
    bool supported;
  } cases[] = {
      {"NOOP", "200 NOOP ok.\r\n", true},
      {"NOOP", "500 'NOOP': command not understood.\r\n", false},
      // 500 and 502 mean "not here" (vsftpd's MLST probe); other refusals count as supported.
      {"SITE X", "502 Command not implemented.\r\n", false},
      {"MLST", "500 Unknown command.\r\n", false},
      {"SITE X", "501 Syntax error\r\n", true},
      {"MLST QRTCMDTST.TMP", "451 Requested action aborted\r\n", false},
      {"MLST QRTCMDTST.TMP", "550 No such file\r\n", true},
      {"NOOP", "451 busy\r\n", true},  // 451 only matters for MLST
      {"NOOP", "ExeFtpCmd:command not understood;20004#Operation timed out", false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(CommandSupported(c.command, c.reply), c.supported) << c.command << ": " << c.reply;
}

TEST(ReplyRules, FeatListsUtf8) {
  EXPECT_TRUE(FeatListsUtf8("211-Features:\r\n utf8\r\n EPSV\r\n211 End"));
  EXPECT_FALSE(FeatListsUtf8("211-Features:\r\n UTF8 ON\r\n211 End\r\n"));
  EXPECT_FALSE(FeatListsUtf8("211-Features:\r\n LANG EN;UTF8\r\n211 End\r\n"));
}

}  // namespace
}  // namespace quorvi::detail
