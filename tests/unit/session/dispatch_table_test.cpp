// Row lookup in the session's reply table: exact command rows, "other" rows, wildcard rows
// and the silent default (a sample of rows that shows each lookup rule, not a copy of the table).
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
        LookupCase{opConnect, "", 220, Act::Handler, "Greeting"},
        LookupCase{opConnect, "USER", 220, Act::Ignore, ""},
        LookupCase{opConnect, "USER", 331, Act::Send, "PassWord", "PASS"},
        LookupCase{opRenameFile, "RNFR", 350, Act::Send, "RenameTarget", "RNTO"},
        // a command no row of the operation names: ignored
        LookupCase{opConnect, "NOOP", 500, Act::Ignore, ""},
        // wildcard rows, any last command
        LookupCase{opDeleteFile, "DELE", 226, Act::Ignore, ""},
        LookupCase{opDeleteFile, "NOOP", 550, Act::Handler, "DeleteRefused"},
        // raw commands take any reply, whatever the last command
        LookupCase{opRawCommand, "SYST", 215, Act::Handler, "RawReply"},
        // the QUIT rows only apply to QUIT itself
        LookupCase{opQuit, "QUIT", 500, Act::Fail, ""},
        LookupCase{opQuit, "NOOP", 500, Act::Ignore, ""},
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
