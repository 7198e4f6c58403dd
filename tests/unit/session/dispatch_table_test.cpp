// Row lookup in the reply tables: exact command rows, "other" rows, wildcard rows and the silent
// default (session rows only where they show a lookup rule).
#include "ftp/dispatch_table.h"

#include <gtest/gtest.h>

namespace quorvi::detail {
namespace {

TEST(DispatchTable, SessionRowsFollowTheLookupRules) {
  struct Case {
    FtpOperations op;
    const char* last_command;
    int code;
    Act act;
    const char* name;  // handler; "" when none
  };
  const Case cases[] = {
      {opConnect, "NOOP", 500, Act::Ignore, ""},  // no row of the operation names the command
      {opDeleteFile, "NOOP", 550, Act::Handler, "DeleteRefused"},  // wildcard row
      {opRawCommand, "SYST", 215, Act::Handler, "RawReply"},       // any reply, any command
      {opQuit, "QUIT", 500, Act::Fail, ""},  // the QUIT rows apply to QUIT only
      {opQuit, "NOOP", 500, Act::Ignore, ""},
      {opNone, "RETR", 421, Act::Handler, "IdleTimeout"},  // after the operation ended
      {opDownload, "RETR", 550, Act::Ignore, ""},          // no session rows
  };
  for (const auto& c : cases) {
    const DispatchAction action = FindAction(SessionDispatchRows(), c.op, c.last_command, c.code);
    EXPECT_EQ(action.act, c.act) << c.op << " " << c.last_command << " " << c.code;
    EXPECT_EQ(action.name, c.name) << c.op << " " << c.last_command << " " << c.code;
  }
}

TEST(DispatchTable, ExactCommandRowsAndListedCodesWin) {
  const std::vector<DispatchRow> rows = {
      {opRawCommand, kAnyCommand, {}, End()},
      {opRawCommand, "STAT", {211}, Handler("Status")},
      {opQuit, "QUIT", {}, Fail()},
      {opQuit, "QUIT", {221}, End()},  // a listed code wins over an earlier "other" row
  };
  EXPECT_EQ(FindAction(rows, opRawCommand, "STAT", 211).name, "Status");
  // STAT has rows, but none for 500 and no "other": ignored, the wildcard is not consulted.
  EXPECT_EQ(FindAction(rows, opRawCommand, "STAT", 500).act, Act::Ignore);
  EXPECT_EQ(FindAction(rows, opRawCommand, "SYST", 215).act, Act::End);
  EXPECT_EQ(FindAction(rows, opQuit, "QUIT", 221).act, Act::End);
  EXPECT_EQ(FindAction(rows, opQuit, "QUIT", 530).act, Act::Fail);
}

}  // namespace
}  // namespace quorvi::detail
