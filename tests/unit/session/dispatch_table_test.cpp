// Row lookup of the reply dispatcher's table: exact command rows, "other" rows, wildcard rows
// and the silent default.
#include "ftp/dispatch_table.h"

#include <gtest/gtest.h>

namespace quorvi::detail {
namespace {

struct LookupCase {
  FtpOperations op;
  const char* last_command;
  int code;
  Act act;
  const char* name;  // handler or argument source; "" when none
  const char* command = "";
};

class SessionRowLookup : public ::testing::TestWithParam<LookupCase> {};

TEST_P(SessionRowLookup, FindsTheRowsAction) {
  const LookupCase& c = GetParam();
  const DispatchAction action = FindAction(SessionDispatchRows(), c.op, c.last_command, c.code);
  EXPECT_EQ(action.act, c.act);
  EXPECT_EQ(action.name, c.name);
  EXPECT_EQ(action.command, c.command);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SessionRowLookup,
    ::testing::Values(
        // login
        LookupCase{opConnect, "", 220, Act::Handler, "Greeting"},
        LookupCase{opConnect, "", 257, Act::Ignore, ""},
        LookupCase{opConnect, "", 421, Act::CloseAndFail, ""},
        LookupCase{opConnect, "USER", 220, Act::Ignore, ""},
        LookupCase{opConnect, "USER", 230, Act::Handler, "LoggedInByUser"},
        LookupCase{opConnect, "USER", 331, Act::Send, "PassWord", "PASS"},
        LookupCase{opConnect, "USER", 530, Act::CloseAndFail, ""},
        LookupCase{opConnect, "PASS", 202, Act::Handler, "LoggedInByPass"},
        LookupCase{opConnect, "PWD", 257, Act::Handler, "LoginDirectory"},
        // a command no row of the operation names: ignored
        LookupCase{opConnect, "NOOP", 500, Act::Ignore, ""},
        // wildcard rows, any last command
        LookupCase{opDeleteFile, "DELE", 250, Act::End, ""},
        LookupCase{opDeleteFile, "DELE", 226, Act::Ignore, ""},
        LookupCase{opDeleteFile, "NOOP", 550, Act::Handler, "DeleteRefused"},
        LookupCase{opGetCurrentDirectory, "PWD", 257, Act::Handler, "CurrentDirectory"},
        LookupCase{opSetCurrentDirectory, "CWD", 250, Act::End, ""},
        LookupCase{opCreateDirectory, "MKD", 521, Act::Handler, "DirectoryExists"},
        LookupCase{opCreateDirectory, "MKD", 553, Act::Fail, ""},
        // rename: RNFR then RNTO
        LookupCase{opRenameFile, "RNFR", 350, Act::Send, "RenameTarget", "RNTO"},
        LookupCase{opRenameFile, "RNTO", 250, Act::End, ""},
        LookupCase{opRenameFile, "RNTO", 553, Act::Fail, ""},
        // raw commands take any reply, whatever the last command
        LookupCase{opRawCommand, "SYST", 215, Act::Handler, "RawReply"},
        LookupCase{opCommandTest, "USER", 451, Act::Handler, "RawReply"},
        // QUIT and ABOR rows only apply to their own command
        LookupCase{opQuit, "QUIT", 221, Act::Handler, "QuitDone"},
        LookupCase{opQuit, "QUIT", 500, Act::Fail, ""},
        LookupCase{opQuit, "NOOP", 500, Act::Ignore, ""},
        LookupCase{opAbort, "ABOR", 426, Act::Handler, "AbortDone"},
        LookupCase{opAbort, "ABOR", 500, Act::Fail, ""},
        // after the operation ended
        LookupCase{opNone, "RETR", 421, Act::Handler, "IdleTimeout"},
        // operations without session rows
        LookupCase{opDownload, "RETR", 550, Act::Ignore, ""}));

TEST(DispatchTable, ExactCommandRowsWinOverWildcardRows) {
  const std::vector<DispatchRow> rows = {
      {opRawCommand, kAnyCommand, {}, End()},
      {opRawCommand, "STAT", {211}, Handler("Status")},
  };
  EXPECT_EQ(FindAction(rows, opRawCommand, "STAT", 211).name, "Status");
  // STAT has rows, but none for 500 and no "other": ignored, the wildcard is not consulted.
  EXPECT_EQ(FindAction(rows, opRawCommand, "STAT", 500).act, Act::Ignore);
  EXPECT_EQ(FindAction(rows, opRawCommand, "SYST", 215).act, Act::End);
}

TEST(DispatchTable, ListedCodeWinsOverAnEarlierOtherRow) {
  const std::vector<DispatchRow> rows = {
      {opQuit, "QUIT", {}, Fail()},
      {opQuit, "QUIT", {221}, End()},
  };
  EXPECT_EQ(FindAction(rows, opQuit, "QUIT", 221).act, Act::End);
  EXPECT_EQ(FindAction(rows, opQuit, "QUIT", 530).act, Act::Fail);
}

}  // namespace
}  // namespace quorvi::detail
