#include "ftp/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quorvi::detail {
namespace {

TEST(CommandLine, ToServerPathPlacesAbsolutePathsUnderThePrefix) {
  struct Case { std::string path, prefix, wire; };
  const std::vector<Case> cases = {
      {"\\pub\\incoming", "", "\\pub\\incoming"},
      {"\\pub\\incoming", "/home/u", "/home/u/pub/incoming"},
      {"/pub//a", "/home/u/", "/home/u/pub/a"},
      {"/", "/home/u", "/home/u"},             // the login folder, like every absolute path
      {"\\", "/home/u", "/home/u"},
      {"/", "", "/"},
      {"relative/x", "/home/u", "relative/x"},
      {"/x", "/", "/x"},                       // a one-character prefix is no prefix
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ToServerPath(c.path, c.prefix), c.wire) << c.path << " under " << c.prefix;
  }
}

TEST(CommandLine, FromServerPathIsTheReverseBelowTheLoginFolder) {
  struct Case { std::string server, prefix, path; };
  const std::vector<Case> cases = {
      {"/home/u", "/home/u", "/"},         {"/home/u/", "/home/u", "/"},
      {"/home/u/a/b", "/home/u", "/a/b"},  {"/home/u/a", "/home/u/", "/a"},
      {"/home/u2/a", "/home/u", "/home/u2/a"},  // another folder that begins alike
      {"/etc", "/home/u", "/etc"},         {"/a", "/", "/a"},  {"/a", "", "/a"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(FromServerPath(c.server, c.prefix), c.path) << c.server << " under " << c.prefix;
  }
}

TEST(CommandLine, BuildsLinesMessagesAndLastCommand) {
  struct Case {
    std::string command, argument;
    CommandLineSettings settings;
    std::string line, message;
    bool sets_last;
  };
  CommandLineSettings prefixed;
  prefixed.path_prefix = "/home/u";
  CommandLineSettings list_all;
  list_all.list_all = true;
  CommandLineSettings mlsd;
  mlsd.list_command = "MLSD";
  mlsd.list_all = true;
  const std::vector<Case> cases = {
      {"noop", "", {}, "NOOP\r\n", "NOOP ", true},
      {"cwd", "\\pub", prefixed, "CWD /home/u/pub\r\n", "CWD /home/u/pub", true},
      // Every command that names a remote path gets the login folder: a rename stays inside it.
      {"RNFR", "/a", prefixed, "RNFR /home/u/a\r\n", "RNFR /home/u/a", true},
      {"RNTO", "/b", prefixed, "RNTO /home/u/b\r\n", "RNTO /home/u/b", true},
      {"SIZE", "/pub/a", prefixed, "SIZE /home/u/pub/a\r\n", "SIZE /home/u/pub/a", true},
      {"APPE", "/a", prefixed, "APPE /home/u/a\r\n", "APPE /home/u/a", true},
      {"MDTM", "/a", prefixed, "MDTM /home/u/a\r\n", "MDTM /home/u/a", true},
      {"MLST", "/a", prefixed, "MLST /home/u/a\r\n", "MLST /home/u/a", true},
      {"RESTART", "/a", prefixed, "RESTART /a\r\n", "RESTART /a", true},  // not "REST"+"ART"
      // Only the command word is upper-cased, also when the arguments come with it.
      {"mkd /MixedCase", "", {}, "MKD /MixedCase\r\n", "MKD /MixedCase", true},
      {"site help", "", {}, "SITE help\r\n", "SITE help", true},
      {"site", "chmod 644 A.txt", {}, "SITE chmod 644 A.txt\r\n", "SITE chmod 644 A.txt", true},
      {"LIST", "/x", list_all, "LIST -al /x\r\n", "LIST /x", true},
      {"LIST", "/x", mlsd, "MLSD /x\r\n", "LIST /x", true},
      {"LIST", "", mlsd, "MLSD\r\n", "LIST ", true},
      {"PASS", "s3cret", {}, "PASS s3cret\r\n", "PASS ********", true},
      {"MLSD", "useforftpcommandtest", {}, "MLSD\r\n", "MLSD ", false},
      {"NOOP", "no_change_lastsendcommand", {}, "NOOP\r\n", "NOOP ", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.command + " " + c.argument);
    const CommandLine built = BuildCommandLine(c.command, c.argument, c.settings);
    EXPECT_EQ(built.line, c.line);
    EXPECT_EQ(built.message, c.message);
    EXPECT_EQ(built.sets_last_command, c.sets_last);
  }
}

TEST(CommandLine, DeciphersOnlyCredentials) {
  CommandLineSettings settings;
  settings.decipher = [](const std::string& text) { return "plain-" + text; };
  EXPECT_EQ(BuildCommandLine("user", "x", settings).line, "USER plain-x\r\n");
  EXPECT_EQ(BuildCommandLine("PASS", "y", settings).message, "PASS ********");
  EXPECT_EQ(BuildCommandLine("ACCT", "z", settings).line, "ACCT z\r\n");
  EXPECT_EQ(BuildCommandLine("PASS", "", settings).line, "PASS\r\n");
}

TEST(CommandLine, StateFollowsTheCommandAndTheRunningOperation) {
  struct Case { std::string command; FtpOperations operation; FtpStates state; };
  const std::vector<Case> cases = {
      {"RETR", opUpload, ftpDownloadInProgress},   // the command decides, not the operation
      {"TYPE", opListDirectory, ftpRetrievingDirectoryInfo},
      {"PORT", opUpload, ftpUploadInProgress},
      {"TYPE", opGetFileSize, ftpGetFileSize},
      {"REST", opRawCommand, ftpFreeState},
      {"SIZE", opGetFileSize, ftpFreeState},
      {"RNTO", opRenameFile, ftpFreeState},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(StateForCommand(c.command, c.operation), c.state) << c.command;
  }
}

}  // namespace
}  // namespace quorvi::detail
